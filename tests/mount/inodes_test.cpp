#include "host/mount/kernel/inodes.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "host/common/fs_error.h"
#include "host/common/path.h"

namespace b2drive::mount {
namespace {

std::string PathOf(Inodes& inodes, std::uint64_t number) try {
  return inodes.Path(number);
} catch (const FsError& error) {
  return std::to_string(error.number());
}

TEST(InodesTest, ANumberFollowsItsFile) {
  const std::string gone = std::to_string(ESTALE);
  Inodes inodes;
  const auto folder = inodes.Remember("/b/d", true);
  const auto file = inodes.Remember("/b/d/f", false);
  const auto other = inodes.Remember("/b/g", false);
  EXPECT_EQ(inodes.Remember("/b/d/f", false), file);
  EXPECT_EQ(inodes.Child(folder, "f"), "/b/d/f");
  inodes.Renamed("/b/d/f", "/b/g");
  EXPECT_EQ(PathOf(inodes, file) + PathOf(inodes, other), "/b/g" + gone);
  inodes.Removed("/b/d");
  EXPECT_EQ(PathOf(inodes, folder), gone);
  EXPECT_NE(inodes.Remember("/b/g", true), file);  // someone else's folder
  EXPECT_EQ(PathOf(inodes, file), gone);
  // The kernel may forget a folder before what is in it.
  const auto inner = inodes.Remember("/b/e/x/y", false);
  inodes.Forget(inodes.Remember("/b/e/x", true), 1);
  EXPECT_EQ(PathOf(inodes, inner), "/b/e/x/y");
  inodes.Forget(inner, 1);
  EXPECT_EQ(PathOf(inodes, inner), gone);
  EXPECT_EQ(inodes.Path(Inodes::kRoot), "/");
}

TEST(InodesTest, OfManyNamesEachIsFoundUntilItIsForgotten) {
  constexpr int kSteps = 100'000, kNames = 500;
  std::mt19937 random(1);
  std::map<std::string, std::pair<std::uint64_t, int>> known;  // number, times
  Inodes inodes;
  for (int step = 0; step < kSteps; ++step) {
    const auto path =
        "/b/" + std::to_string(random() % 9) + "/" + std::to_string(random() % kNames);
    auto& [number, times] = known[path];
    if (step % 3 != 0) {
      const auto remembered = inodes.Remember(path, false);
      ASSERT_TRUE(times++ == 0 || remembered == number) << path;
      number = remembered;
    } else if (times > 0) {
      ASSERT_EQ(inodes.Path(number), path);
      inodes.Forget(number, static_cast<std::uint64_t>(std::exchange(times, 0)));
      ASSERT_EQ(PathOf(inodes, number), std::to_string(ESTALE));
    }
  }
}

}  // namespace
}  // namespace b2drive::mount
