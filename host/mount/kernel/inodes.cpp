#include "host/mount/kernel/inodes.h"

#include <cerrno>

#include "host/common/fs_error.h"
#include "host/common/path.h"

namespace b2drive::mount {

Inodes::Inodes() {
  Lock lock(mutex_);
  by_number_[kRoot] = {"/", true, 1, {}};
  by_path_["/"] = kRoot;
}

std::uint64_t Inodes::Remember(const std::string& path, bool folder) {
  Lock lock(mutex_);
  auto found = by_path_.find(path);
  if (found != by_path_.end() && by_number_[found->second].folder != folder) {
    Detach(path);
    found = by_path_.end();
  }
  const std::uint64_t number = found != by_path_.end() ? found->second : next_++;
  Inode& inode = by_number_[number];
  if (inode.remembered++ == 0) {
    inode.path = path;
    inode.folder = folder;
    by_path_[path] = number;
  }
  return number;
}

void Inodes::Forget(std::uint64_t number, std::uint64_t times) {
  Lock lock(mutex_);
  auto found = by_number_.find(number);
  if (found == by_number_.end() || number == kRoot) return;
  if (found->second.remembered > times) {
    found->second.remembered -= times;
    return;
  }
  if (!found->second.path.empty()) by_path_.erase(found->second.path);
  by_number_.erase(found);
}

std::string Inodes::Path(std::uint64_t number) {
  Lock lock(mutex_);
  auto found = by_number_.find(number);
  if (found == by_number_.end() || found->second.path.empty()) {
    throw FsError(ESTALE, "a file whose name is gone");
  }
  return found->second.path;
}

std::string Inodes::Child(std::uint64_t folder, const std::string& name) {
  return Join(Path(folder), name);
}

void Inodes::Renamed(const std::string& from, const std::string& to) {
  Lock lock(mutex_);
  Detach(to);
  auto found = by_path_.find(from);
  if (found == by_path_.end()) return;
  const std::uint64_t number = found->second;
  by_path_.erase(found);
  by_path_[to] = number;
  by_number_[number].path = to;
}

void Inodes::Removed(const std::string& path) {
  Lock lock(mutex_);
  Detach(path);
}

void Inodes::Detach(const std::string& path) {
  auto found = by_path_.find(path);
  if (found == by_path_.end()) return;
  by_number_[found->second].path.clear();
  by_path_.erase(found);
}

void Inodes::Opened(std::uint64_t number, const SharedFilePtr& file) {
  Lock lock(mutex_);
  auto found = by_number_.find(number);
  if (found != by_number_.end()) found->second.file = file;
}

SharedFilePtr Inodes::Nameless(std::uint64_t number) {
  Lock lock(mutex_);
  auto found = by_number_.find(number);
  if (found == by_number_.end() || !found->second.path.empty()) return nullptr;
  return found->second.file.lock();
}

}  // namespace b2drive::mount
