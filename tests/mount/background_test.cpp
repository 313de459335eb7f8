#include <future>

#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

using testing::Contains, testing::HasSubstr, testing::MatchesRegex, testing::Pair,
    testing::UnorderedElementsAre;

// Closes return when the cache folder holds the contents.
class BackgroundTest : public FileSystemTest {
 protected:
  static constexpr int kSenders = 16;

  BackgroundTest() {
    options.saving = Saving::kInBackground;
    Remount();
  }
  ~BackgroundTest() override { service->OnRequest({}); }

  // Uploads that begin wait there until it is opened.
  void CloseGate() {
    service->OnRequest([this, opened = gate_.get_future().share()](const auto& request) {
      if (request.call == "b2_list_file_names") ++listings_;
      if (request.call != "b2_upload_file") return;
      ++uploads_;
      opened.wait();
    });
  }
  static void Await(const std::function<bool()>& met) {
    while (!met()) usleep(1000);
  }
  void AwaitSent() {
    Await([this] { return files->Waiting().empty(); });
  }
  Delay AwaitFailure() {
    Await([this] { return files->Waiting()[0].failures > 0 && !files->Waiting()[0].sending; });
    return files->Waiting()[0];
  }

  std::promise<void> gate_;
  std::atomic<int> uploads_ = 0;
  std::atomic<int> listings_ = 0;
};

TEST_F(BackgroundTest, WhatWaitsIsShownAndOnlyTheLastOfANameIsSent) {
  EXPECT_EQ(MakeFolder("f"), 0);
  AwaitSent();
  CloseGate();
  for (int i = 0; i < kSenders; ++i) EXPECT_EQ(Write("held" + std::to_string(i), "x"), 0);
  Await([this] { return uploads_ == kSenders; });
  for (const std::string line : {"save a 1", "save a 22", "append a 3", "save b b", "move b c",
                                 "save d d", "unlink d", "save over old", "save e new",
                                 "move e over", "save f/g g", "save cut 12345", "resize cut 2"}) {
    EXPECT_EQ(Do(line), 0) << line;
  }
  EXPECT_EQ(Do("rmdir f"), ENOTEMPTY);
  Contents shown = Shown();
  std::erase_if(shown, [](const auto& file) { return file.first.starts_with("held"); });
  EXPECT_THAT(shown, UnorderedElementsAre(Pair("a", "223"), Pair("c", "b"), Pair("over", "new"),
                                          Pair("f/g", "g"), Pair("cut", "12")));
  gate_.set_value();
  AwaitSent();
  EXPECT_EQ(uploads_, kSenders + static_cast<int>(shown.size()));
  ExpectAgreement();
}

// A folder of many names is not listed for each of the files that wait to go there.
TEST_F(BackgroundTest, WhatOthersStoredWhileAFileWaitedIsNotCovered) {
  for (const int names : {0, 5000}) {
    const std::string in = "of " + std::to_string(names) + "/";
    Put(in + "changed", "before");
    for (int i = 0; i < names; ++i) Put(in + std::to_string(i), "");
    EXPECT_EQ(Names(in).size(), names + 1U);
    gate_ = {};
    uploads_ = listings_ = 0;
    CloseGate();
    for (int i = 0; i < kSenders; ++i) EXPECT_EQ(Write("held" + std::to_string(i), in), 0);
    Await([this] { return uploads_ == kSenders; });
    for (const std::string name : {"changed", "new", "changed", "mine"}) {
      EXPECT_EQ(Write(in + name, name), 0);
    }
    for (const std::string name : {"changed", "new"}) Put(in + name, "theirs");
    std::this_thread::sleep_for(std::chrono::seconds(1));  // before, it counts as stored at once
    listings_ = 0;
    gate_.set_value();
    AwaitSent();
    EXPECT_LE(listings_, 3);
    for (const std::string name : {"changed", "new"}) {
      EXPECT_EQ(Versions(in + name).at(0), "theirs");
      EXPECT_THAT(Names(in), Contains(MatchesRegex(name + " .unsent COPY .*")));
    }
    EXPECT_EQ(Versions(in + "mine"), Texts{"mine"});
  }
  ExpectAgreement();
}

// At a kill a renamed file may still have its old name as well.
TEST_F(BackgroundTest, AKillAtAnyRequestOfARenameLeavesWhatWasSavedLast) {
  const std::string a = "/a";
  const std::string b = "/to/b";
  const auto prepare = [&](Text in, Text waiting) {
    EXPECT_EQ(Write(in + a, "a 1"), 0);
    EXPECT_EQ(Write(in + b, "b 1"), 0);
    AwaitSent();
    Fail("b2_upload_file", 503, kAlways);
    for (Text name : {a, b}) {
      const bool waits = waiting.find(name.back()) != std::string::npos;
      EXPECT_EQ(waits ? Write(in + name, name + " 2") : 0, 0);
    }
    Await([this] {
      return std::ranges::all_of(files->Waiting(),
                                 [](const Delay& one) { return one.failures > 0; });
    });
    Heal();
    return Contents{{in + a, Read(in + a)}, {in + b, Read(in + b)}};
  };
  for (const std::string waiting : {"", "a", "b", "ab"}) {
    const std::string alone = "alone" + waiting;
    prepare(alone, waiting);
    const int requests = RequestsOf([&] { EXPECT_EQ(Rename(alone + a, alone + b), 0); });
    for (int k = 1; k <= requests; ++k) {
      const std::string in = waiting + std::to_string(k);
      SCOPED_TRACE(in);
      const Contents before = prepare(in, waiting);
      KillAt(k, [&] { Rename(in + a, in + b); });
      Mount();
      const std::string moved = before.at(in + a);
      const Contents after{{in + b, moved}};
      const Contents both{{in + a, moved}, {in + b, moved}};
      for (int look = 0; look < 2; ++look) {
        EXPECT_THAT(Shown(in + "/"), testing::AnyOf(before, after, both));
        Remount();
      }
    }
  }
  ExpectAgreement();
}

