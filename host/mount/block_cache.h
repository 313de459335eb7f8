#pragma once

#include <cerrno>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "host/mount/cached_version.h"
#include "host/mount/fs_error.h"

namespace b2drive::mount {

// Blocks of files on disk, at most about `limit` bytes. Keyed by the version's identifier, so that
// a new version never shows an older one's blocks. What was kept goes with the object. Thread-safe.
class BlockCache {
 public:
  // Takes over `folder` and empties it. Throws FsError.
  BlockCache(std::filesystem::path folder, std::uint64_t limit);

  std::shared_ptr<CachedVersion> Open(const std::string& id, std::uint64_t size);

  // Takes `file`, which holds the whole version, into the cache.
  void Adopt(const std::string& id, std::uint64_t size, const std::filesystem::path& file);

  // To be called after blocks came: drops what was longest not used.
  void Shrink();
  void Forget(const std::string& id);
  // Frees the disk for what matters more.
  void DropAll();

 private:
  std::filesystem::path NewFile();
  std::uint64_t BytesHeld();
  std::shared_ptr<CachedVersion> LeastUsed();

  const std::filesystem::path folder_;
  const std::uint64_t limit_;
  std::atomic<std::uint64_t> clock_{0};
  std::mutex mutex_;  // guards what follows
  std::uint64_t next_file_ = 0;
  std::unordered_map<std::string, std::shared_ptr<CachedVersion>> versions_;
};

// Runs `action`; when the disk is full once more without the blocks.
template <typename Action>
auto WithRoom(BlockCache& blocks, Action action) {
  try {
    return action();
  } catch (const FsError& error) {
    if (error.number() != ENOSPC) throw;
  }
  blocks.DropAll();
  return action();
}

}  // namespace b2drive::mount
