#include "host/mount/journal/spool_log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/mount/journal/log_frames.h"
#include "host/mount/journal/spool.h"
#include "tests/support/scratch.h"

namespace b2drive::mount {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kSector = 4096;
constexpr std::size_t kHeader = 8;  // of a piece

struct Framed {
  std::string text;
  std::size_t begin, end;  // of its pieces in the file
};

class LogFramesTest : public testing::Test {
 protected:
  LogFramesTest() {
    // One ends where a header has no room; one looks like the log that it is in.
    for (const std::size_t size : {30, 9000, 3213, 1, 60, 4080, 4096, 700}) {
      Add(std::string(size, static_cast<char>('a' + framed_.size())));
    }
    Add(file_.substr(0, 9000));
    for (const char text : {'x', 'y', 'z'}) Add(std::string(1500, text));
    file_.resize(file_.size() + 3 * kSector, '\0');
  }

  void Add(const std::string& text) {
    const std::size_t at = file_.size();
    file_ += FrameText(text, at);
    EXPECT_LE(file_.size() - at, MostFramed(text.size()));
    const std::size_t room = kSector - at % kSector;
    framed_.push_back({text, room <= kHeader ? at + room : at, file_.size()});
  }

  // Where what stands from `at` on in its sector cannot be read.
  void ExpectOthers(const std::string& damaged, std::size_t at) {
    const std::size_t sector_end = (at / kSector + 1) * kSector;
    std::vector<std::string> expected;
    bool missing = false;
    bool before_another = false;
    for (const auto& [text, begin, end] : framed_) {
      const bool lost = end > at && begin < sector_end;
      if (!lost) expected.push_back(text);
      before_another = before_another || (missing && !lost);
      missing = missing || lost;
    }
    const Unframed found = UnframeTexts(damaged);
    ASSERT_EQ(found.texts, expected) << at;
    ASSERT_EQ(found.damaged, before_another) << at;
  }

  std::string file_;
  std::vector<Framed> framed_;
};

TEST_F(LogFramesTest, DamageCostsTheTextsInItsBlockAndIsSeen) {
  const std::size_t end = framed_.back().end;
  ExpectOthers(file_, end);
  for (std::size_t at = 0; at < end; ++at) {
    std::string damaged = file_;
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    ExpectOthers(damaged, at);
    if (at % kSector == 0) ExpectOthers(damaged.replace(at, kSector, kSector, '\0'), at);
  }
}

TEST_F(LogFramesTest, WhatWasNotFinishedIsNoDamage) {
  const std::size_t end = framed_.back().end;
  for (std::size_t cut = 0; cut < end; ++cut) {
    std::string left = file_.substr(0, cut);
    left.resize(file_.size(), '\0');
    const Unframed found = UnframeTexts(left);
    const auto whole =
        std::ranges::count_if(framed_, [&](const Framed& o) { return o.end <= cut; });
    ASSERT_EQ(found.texts.size(), static_cast<std::size_t>(whole)) << cut;
    ASSERT_FALSE(found.damaged) << cut;
  }
}

TEST(SpoolLogTest, WhatFollowsDamageIsRecoveredAndTheLogKept) {
  const Scratch scratch;
  const fs::path folder = scratch.path / "spool";
  {
    Spool spool(SystemDisk(), folder, "one");
    for (const char name : {'a', 'b', 'c'}) {
      const SpoolPtr file = spool.Make();
      const std::string contents(5000, name);
      spool.Write(*file, contents.data(), contents.size(), 0);
      spool.Secure(*file, {std::string("/") + name, "", {}});
    }
  }
  for (const auto& item : fs::directory_iterator(folder)) {  // as a loss of power may leave it
    if (item.path().filename() != "log") fs::remove_all(item.path());
  }
  const UniqueFd log = SystemDisk().Open(folder / "log", O_WRONLY);
  ASSERT_EQ(WriteAllAt(log.get(), "damage", 6000), 0);
  for (int mount = 0; mount < 2; ++mount) {
    const Spool::Found found = Spool(SystemDisk(), folder, "two").Recover();
    std::vector<std::string> paths;
    for (const Unsent& one : found.unsent) paths.push_back(one.destination.path);
    EXPECT_THAT(paths, testing::ElementsAre("/a", "/c"));
    EXPECT_THAT(found.damaged, testing::ElementsAre(testing::HasSubstr("may be missing")));
  }
}

// Its first sector is unreadable: all that is there of the only record, say.
class BadSectorDisk : public Disk {
  std::size_t Read(int fd, char* data, std::size_t count, std::uint64_t offset) override {
    if (offset < kSector) throw FsError(EIO, "unreadable");
    return Disk::Read(fd, data, count, offset);
  }
};

TEST(SpoolLogTest, WhatCannotBeReadIsTold) {
  const Scratch scratch;
  BadSectorDisk disk;
  {
    Spool spool(disk, scratch.path, "one");
    const SpoolPtr file = spool.Make();
    spool.Secure(*file, {"/a", "", {}});
  }
  fs::remove(scratch.path / "0");
  fs::remove(scratch.path / "0.json");
  EXPECT_THAT(Spool(disk, scratch.path, "two").Recover().damaged, testing::SizeIs(1));
}

}  // namespace
}  // namespace b2drive::mount