TEST_F(BackgroundTest, SyncsOfAFileOrItsFolderEndWhenTheServiceHoldsIt) {
  Fail("b2_upload_file", 503, kAlways);
  HandlePtr handle = Create("f/a", "1");
  EXPECT_EQ(Try([&] { files->Flush(*handle); }), 0);
  EXPECT_EQ(Try([&] { files->Sync(*handle); }), EIO);
  EXPECT_EQ(Try([&] { files->SyncFolder(At("f")); }), EIO);
  EXPECT_EQ(Try([&] { files->SyncFolder(At("g")); }), 0);
  Heal();
  EXPECT_EQ(Try([&] { files->SyncFolder("/"); }), 0);
  EXPECT_EQ(Versions("f/a"), Texts{"1"});
  Close(std::move(handle));
}

TEST_F(BackgroundTest, AFolderIsThereAtOnceAndOnTheServiceWhenSynced) {
  options.dir_ttl = std::chrono::seconds(0);
  Remount();
  CloseGate();
  for (const std::string line : {"mkdir n", "mkdir n/m", "mkdir o", "save n/f text"}) {
    EXPECT_EQ(Do(line), 0) << line;
  }
  EXPECT_EQ(Do("rmdir n"), ENOTEMPTY);
  EXPECT_THAT(Names(), UnorderedElementsAre("n/", "o/"));
  EXPECT_THAT(Names("n"), UnorderedElementsAre("m/", "f"));
  gate_.set_value();
  EXPECT_EQ(Try([&] { files->SyncFolder(At("n")); }), 0);
  EXPECT_THAT(StoredIn(store()), testing::IsSupersetOf({Pair("n/.bzEmpty", ""), Pair("n/f", "text"),
                                                        Pair("n/m/.bzEmpty", "")}));
  EXPECT_EQ(Do("move n p"), 0);
  EXPECT_EQ(Do("rmdir o"), 0);
  Remount();
  EXPECT_THAT(Names(), UnorderedElementsAre("p/"));
  EXPECT_THAT(Names("p"), UnorderedElementsAre("m/", "f"));
}

TEST_F(BackgroundTest, AFolderWhoseMarkerFailsIsTriedAgainUntilItIsRefused) {
  options.dir_ttl = std::chrono::seconds(0);
  Remount();
  Fail("b2_upload_file", 503, kAlways);
  for (const std::string line : {"mkdir a", "mkdir b"}) EXPECT_EQ(Do(line), 0) << line;
  EXPECT_EQ(AwaitFailure().path, At("a") + "/");
  EXPECT_EQ(Try([&] { files->SyncFolder(At("a")); }), EIO);
  EXPECT_EQ(Do("move a c"), EIO);
  EXPECT_THAT(Names(), UnorderedElementsAre("a/", "b/"));
  EXPECT_EQ(Do("rmdir a"), 0);
  Heal();
  ExpectAgreement();
  EXPECT_THAT(Names(), UnorderedElementsAre("b/"));
  Fail("b2_upload_file", 400, kAlways);
  EXPECT_EQ(Do("mkdir d"), 0);
  Await([this] { return !files->announcements().Lines().empty(); });
  EXPECT_THAT(files->announcements().Lines(), Contains(HasSubstr(At("d"))));
  AwaitSent();
  EXPECT_THAT(Names(), UnorderedElementsAre("b/"));
}

TEST_F(BackgroundTest, ARefusalIsToldAtTheNextOpenOnce) {
  for (const auto& [status, seen] :
       {std::pair{400, "errno 5"}, {403, "errno 122"}, {503, "text"}}) {
    Fail("b2_upload_file", status, kAlways);
    EXPECT_EQ(Write("a", "text"), 0);
    EXPECT_THAT(AwaitFailure().reason, HasSubstr(std::to_string(status)));
    EXPECT_EQ(Read("a"), seen);
    EXPECT_EQ(Read("a"), "text");
    Heal();
    EXPECT_EQ(Write("a", "text"), 0);
    AwaitSent();
  }
}

TEST_F(BackgroundTest, ClosesWaitWhileTooMuchDoes) {
  const std::string most(20, 'x');
  options.pending_size = most.size();
  Remount();
  CloseGate();
  EXPECT_EQ(Write("a", most), 0);
  Await([this] { return uploads_ == 1; });
  auto stored = std::async([&] { return Write("b", "b") == 0 ? Versions("a") : Texts{}; });
  usleep(1000);
  gate_.set_value();
  EXPECT_EQ(stored.get(), Texts{most});
  AwaitSent();
  // What is larger than all that may wait, and what nothing makes room for, is saved at the close.
  EXPECT_EQ(Write("large", most + "x"), 0);
  EXPECT_EQ(Versions("large").size(), 1u);
  Fail("b2_upload_file", 403, kAlways);
  EXPECT_EQ(Write("c", most), 0);
  AwaitFailure();
  EXPECT_EQ(Write("d", "d"), EDQUOT);
  Heal();
  ExpectAgreement();
}

}  // namespace
}  // namespace b2drive::mount
