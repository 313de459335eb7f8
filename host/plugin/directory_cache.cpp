#include "host/plugin/directory_cache.h"

#include <algorithm>
#include <cerrno>

#include "host/common/fs_error.h"
#include "host/common/path.h"
#include "host/common/waiting.h"

namespace b2drive {

DirectoryCache::DirectoryCache(Lister lister, std::chrono::seconds lifetime, std::size_t most_names)
    : lister_(std::move(lister)), lifetime_(lifetime), most_names_(most_names) {}

Listing DirectoryCache::List(const std::string& folder) {
  Lock lock(mutex_);
  const Names& names = Ready(lock, folder).names;
  return {names.begin(), names.end()};
}

Listing DirectoryCache::ListByName(const std::string& folder) {
  Lock lock(mutex_);
  const auto& names = Ready(lock, folder).names.get<ByName>();
  return {names.begin(), names.end()};
}

Listing DirectoryCache::BeginningWith(const std::string& folder, const std::string& prefix) {
  Lock lock(mutex_);
  const auto& names = Ready(lock, folder).names.get<ByName>();
  const auto first = names.lower_bound(prefix);
  const auto last = std::find_if(
      first, names.end(), [&](const Entry& entry) { return !entry.name.starts_with(prefix); });
  return {first, last};
}

std::optional<Entry> DirectoryCache::Find(const std::string& path) {
  Lock lock(mutex_);
  const auto& names = Ready(lock, ParentOf(path)).names.get<ByName>();
  auto found = names.find(NameOf(path));
  return found != names.end() ? std::optional(*found) : std::nullopt;
}

std::optional<Entry> DirectoryCache::FindFolder(const std::string& path) {
  Lock lock(mutex_);
  const auto& names = Ready(lock, ParentOf(path)).names.get<ByName>();
  auto found = names.find(std::make_tuple(NameOf(path), true));
  return found != names.end() ? std::optional(*found) : std::nullopt;
}

bool DirectoryCache::HasSiblings(const std::string& path) {
  Lock lock(mutex_);
  const auto& names = Ready(lock, ParentOf(path)).names.get<ByName>();
  return names.size() > names.count(NameOf(path));
}

bool DirectoryCache::IsKnownEmpty(const std::string& folder) {
  Lock lock(mutex_);
  auto found = folders_.find(folder);
  return found != folders_.end() && found->second.known && found->second.names.empty();
}

std::vector<std::string> DirectoryCache::After(const std::string& folder, const std::string& name,
                                               bool folders, std::size_t count) {
  constexpr int kMostSteps = 1000;
  std::vector<std::string> after;
  Lock lock(mutex_);
  auto found = folders_.find(folder);
  if (found == folders_.end() || !found->second.known) return after;
  const auto& names = found->second.names.get<ByName>();
  auto at = names.upper_bound(name);
  for (int step = 0; at != names.end() && after.size() < count && step < kMostSteps; ++at, ++step) {
    if (at->folder == folders) after.push_back(at->name);
  }
  return after;
}

std::string DirectoryCache::FolderId(const std::string& folder) {
  if (IsRoot(folder)) return "";
  std::size_t slash = folder.find('/', 1);
  auto bucket = Find(folder.substr(0, slash));
  if (!bucket) throw FsError(ENOENT, folder + ": no such bucket");
  return slash == std::string::npos ? bucket->id : bucket->id + folder.substr(slash);
}

void DirectoryCache::Put(const std::string& path, const Entry& entry) { Apply(path, entry); }

void DirectoryCache::PutEmptyFolder(const std::string& path, const std::string& id) {
  Apply(path, Entry{NameOf(path), id, true, 0, {}});
  Lock lock(mutex_);
  Folder& folder = folders_[path];
  if (folder.known || folder.listing) return;
  folder.known = true;
  folder.listed_at = Clock::now();
}

void DirectoryCache::Remove(const std::string& path) {
  Apply(path, std::nullopt);
  Forget(path);
}

void DirectoryCache::Forget(const std::string& folder) {
  Lock lock(mutex_);
  auto found = folders_.find(folder);
  if (found != folders_.end()) Forget(found->second);
}

void DirectoryCache::ForgetAll() {
  Lock lock(mutex_);
  for (auto& [path, folder] : folders_) Forget(folder);
}

void DirectoryCache::Forget(Folder& folder) {
  folder.forgotten = true;
  Clear(folder);
}

void DirectoryCache::Clear(Folder& folder) {
  names_ -= folder.names.size();
  folder.names = {};
  folder.known = false;
}

void DirectoryCache::Replace(Names& names, const Change& change) {
  const auto [first, last] = names.get<ByName>().equal_range(change.name);
  names.get<ByName>().erase(first, last);
  if (change.entry) names.push_back(*change.entry);
}

void DirectoryCache::Apply(const std::string& path, const std::optional<Entry>& entry) {
  Change change{NameOf(path), entry};
  if (change.entry) change.entry->name = change.name;
  Lock lock(mutex_);
  auto found = folders_.find(ParentOf(path));
  if (found == folders_.end()) return;
  Folder& folder = found->second;
  names_ -= folder.names.size();
  Replace(folder.names, change);
  names_ += folder.names.size();
  if (folder.listing) folder.changes.push_back(std::move(change));
}

DirectoryCache::Folder& DirectoryCache::Ready(Lock& lock, const std::string& path) {
  Folder& folder = folders_[path];  // stays in place: folders with a listing or waiters are kept
  while (!folder.known || Clock::now() - folder.listed_at >= lifetime_) {
    AboutToWait();
    if (!folder.listing) {
      Read(folder, path);
      break;
    }
    AwaitListing(lock, folder);
    if (folder.known) break;
  }
  return folder;
}

void DirectoryCache::AwaitListing(Lock& lock, Folder& folder) {
  const std::uint64_t failures = folder.failures;
  ++folder.waiters;
  while (folder.listing && folder.failures == failures) listed_.wait(lock);
  --folder.waiters;
  if (folder.failures != failures) std::rethrow_exception(folder.failure);
}

void DirectoryCache::Read(Folder& folder, const std::string& path) {
  folder.listing = true;
  folder.forgotten = false;
  folder.changes.clear();
  const Clock::time_point asked_at = Clock::now();
  Listing listing;
  std::exception_ptr failure;
  mutex_.unlock();
  try {
    listing = lister_(FolderId(path), path);
  } catch (...) {
    failure = std::current_exception();
  }
  mutex_.lock();
  folder.listing = false;
  listed_.notify_all();
  if (failure) {
    ++folder.failures;
    folder.failure = failure;
    std::rethrow_exception(failure);
  }
  SetListing(folder, std::move(listing));
  folder.known = !folder.forgotten;
  folder.listed_at = asked_at;
  Shrink(folder);
}

void DirectoryCache::SetListing(Folder& folder, Listing listing) {
  names_ -= folder.names.size();
  folder.names.clear();
  for (Entry& entry : listing) folder.names.push_back(std::move(entry));
  for (const Change& change : folder.changes) Replace(folder.names, change);
  folder.changes.clear();
  names_ += folder.names.size();
}

void DirectoryCache::Shrink(const Folder& keep) {
  while (names_ + folders_.size() > most_names_) {
    auto oldest = folders_.end();
    for (auto at = folders_.begin(); at != folders_.end(); ++at) {
      const Folder& folder = at->second;
      if (&folder == &keep || folder.listing || folder.waiters > 0) continue;
      if (oldest == folders_.end() || folder.listed_at < oldest->second.listed_at) oldest = at;
    }
    if (oldest == folders_.end()) return;
    Clear(oldest->second);
    folders_.erase(oldest);
  }
}

}  // namespace b2drive
