#pragma once

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include "host/common/fs_error.h"
#include "host/common/keyed_list.h"
#include "host/mount/reading/cached_version.h"

namespace b2drive::mount {

// Blocks of files on disk, at most about `limit` bytes. Keyed by the version's identifier, so that
// a new version never shows an older one's blocks. What was kept goes with the object. Thread-safe.
//
// The versions stand in the order of their use, the last one in front. What is held in all of them
// is counted as it comes and goes, so that only a cache that is full looks at them.
class BlockCache {
 public:
  // Takes over `folder` and empties it. Each version holds a descriptor, so `versions` at most are
  // kept that nobody reads. Throws FsError.
  BlockCache(Disk& disk, std::filesystem::path folder, std::uint64_t limit, std::size_t versions);

  std::shared_ptr<CachedVersion> Open(const std::string& id, std::uint64_t size);

  // Takes `file`, which holds the whole version, into the cache.
  void Adopt(const std::string& id, std::uint64_t size, const std::filesystem::path& file);

  // To be called after blocks came: drops what was longest not used.
  void Shrink();
  void Forget(const std::string& id);
  // Frees disk space and descriptors for what matters more.
  void DropAll();

 private:
  struct Kept {
    std::string id;
    std::shared_ptr<CachedVersion> version;
  };

  std::filesystem::path NewFile() B2_REQUIRES(mutex_);
  void Keep(const std::string& id, std::shared_ptr<CachedVersion> version) B2_REQUIRES(mutex_);
  bool IsFull() const B2_REQUIRES(mutex_);

  Disk& disk_;
  const std::filesystem::path folder_;
  const std::uint64_t limit_;  // bytes
  const std::size_t most_versions_;
  std::atomic<std::uint64_t> held_{0};  // bytes
  Mutex mutex_;
  std::uint64_t next_file_ B2_GUARDED_BY(mutex_) = 0;
  KeyedList<Kept, &Kept::id> order_ B2_GUARDED_BY(mutex_);
};

// How many versions a cache should keep with the descriptors that this process may have.
std::size_t MostVersions();

// Runs `action`; when the disk or the descriptors are used up once more without the blocks.
template <typename Action>
auto WithRoom(BlockCache& blocks, Action action) {
  try {
    return action();
  } catch (const FsError& error) {
    const int number = error.number();
    if (number != ENOSPC && number != EDQUOT && number != EMFILE && number != ENFILE) throw;
  }
  blocks.DropAll();
  return action();
}

}  // namespace b2drive::mount
