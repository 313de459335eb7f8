#include "host/mount/files/open_files.h"

#include <chrono>
#include <thread>
#include <utility>

#include "host/common/path.h"
#include "host/common/waiting.h"

namespace b2drive::mount {

NameWatch::NameWatch(OpenFiles& files, const std::string& path) : files_(files), path_(path) {
  Lock lock(files_.mutex_);
  files_.watches_.insert(this);
  const auto found = files_.by_path_.find(path);
  if (found == files_.by_path_.end()) return;
  file_ = found->second;
  version_ = file_->version();
}

NameWatch::~NameWatch() {
  Lock lock(files_.mutex_);
  files_.watches_.erase(this);
}

bool NameWatch::WasTaken() const {
  Lock lock(files_.mutex_);
  return taken_;
}

SharedFilePtr OpenFiles::Acquire(const std::string& path, const Finder& find) {
  for (;;) {
    const NameWatch watch(*this, path);
    SharedFilePtr file = watch.file();
    if (file && file->IsAbandoned()) {  // about to lose the name
      AboutToWait();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      continue;
    }
    const bool unsent = file && !file->IsSettled();
    const std::optional<Entry> stored = unsent ? std::nullopt : find();
    Lock lock(mutex_);
    const bool outdated = stored && file && file->IsOutdated(path, stored->id);
    // Looked at last: a removal that came between would make any file look outdated.
    if (watch.IsOver() || (file && file->IsAbandoned())) continue;
    if (!file || outdated) {
      file = std::make_shared<SharedFile>(services_, path, stored);
      const SharedFilePtr before = Replace(path, file);
      if (before) Displace(before);
    }
    ++handles_[file];
    return file;
  }
}

// Gives the file that had the name before; null for none. A null `file` takes the name away.
SharedFilePtr OpenFiles::Replace(const std::string& path, const SharedFilePtr& file) {
  for (NameWatch* watch : watches_) watch->Note(path);
  if (file) return std::exchange(by_path_[path], file);
  const auto found = by_path_.extract(path);
  return found ? found.mapped() : nullptr;
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
  Replace(path, std::make_shared<SharedFile>(services_, std::move(unsent)));
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
  RemoveIf(file, from);
  SharedFilePtr before = Replace(to, file);
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
  RemoveIf(file, path);
}

// Whether the file had the name.
bool OpenFiles::RemoveIf(const SharedFilePtr& file, const std::string& path) {
  const auto found = by_path_.find(path);
  if (found == by_path_.end() || found->second != file) return false;
  Replace(path, nullptr);
  return true;
}

void OpenFiles::LetGo(const SharedFilePtr& file) {
  {
    Lock lock(mutex_);
    if (handles_.contains(file) || !file->IsSettled()) return;
    displaced_.erase(file);
    if (!RemoveIf(file, file->path())) return;
  }
  file->Retire();
}

}  // namespace b2drive::mount
