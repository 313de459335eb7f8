#include "host/mount/kernel/inodes.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "host/common/fs_error.h"
#include "host/common/path.h"

namespace b2drive::mount {

// Stands in one piece of memory with its name behind it.
struct Inodes::Inode {
  static Inode* New(std::uint64_t number, const Name& name) {
    void* const memory = ::operator new(sizeof(Inode) + name.name.size());
    auto* made = new (memory) Inode{number, name.folder, 0, 0, {}, false};
    made->length = static_cast<std::uint16_t>(name.name.copy(made->text(), UINT16_MAX));
    return made;
  }
  static void Delete(Inode* inode) { ::operator delete(inode); }

  char* text() { return reinterpret_cast<char*>(this + 1); }
  std::string_view name() const { return {reinterpret_cast<const char*>(this + 1), length}; }

  std::uint64_t number;
  std::uint64_t folder;      // its number; 0: the name is gone, or it is the root
  std::uint64_t remembered;  // times
  std::uint32_t children;    // names that refer to it
  std::uint16_t length;
  bool is_folder;
};

std::uint64_t Inodes::NumberOf::operator()(const Inode* inode) const { return inode->number; }

Inodes::NameOf::Key Inodes::NameOf::operator()(const Inode* inode) const {
  return {inode->folder, inode->name()};
}

Inodes::Inodes() {
  Lock lock(mutex_);
  Inode* root = Inode::New(kRoot, {0, ""});
  root->is_folder = true;
  root->remembered = 1;
  by_number_.insert(root);
}

Inodes::~Inodes() {
  Lock lock(mutex_);
  for (Inode* inode : by_number_) Inode::Delete(inode);
}

Inodes::Inode* Inodes::Find(std::uint64_t number) {
  const auto found = by_number_.find(number);
  return found != by_number_.end() ? *found : nullptr;
}

Inodes::Inode* Inodes::FindChild(const Name& name) {
  const auto found = by_name_.find(name);
  return found != by_name_.end() ? *found : nullptr;
}

Inodes::Inode* Inodes::Find(std::string_view path) {
  if (IsRoot(path)) return Find(kRoot);
  const std::size_t slash = path.rfind('/');
  const Inode* folder = Find(slash == 0 ? "/" : path.substr(0, slash));
  return folder != nullptr ? FindChild({folder->number, path.substr(slash + 1)}) : nullptr;
}

Inodes::Inode* Inodes::FindOrMake(std::string_view path) {
  if (Inode* found = Find(path)) return found;
  const std::size_t slash = path.rfind('/');
  Inode* folder = FindOrMake(slash == 0 ? "/" : path.substr(0, slash));
  return Add(next_++, {folder->number, path.substr(slash + 1)});
}

Inodes::Inode* Inodes::Add(std::uint64_t number, const Name& name) {
  Inode* inode = Inode::New(number, name);
  by_number_.insert(inode);
  by_name_.insert(inode);
  ++Find(name.folder)->children;
  return inode;
}

void Inodes::Detach(Inode* inode) {
  if (inode == nullptr || inode->folder == 0) return;
  by_name_.erase(inode);
  Inode* folder = Find(inode->folder);
  --folder->children;
  inode->folder = 0;
  DropUnused(inode);
  DropUnused(folder);
}

void Inodes::DropUnused(Inode* inode) {
  if (inode->remembered > 0 || inode->children > 0) return;
  if (inode->folder != 0) return Detach(inode);
  by_number_.erase(inode);
  open_.erase(inode->number);
  Inode::Delete(inode);
}

std::uint64_t Inodes::Remember(const std::string& path, bool folder) {
  Lock lock(mutex_);
  Inode* found = Find(path);
  if (found != nullptr && found->remembered > 0 && found->is_folder != folder) Detach(found);
  Inode* inode = FindOrMake(path);
  inode->is_folder = folder;
  ++inode->remembered;
  return inode->number;
}

void Inodes::Forget(std::uint64_t number, std::uint64_t times) {
  Lock lock(mutex_);
  Inode* found = Find(number);
  if (found == nullptr || number == kRoot) return;
  found->remembered -= std::min(found->remembered, times);
  DropUnused(found);
  constexpr std::size_t kSpare = 16;
  if (by_number_.size() * kSpare >= by_number_.bucket_count()) return;
  by_number_.rehash(0);
  by_name_.rehash(0);
}

std::string Inodes::PathOf(const Inode* inode) {
  if (inode->number == kRoot) return "/";
  std::string path;
  for (; inode->number != kRoot; inode = Find(inode->folder)) {
    if (inode->folder == 0) return "";
    path.insert(0, inode->name()).insert(0, 1, '/');
  }
  return path;
}

std::string Inodes::Path(std::uint64_t number) {
  Lock lock(mutex_);
  const Inode* found = Find(number);
  std::string path = found != nullptr ? PathOf(found) : "";
  if (path.empty()) throw FsError(ESTALE, "a file whose name is gone");
  return path;
}

std::string Inodes::Child(std::uint64_t folder, const std::string& name) {
  return Join(Path(folder), name);
}

void Inodes::Renamed(const std::string& from, const std::string& to) {
  Lock lock(mutex_);
  Detach(Find(to));
  Inode* before = Find(from);
  if (before == nullptr) return;
  const std::string folder = ParentOf(to);
  const std::string name = b2drive::NameOf(to);
  Inode* into = FindOrMake(folder);
  by_number_.erase(before);
  Inode* inode = Add(before->number, {into->number, name});
  inode->is_folder = before->is_folder;
  inode->children = before->children;
  inode->remembered = before->remembered;
  before->remembered = 0;
  before->children = 0;
  by_name_.erase(before);
  Inode* left = Find(before->folder);
  --left->children;
  Inode::Delete(before);
  DropUnused(left);
}

void Inodes::Removed(const std::string& path) {
  Lock lock(mutex_);
  Detach(Find(path));
}

void Inodes::Opened(std::uint64_t number, const SharedFilePtr& file) {
  Lock lock(mutex_);
  if (Find(number) != nullptr) open_[number] = file;
}

SharedFilePtr Inodes::Nameless(std::uint64_t number) {
  Lock lock(mutex_);
  const Inode* found = Find(number);
  const auto open = open_.find(number);
  if (found == nullptr || open == open_.end() || !PathOf(found).empty()) return nullptr;
  return open->second.lock();
}

}  // namespace b2drive::mount
