#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "host/common/thread_safety.h"
#include "host/mount/files/shared_file.h"

namespace b2drive::mount {

// The numbers by which the kernel knows paths. A number stays with its file over a rename and after
// the name is gone, as long as the kernel remembers it. Folders are never renamed. Thread-safe.
class Inodes {
 public:
  static constexpr std::uint64_t kRoot = 1;

  Inodes();

  // The number of `path`, which the kernel will remember once more.
  std::uint64_t Remember(const std::string& path, bool folder);
  void Forget(std::uint64_t number, std::uint64_t times);

  // Throws FsError ESTALE when the name is gone.
  std::string Path(std::uint64_t number);
  std::string Child(std::uint64_t folder, const std::string& name);

  void Renamed(const std::string& from, const std::string& to);
  void Removed(const std::string& path);

  // Lets a file be found by its number while it is open, also without a name.
  void Opened(std::uint64_t number, const SharedFilePtr& file);
  // The open file whose name is gone; null for any other.
  SharedFilePtr Nameless(std::uint64_t number);

 private:
  struct Inode {
    std::string path;  // empty: the name is gone
    bool folder = false;
    std::uint64_t remembered = 0;
    std::weak_ptr<SharedFile> file;
  };

  void Detach(const std::string& path) B2_REQUIRES(mutex_);

  Mutex mutex_;
  std::uint64_t next_ B2_GUARDED_BY(mutex_) = kRoot + 1;
  std::unordered_map<std::uint64_t, Inode> by_number_ B2_GUARDED_BY(mutex_);
  std::unordered_map<std::string, std::uint64_t> by_path_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
