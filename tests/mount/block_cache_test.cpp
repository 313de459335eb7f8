#include "host/mount/reading/block_cache.h"

#include <gtest/gtest.h>

#include <thread>

#include "host/local/local_io.h"
#include "tests/support/scratch.h"

namespace b2drive::mount {
namespace {

using VersionPtr = std::shared_ptr<CachedVersion>;

class BlockCacheTest : public testing::Test {
 protected:
  static constexpr std::uint64_t kLimit = 8 * kBlock;

  // Fills the blocks from `from` to `to` with `byte`.
  static void Bring(const VersionPtr& version, std::uint64_t from, std::uint64_t to, char byte) {
    FetchPtr fetch = version->Claim(from * kBlock, to * kBlock);
    Store(version, fetch, std::string(fetch->end - fetch->begin, byte));
    version->End(fetch, 0);
  }
  // The next bytes of a fetch.
  static void Store(const VersionPtr& version, const FetchPtr& fetch, const std::string& bytes) {
    EXPECT_EQ(version->Store(bytes.data(), bytes.size(), fetch->reached), 0);
    version->Advance(*fetch, fetch->reached + bytes.size());
  }
  // What is there of a version, from `offset` on.
  static std::string Read(const VersionPtr& version, std::uint64_t offset = 0) {
    std::string text(version->size(), '\0');
    text.resize(version->Read(offset, text.data(), text.size()).copied);
    return text;
  }

  const Scratch folder_;
  BlockCache cache_{SystemDisk(), folder_.path / "blocks", kLimit, 100};
};

TEST_F(BlockCacheTest, ServesBytesAsTheyArriveToAllWhoWait) {
  std::string text(2 * kBlock + 100, 'a');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i % 251 + i / kBlock);
  VersionPtr version = cache_.Open("1", text.size());
  FetchPtr fetch = version->Claim(0, text.size());
  std::thread waiter([&] { EXPECT_EQ(version->Await(*fetch, kBlock), 0); });
  Store(version, fetch, text.substr(0, 1000));
  EXPECT_EQ(Read(version, 700), text.substr(700, 300));
  EXPECT_EQ(version->Read(1000, text.substr(0, 9).data(), 9).fetch, fetch);
  Store(version, fetch, text.substr(1000, kBlock));
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

  version = cache_.Open("2", 6 * kBlock - 1);
  Bring(version, 4, 5, 'a');
  for (const auto& [begin, end] : {std::pair{5, 6}, {2, 4}, {0, 2}}) {
    const FetchPtr fetch = version->ClaimGapBefore(6 * kBlock, kBlock, 2 * kBlock);
    ASSERT_TRUE(fetch);
    EXPECT_EQ(fetch->begin, begin * kBlock);
    EXPECT_EQ(fetch->end, std::min(end * kBlock, version->size()));
  }
  EXPECT_FALSE(version->ClaimGapBefore(6 * kBlock, kBlock, kBlock));
}

TEST_F(BlockCacheTest, ABlockDroppedWhileItsFetchRunsIsNotThere) {
  VersionPtr version = cache_.Open("1", 4 * kBlock);
  FetchPtr fetch = version->Claim(0, 4 * kBlock);
  const std::string bytes(2 * kBlock + 50, 'a');
  Store(version, fetch, bytes);
  EXPECT_EQ(version->DropOldest(1), kBlock);
  EXPECT_EQ(Read(version), "");
  EXPECT_EQ(Read(version, kBlock), bytes.substr(kBlock));
  EXPECT_EQ(version->Claim(0, 4 * kBlock)->end, kBlock);
}

TEST_F(BlockCacheTest, ANewVersionShowsNoOldBlocks) {
  VersionPtr old = cache_.Open("1", kBlock);
  Bring(old, 0, 1, 'a');
  EXPECT_EQ(Read(cache_.Open("2", kBlock)), "");
  cache_.Adopt("2", kBlock, folder_.path / "blocks/0");
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

}  // namespace
}  // namespace b2drive::mount
