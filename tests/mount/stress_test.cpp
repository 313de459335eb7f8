#include <gmock/gmock.h>

#include <atomic>
#include <random>
#include <thread>

#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

using testing::IsEmpty, testing::MatchesRegex;

constexpr int kThreads = 4;
constexpr int kSteps = 60;

// Several programs on few files: every one sees whole contents, and in the end the service holds
// what the mount shows.
TEST_F(FileSystemTest, ManyProgramsOnFewFilesAgreeInTheEnd) {
  const auto program = [this](unsigned seed) {
    std::minstd_rand random(seed);
    const auto any = [&](unsigned below) { return static_cast<int>(random() % below); };
    for (int step = 0; step < kSteps; ++step) {
      const std::string name = std::to_string(any(3));
      const std::string text = "by " + std::to_string(seed) + "!";
      switch (any(6)) {
        case 0:
        case 1:
          Write(name, text);
          break;
        case 2:
          Rename(name, std::to_string(any(3)));
          break;
        case 3:
          Unlink(name);
          break;
        case 4:
          Names();
          break;
        default:
          EXPECT_THAT(Read(name), MatchesRegex("(by .!)?|errno 2|errno 116"));
      }
    }
  };
  std::vector<std::thread> programs;
  for (unsigned seed = 1; seed <= kThreads; ++seed) programs.emplace_back(program, seed);
  for (std::thread& thread : programs) thread.join();
  EXPECT_THAT(Drain(), IsEmpty());
  EXPECT_EQ(MountedAfresh(), Stored());
}

TEST_F(FileSystemTest, AFileThatIsBeingSentCanBeLookedAtWrittenAndClosedTwice) {
  const std::string large(20 * kPart, 'l');
  for (int round = 0; round < 3; ++round) {
    const std::string name = std::to_string(round);
    Handle& handle = Create(name);
    Handle& other = Open(name);
    EXPECT_EQ(Write(handle, large), 0);
    std::atomic<bool> sent = false;
    std::thread saver([&] {
      EXPECT_EQ(Flush(handle), 0);
      sent = true;
    });
    while (!sent) {
      EXPECT_EQ(handle.file().Stat().size, large.size());
      EXPECT_EQ(Write(other, "changed"), 0);
      EXPECT_EQ(Names().substr(0, 1), "0");
    }
    saver.join();
    CloseAtOnce(handle, other);
    EXPECT_THAT(Waiting().size(), testing::Le(1u));
  }
  EXPECT_THAT(Drain(), IsEmpty());
  for (const auto& [name, text] : Stored()) {
    EXPECT_EQ(text.substr(0, 9), "changedll") << name;
  }
  EXPECT_EQ(MountedAfresh(), Stored());
}

}  // namespace
}  // namespace b2drive::mount
