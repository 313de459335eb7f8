#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include "host/mount/block_cache.h"
#include "host/mount/local_io.h"
#include "host/mount/spool.h"

namespace b2drive::mount {
namespace {

namespace fs = std::filesystem;
using VersionPtr = std::shared_ptr<CachedVersion>;
using Found = std::vector<std::string>;

class CacheFolderTest : public testing::Test {
 protected:
  CacheFolderTest() {
    std::string name = (fs::temp_directory_path() / "b2mount-test-XXXXXX").string();
    folder_ = mkdtemp(name.data());
  }
  ~CacheFolderTest() override { fs::remove_all(folder_); }

  fs::path folder_;
};

class BlockCacheTest : public CacheFolderTest {
 protected:
  static constexpr std::uint64_t kLimit = 8 * kBlock;

  // Fills the blocks from `from` to `to` with `byte`.
  static void Bring(const VersionPtr& version, std::uint64_t from, std::uint64_t to, char byte) {
    FetchPtr fetch = version->Claim(from * kBlock, to * kBlock);
    const std::string bytes(fetch->end - fetch->begin, byte);
    EXPECT_EQ(version->Store(*fetch, fetch->begin, bytes.data(), bytes.size()), 0);
    version->End(fetch, 0);
  }
  // What is there of a version, from `offset` on.
  static std::string Read(const VersionPtr& version, std::uint64_t offset = 0) {
    std::string text(version->size(), '\0');
    text.resize(version->Read(offset, text.data(), text.size()).copied);
    return text;
  }

  BlockCache cache_{folder_ / "blocks", kLimit};
};

TEST_F(BlockCacheTest, ServesBytesAsTheyArriveToAllWhoWait) {
  std::string text(2 * kBlock + 100, 'a');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i % 251 + i / kBlock);
  VersionPtr version = cache_.Open("1", text.size());
  FetchPtr fetch = version->Claim(0, text.size());
  std::thread waiter([&] { EXPECT_EQ(version->Await(*fetch, kBlock), 0); });
  version->Store(*fetch, 0, text.data(), 1000);
  EXPECT_EQ(Read(version, 700), text.substr(700, 300));
  EXPECT_EQ(version->Read(1000, text.substr(0, 9).data(), 9).fetch, fetch);
  version->Store(*fetch, 1000, text.data() + 1000, kBlock);
  waiter.join();
  version->End(fetch, EIO);
  EXPECT_EQ(version->Await(*fetch, 2 * kBlock), EIO);
  EXPECT_EQ(Read(version), text.substr(0, kBlock));  // half a block is not kept
}

TEST_F(BlockCacheTest, AReaderTakesOnlyWhatIsNeitherThereNorOnItsWay) {
  VersionPtr version = cache_.Open("1", 6 * kBlock);
  Bring(version, 1, 2, 'a');
  FetchPtr running = version->Claim(3 * kBlock, 4 * kBlock);
  EXPECT_FALSE(version->Claim(kBlock, 6 * kBlock) || version->Claim(3 * kBlock, 6 * kBlock));
  EXPECT_EQ(version->Claim(0, 6 * kBlock)->end, kBlock);
  EXPECT_EQ(version->ClaimGap(0, 6 * kBlock, 2 * kBlock)->end, 3 * kBlock);
  EXPECT_EQ(version->ClaimGap(0, 6 * kBlock, 2 * kBlock)->begin, 4 * kBlock);
  EXPECT_FALSE(version->ClaimGap(0, 6 * kBlock, 2 * kBlock));
  version->CancelUnwanted(*running);
  EXPECT_TRUE(version->Claim(3 * kBlock, 4 * kBlock));
}

TEST_F(BlockCacheTest, ABlockDroppedWhileItsFetchRunsIsNotThere) {
  VersionPtr version = cache_.Open("1", 4 * kBlock);
  FetchPtr fetch = version->Claim(0, 4 * kBlock);
  const std::string bytes(2 * kBlock + 50, 'a');
  version->Store(*fetch, 0, bytes.data(), bytes.size());
  EXPECT_EQ(version->DropOldest(1), kBlock);
  EXPECT_EQ(Read(version), "");
  EXPECT_EQ(Read(version, kBlock), bytes.substr(kBlock));
  EXPECT_EQ(version->Claim(0, 4 * kBlock)->end, kBlock);
}

TEST_F(BlockCacheTest, ANewVersionShowsNoOldBlocks) {
  VersionPtr old = cache_.Open("1", kBlock);
  Bring(old, 0, 1, 'a');
  EXPECT_EQ(Read(cache_.Open("2", kBlock)), "");
  cache_.Adopt("2", kBlock, folder_ / "blocks/0");
  EXPECT_EQ(Read(cache_.Open("2", kBlock)), std::string(kBlock, 'a'));
  EXPECT_EQ(Read(cache_.Open("1", kBlock - 1)), "");
  EXPECT_EQ(Read(old), std::string(kBlock, 'a'));  // its reader keeps it
}

TEST_F(BlockCacheTest, KeepsWhatWasUsedLastWithinItsLimit) {
  std::string names = "0123456789";
  for (char name : names) {
    Bring(cache_.Open({name}, 2 * kBlock), 0, 2, 'a');
    cache_.Open("0", 2 * kBlock);
    cache_.Shrink();
  }
  std::erase_if(names, [&](char name) { return Read(cache_.Open({name}, 2 * kBlock)).empty(); });
  EXPECT_EQ(names, "0789");
  VersionPtr large = cache_.Open("large", 4 * kLimit);
  Bring(large, 0, 32, 'a');
  cache_.Shrink();
  EXPECT_LE(large->BytesHeld(), kLimit);
  EXPECT_EQ(Read(large), "");  // what came first went first
  EXPECT_EQ(Read(large, 4 * kLimit - 1), "a");
}

class SpoolTest : public CacheFolderTest {
 protected:
  SpoolPtr Written(const std::string& text) {
    SpoolPtr file = spool_.Make();
    EXPECT_EQ(WriteAt(file->fd(), text.data(), text.size(), 0), 0);
    return file;
  }
  // What a mount finds when this one is killed now: "path=contents" for each.
  Found AfterKill() {
    fs::remove_all(copy_);
    fs::copy(folder_ / "spool", copy_);
    Spool next(copy_);
    Found found;
    for (const Unsent& unsent : next.Recover()) {
      std::string contents(unsent.contents->Size(), '\0');
      ReadAt(unsent.contents->fd(), contents.data(), contents.size(), 0);
      found.push_back(unsent.path + "=" + contents);
      next.Enter(*next.Make(), "/b/new");  // takes no other's place
    }
    return found;
  }

