#include "host/mount/open_files.h"

#include <utility>

#include "host/mount/paths.h"

namespace b2drive::mount {

SharedFilePtr OpenFiles::Acquire(const std::string& path, const Look& look) {
  if (SharedFilePtr unsent = AcquireUnsent(path)) return unsent;
  const std::optional<Node> stored = look();
  Lock lock(mutex_);
  SharedFilePtr& file = by_path_[path];
  const bool outdated = file && (file->IsAbandoned() || (stored && file->IsOutdated(stored->id)));
  if (outdated) Displace(file);
  if (!file || outdated) file = std::make_shared<SharedFile>(services_, path, stored);
  ++handles_[file];
  return file;
}

SharedFilePtr OpenFiles::AcquireUnsent(const std::string& path) {
  Lock lock(mutex_);
  auto found = by_path_.find(path);
  if (found == by_path_.end() || found->second->IsSettled()) return nullptr;
  ++handles_[found->second];
  return found->second;
}

void OpenFiles::Release(const SharedFilePtr& file) {
  {
    Lock lock(mutex_);
    if (--handles_[file] > 0) return;
    handles_.erase(file);
  }
  last_closed_(file);
  LetGo(file);
}

std::size_t OpenFiles::Handles(const SharedFilePtr& file) {
  Lock lock(mutex_);
  auto found = handles_.find(file);
  return found != handles_.end() ? found->second : 0;
}

void OpenFiles::Add(Unsent unsent) {
  Lock lock(mutex_);
  const std::string path = unsent.destination.path;
  by_path_[path] = std::make_shared<SharedFile>(services_, std::move(unsent));
}

SharedFilePtr OpenFiles::Find(const std::string& path) {
  Lock lock(mutex_);
  auto found = by_path_.find(path);
  return found != by_path_.end() ? found->second : nullptr;
}

std::vector<SharedFilePtr> OpenFiles::In(const std::string& folder) {
  const std::string prefix = Join(folder, "");
  std::vector<SharedFilePtr> files;
  Lock lock(mutex_);
  for (auto at = by_path_.lower_bound(prefix); at != by_path_.end(); ++at) {
    if (!at->first.starts_with(prefix)) break;
    if (at->first.find('/', prefix.size()) == std::string::npos) files.push_back(at->second);
  }
  return files;
}

std::vector<SharedFilePtr> OpenFiles::All() {
  std::vector<SharedFilePtr> files;
  Lock lock(mutex_);
  for (const auto& [path, file] : by_path_) files.push_back(file);
  files.insert(files.end(), displaced_.begin(), displaced_.end());
  return files;
}

void OpenFiles::Displace(const SharedFilePtr& file) {
  if (handles_.contains(file) || !file->IsSettled()) displaced_.insert(file);
}

SharedFilePtr OpenFiles::Move(const SharedFilePtr& file, const std::string& from,
                              const std::string& to) {
  Lock lock(mutex_);
  auto found = by_path_.find(from);
  if (found != by_path_.end() && found->second == file) by_path_.erase(found);
  SharedFilePtr before = std::exchange(by_path_[to], file);
  displaced_.erase(file);
  if (before == file) return nullptr;
  if (before) Displace(before);
  return before;
}

void OpenFiles::Move(const SharedFile& file, const std::string& from, const std::string& to) {
  const SharedFilePtr found = Find(from);
  if (found.get() == &file) Move(found, from, to);
}

void OpenFiles::Remove(const SharedFilePtr& file, const std::string& path) {
  Lock lock(mutex_);
  auto found = by_path_.find(path);
  if (found != by_path_.end() && found->second == file) by_path_.erase(found);
}

void OpenFiles::LetGo(const SharedFilePtr& file) {
  {
    Lock lock(mutex_);
    if (handles_.contains(file) || !file->IsSettled()) return;
    displaced_.erase(file);
    auto found = by_path_.find(file->path());
    if (found == by_path_.end() || found->second != file) return;
    by_path_.erase(found);
  }
  file->Retire();
}

}  // namespace b2drive::mount
