#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "host/common/unique_fd.h"

namespace b2drive::mount {

// The file system below the cache folder: all that is written there goes through it, so that tests
// can have any operation fail, or the power cut. Thread-safe. What is not said to throw gives 0 or
// an errno.
class Disk {
 public:
  virtual ~Disk() = default;

  // With open(2)'s flags, for the owner alone. Throws FsError.
  virtual UniqueFd Open(const std::filesystem::path& file, int flags);
  // All `count` bytes.
  virtual int Write(int fd, const char* data, std::size_t count, std::uint64_t offset);
  // As ReadAt. Throws FsError.
  virtual std::size_t Read(int fd, char* data, std::size_t count, std::uint64_t offset);
  virtual int Resize(int fd, std::uint64_t size);
  // Gives the disk space of a range back; the range reads as zeros then.
  virtual int Free(int fd, std::uint64_t offset, std::uint64_t count);
  // Copies the first `count` bytes of a file; ENODATA when there are fewer.
  virtual int Copy(int from, int to, std::uint64_t count);
  // Returns when the file's contents, or the names in a folder, survive a loss of power.
  virtual int Sync(int fd);
  virtual int SyncFolder(const std::filesystem::path& folder);
  // Over an older file of that name.
  virtual int Rename(const std::filesystem::path& from, const std::filesystem::path& to);
  virtual int Remove(const std::filesystem::path& file);
};

// The one that is there.
Disk& SystemDisk();

}  // namespace b2drive::mount