  const fs::path copy_ = folder_ / "copy";
  Spool spool_{folder_ / "spool"};
};

TEST_F(SpoolTest, AKillLeavesWhatWasEnteredAndNothingElse) {
  SpoolPtr open = Written("being written");
  SpoolPtr closed = Written("one");
  EXPECT_EQ(AfterKill(), Found{});
  EXPECT_TRUE(fs::is_empty(copy_));
  spool_.Enter(*closed, "/b/one");
  EXPECT_EQ(AfterKill(), Found{"/b/one=one"});
  spool_.Enter(*closed, "/b/renamed");
  std::vector<SpoolPtr> later;
  for (int i = 0; i < 10; ++i) {  // beyond 9, where numbers and names sort differently
    later.push_back(Written(std::to_string(i)));
    spool_.Enter(*later.back(), "/b/two");
  }
  EXPECT_EQ(AfterKill(), (Found{"/b/renamed=one", "/b/two=9"}));
  spool_.Strike(*closed);
  EXPECT_EQ(AfterKill(), Found{"/b/two=9"});
  spool_.Strike(*later.back());
  spool_.Enter(*closed, "/b");  // in place of a longer text that was struck
  EXPECT_EQ(AfterKill(), (Found{"/b=one", "/b/two=8"}));
  spool_.Strike(*closed);  // again, while what it left the first time was not used
  const fs::directory_iterator files(folder_ / "spool");
  EXPECT_EQ(std::count_if(begin(files), end(files),
                          [](const auto& file) { return file.path().extension() == ".spare"; }),
            2);
}

TEST_F(SpoolTest, AnEntryThatCannotBeReadKeepsItsContentsAndHindersNothing) {
  SpoolPtr good = Written("good");
  spool_.Enter(*good, "/b/good");
  for (const std::string entry :
       {"", "[]", R"("path":"/b/x","si)", R"("path":"/b/x"})", R"("path":7,"size":3})",
        R"("path":"/b/x","size":"3"})", R"("path":"/b/x","size":4})",
        R"("file":"0","path":"/b/x","size":3})"}) {
    SpoolPtr bad = Written("bad");
    const std::string own = R"({"file":")" + bad->file().filename().string() + R"(",)";
    std::ofstream(bad->file().string() + ".json") << (entry.size() < 3 ? entry : own + entry);
    EXPECT_EQ(AfterKill(), Found{"/b/good=good"}) << entry;
    EXPECT_EQ(fs::file_size(copy_ / bad->file().filename()), 3u) << entry;
    fs::remove(bad->file().string() + ".json");
  }
}

}  // namespace
}  // namespace b2drive::mount
