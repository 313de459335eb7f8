#pragma once

#include <atomic>
#include <deque>
#include <filesystem>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/common/unique_fd.h"
#include "host/mount/journal/disk.h"

namespace b2drive::mount {

inline constexpr std::uint64_t kBlock = 128UL * 1024;

// One range on its way into a cached version. `reached`, `error` and `waiters` are guarded by the
// version.
struct Fetch {
  std::uint64_t begin = 0;    // bytes, at a block's start
  std::uint64_t end = 0;      // bytes
  std::uint64_t reached = 0;  // bytes before this have come
  std::atomic<bool> done{false};
  int error = 0;  // errno, once done
  int waiters = 0;
  std::atomic<bool> canceled{false};
};
using FetchPtr = std::shared_ptr<Fetch>;

// The blocks of one stored version of a file that are on disk, in a sparse file. Thread-safe; the
// lock covers local reading, never a transfer.
class CachedVersion {
 public:
  // Makes `file`, or takes it with all blocks there. The bytes of blocks that come and go are
  // counted in `held` as well. Throws FsError; EFBIG for a size that the service cannot have.
  CachedVersion(Disk& disk, std::atomic<std::uint64_t>& held, std::filesystem::path file,
                std::uint64_t size, bool complete);
  ~CachedVersion();
  CachedVersion(const CachedVersion&) = delete;
  CachedVersion& operator=(const CachedVersion&) = delete;

  std::uint64_t size() const { return size_; }

  // What stands at `offset`: bytes that were copied, or the fetch that will bring it, or neither.
  struct ReadResult {
    std::size_t copied = 0;
    FetchPtr fetch;
  };
  ReadResult Read(std::uint64_t offset, char* data, std::size_t count);

  // Registers a fetch from the block at `offset` to `end` at most, ending before what is there or
  // on its way; null when the first block is. Whoever claims must see to it that End is called.
  FetchPtr Claim(std::uint64_t offset, std::uint64_t end);
  // As Claim, for `longest` bytes from the first gap that begins between `offset` and `end`.
  FetchPtr ClaimGap(std::uint64_t offset, std::uint64_t end, std::uint64_t longest);

  // The other way: up to `longest` bytes before the last gap that ends between `begin` and
  // `offset`.
  FetchPtr ClaimGapBefore(std::uint64_t offset, std::uint64_t begin, std::uint64_t longest);

  // Writes bytes of a fetch, which no reader sees before Advance; 0 or an errno.
  int Store(const char* data, std::size_t count, std::uint64_t offset);
  // Shows what was stored before `reached`.
  void Advance(Fetch& fetch, std::uint64_t reached);
  void End(const FetchPtr& fetch, int error);
  // Waits until `fetch` has reached beyond `offset` or has ended; gives its error.
  int Await(Fetch& fetch, std::uint64_t offset);
  // Ends a fetch that nobody waits for.
  void CancelUnwanted(Fetch& fetch);

  // Frees the disk space of the blocks that came first, about `bytes`; gives what was freed.
  std::uint64_t DropOldest(std::uint64_t bytes);
  std::uint64_t BytesHeld();

 private:
  bool IsThere(std::uint64_t offset) const B2_REQUIRES(mutex_) { return there_[offset / kBlock]; }
  FetchPtr Covering(std::uint64_t offset) const B2_REQUIRES(mutex_);
  bool IsMissing(std::uint64_t block) const B2_REQUIRES(mutex_) {
    return !there_[block] && !Covering(block * kBlock);
  }
  FetchPtr ClaimLocked(std::uint64_t offset, std::uint64_t end) B2_REQUIRES(mutex_);
  void MarkUpTo(const Fetch& fetch, std::uint64_t from) B2_REQUIRES(mutex_);
  void LoseAll() B2_REQUIRES(mutex_);
  void Count(std::int64_t blocks);

  Disk& disk_;
  std::atomic<std::uint64_t>& held_;
  const std::filesystem::path file_;
  const std::uint64_t size_;
  UniqueFd fd_;
  Mutex mutex_;
  Condition arrived_;
  std::vector<bool> there_ B2_GUARDED_BY(mutex_);             // one for each block
  std::deque<std::uint32_t> in_order_ B2_GUARDED_BY(mutex_);  // blocks, in order of arrival
  std::list<FetchPtr> fetches_ B2_GUARDED_BY(mutex_);         // that run
};

}  // namespace b2drive::mount
