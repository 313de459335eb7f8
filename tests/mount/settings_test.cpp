#include <gmock/gmock.h>

#include "host/mount/process/options.h"
#include "host/patient/live_session.h"

namespace b2drive::mount {
namespace {

using testing::AllOf, testing::Property, testing::StartsWith, testing::Throws;

std::string Show(const MountOptions& o) {
  auto text = [](auto... numbers) { return ((std::to_string(numbers) + " ") + ...); };
  const auto& f = o.files;
  return text(f.read_only && o.kernel.read_only, o.kernel.allow_other, o.kernel.auto_unmount,
              o.nonempty) +
         text(o.kernel.umask, f.cache_size, f.dir_ttl.count(), f.read_ahead, f.retries,
              f.size.value_or(0));
}

TEST(MountOptions, AreReadWithTheirDefaults) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "0 0 0 0 18 1073741824 60 16777216 5 0 "},
      {"ro,allow_other,auto_unmount,nonempty", "1 1 1 1 18 1073741824 60 16777216 5 0 "},
      {"umask=077,cache_size=2M,dir_ttl=0", "0 0 0 0 63 2097152 0 16777216 5 0 "},
      {"read_ahead=128K,retries=0,size=1T", "0 0 0 0 18 1073741824 60 131072 0 1099511627776 "},
      {"_netdev,rw,x-a=b,user,,retries=7,", "0 0 0 0 18 1073741824 60 16777216 7 0 "}};
  for (auto [text, shown] : rows) EXPECT_EQ(Show(ParseMountOptions(text)), shown) << text;
  const MountOptions given = ParseMountOptions("uid=1,gid=4294967294,cache_dir=/a=b");
  EXPECT_TRUE(given.kernel.uid == 1 && given.kernel.gid == 4294967294 && given.cache_dir == "/a=b");
  EXPECT_TRUE(ParseMountOptions("cache_dir=a").cache_dir.is_absolute());
  EXPECT_FALSE(given.files.saving == Saving::kInBackground || given.files.pending_size);
  const FileSystemOptions keeps = ParseMountOptions("save=background,pending_size=2K").files;
  EXPECT_TRUE(keeps.saving == Saving::kInBackground && keeps.pending_size == 2048);
}

TEST(MountOptions, RefusalsNameTheOption) {
  for (const std::string word : {"nope",
                                 "ro=1",
                                 "uid",
                                 "uid=",
                                 "uid=-1",
                                 "uid=4294967295",
                                 "umask=8",
                                 "umask=1000",
                                 "cache_dir=",
                                 "cache_size=1023K",
                                 "cache_size=5X",
                                 "cache_size=K",
                                 "cache_size=16777216T",
                                 "dir_ttl=1s",
                                 "read_ahead=1",
                                 "retries=1001",
                                 "size=4095",
                                 "save=",
                                 "save=soon",
                                 "pending_size=x"}) {
    EXPECT_THAT(
        [&] { ParseMountOptions("ro," + word + ",retries=3"); },
        Throws<HostError>(AllOf(Property(&HostError::exit_code, ExitCode::kUsage),
                                Property(&HostError::what, StartsWith("-o " + word + ": ")))));
  }
}

TEST(LiveSession, IsReplacedBeforeItsTokenEndsAndLivesWhileItIsUsed) {
  LiveSession::Time now;
  bool away = false;
  auto connect = [&]() -> std::shared_ptr<Session> {
    if (away) throw HostError(ExitCode::kNetwork, "away");
    auto owner = std::make_shared<char>();
    return {owner, reinterpret_cast<Session*>(owner.get())};  // only handed on
  };
  LiveSession live(connect, [&] { return now; });
  auto first = live.Current();
  now += std::chrono::hours(23) - std::chrono::seconds(1);
  EXPECT_EQ(live.Current(), first);
  away = true;
  now += std::chrono::seconds(1);
  EXPECT_EQ(live.Current(), first);
  away = false;
  EXPECT_EQ(live.Current(), first);  // not tried at every call
  now += std::chrono::minutes(1);
  auto second = live.Current();
  EXPECT_NE(second, first);
  EXPECT_EQ(first.use_count(), 1);
  live.Replace(first);  // refused late, long replaced
  EXPECT_EQ(live.Current(), second);
  EXPECT_THROW(live.Replace(second), HostError);  // refused as soon as it was given
  live.NoteSuccess(second);
  live.Replace(second);
  EXPECT_NE(live.Current(), second);
}

}  // namespace
}  // namespace b2drive::mount
