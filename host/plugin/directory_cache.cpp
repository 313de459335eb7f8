#include "host/plugin/directory_cache.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <utility>

#include "host/common/fs_error.h"
#include "host/common/path.h"
#include "host/common/waiting.h"

namespace b2drive {
namespace {

std::shared_ptr<FolderListing> NoNames(SameNames same_names) {
  auto none = std::make_shared<FolderListing>(same_names);
  none->Complete();
  return none;
}

}  // namespace

// Puts what comes into a listing, and wakes those who read it meanwhile.
class DirectoryCache::Receiver final : public ListingReceiver {
 public:
  Receiver(DirectoryCache& cache, ListingPtr listing)
      : cache_(cache), listing_(std::move(listing)) {}

  void StartOver() override {
    Lock lock(cache_.mutex_);
    listing_->StartOver();
  }
  bool Take(Entry entry) override {
    Lock lock(cache_.mutex_);
    const std::size_t pieces = listing_->names().pieces();
    const bool is_new = listing_->Take(std::move(entry));
    if (cache_.readers_ > 0 && listing_->names().pieces() != pieces) cache_.listed_.notify_all();
    return is_new;
  }

 private:
  DirectoryCache& cache_;
  const ListingPtr listing_;
};

DirectoryCache::DirectoryCache(Lister lister, SameNames same_names, std::chrono::seconds lifetime,
                               std::size_t most_names, Runner runner)
    : lister_(std::move(lister)),
      same_names_(same_names),
      lifetime_(lifetime),
      most_names_(most_names),
      runner_(std::move(runner)) {}

Listing DirectoryCache::List(const std::string& folder) {
  Lock lock(mutex_);
  Names(lock, folder);
  return FolderAt(folder).names->InServiceOrder();
}

Listing DirectoryCache::BeginningWith(const std::string& folder, const std::string& prefix) {
  Listing found;
  Lock lock(mutex_);
  Names(lock, folder).VisitFrom(prefix, [&](const PackedEntries& entries, std::size_t i) {
    if (!entries.Name(i).starts_with(prefix)) return false;
    found.push_back(entries.At(i));
    return true;
  });
  std::ranges::sort(found, {}, [](const Entry& one) { return std::tie(one.name, one.folder); });
  return found;
}

std::optional<Entry> DirectoryCache::Find(const std::string& path, Clock::time_point since) {
  Lock lock(mutex_);
  const bool any_age = since == Clock::time_point();
  if (auto found = any_age ? FindEarly(path) : std::nullopt) return found;
  return Names(lock, ParentOf(path), since).Find(NameOf(path));
}

std::optional<Entry> DirectoryCache::FindFolder(const std::string& path) {
  Lock lock(mutex_);
  return Names(lock, ParentOf(path)).Find(NameOf(path), true);
}

std::optional<Entry> DirectoryCache::FindEarly(const std::string& path) {
  const auto found = folders_.find(ParentOf(path));
  if (found == folders_.end()) return std::nullopt;
  const Folder& folder = found->second;
  if (!folder.coming || folder.forgotten || IsFresh(folder)) return std::nullopt;
  return folder.coming->names().Find(NameOf(path));
}

bool DirectoryCache::HasSiblings(const std::string& path) {
  const std::string name = NameOf(path);
  Lock lock(mutex_);
  const NameTable& names = Names(lock, ParentOf(path));
  const int same = (names.Find(name, false) ? 1 : 0) + (names.Find(name, true) ? 1 : 0);
  return names.size() > static_cast<std::size_t>(same);
}

bool DirectoryCache::IsKnownEmpty(const std::string& folder) {
  Lock lock(mutex_);
  auto found = folders_.find(folder);
  return found != folders_.end() && found->second.known && found->second.names->names().size() == 0;
}

std::size_t DirectoryCache::KnownNames(const std::string& folder) {
  Lock lock(mutex_);
  const auto found = folders_.find(folder);
  if (found == folders_.end()) return 0;
  const auto& [names, coming] = std::tie(found->second.names, found->second.coming);
  return std::max(names->names().size(), coming ? coming->names().size() : 0);
}

std::vector<std::string> DirectoryCache::After(const std::string& folder, const std::string& name,
                                               bool folders, std::size_t count) {
  constexpr int kMostSteps = 1000;
  std::vector<std::string> after;
  Lock lock(mutex_);
  auto found = folders_.find(folder);
  if (found == folders_.end()) return after;
  const ListingPtr& known = found->second.known ? found->second.names : found->second.coming;
  if (!known) return after;
  int steps = 0;
  const auto collect = [&](const PackedEntries& entries, std::size_t i) {
    if (after.size() == count || ++steps > kMostSteps) return false;
    if (entries.IsFolder(i) == folders) after.emplace_back(entries.Name(i));
    return true;
  };
  const NameTable& names = known->names();
  name.empty() ? names.Visit(collect) : names.VisitBehind(name, collect);
  return after;
}

std::unique_ptr<FolderReading> DirectoryCache::StartReading(const std::string& path) {
  Lock lock(mutex_);
  if (!runner_ || IsRoot(path)) Names(lock, path);
  Folder& folder = FolderAt(path);
  while (runner_ && !IsRoot(path) && !IsFresh(folder)) {
    AboutToWait();
    if (folder.coming && folder.forgotten) {
      AwaitListing(lock, folder);
      continue;
    }
    if (folder.coming) return std::make_unique<FolderReading>(folder.coming);
    auto reading = std::make_unique<FolderReading>(Begin(folder));
    ReadElsewhere(folder, path);
    return reading;
  }
  return std::make_unique<FolderReading>(folder.names);
}

NameTable::Run DirectoryCache::ReadFrom(FolderReading& reading, std::uint64_t position) {
  Lock lock(mutex_);
  while (true) {
    if (NameTable::Run run = reading.At(position); run.piece) return run;
    const FolderReading::Progress progress = reading.ReadOn();
    if (progress == FolderReading::Progress::kEnd) return {};
    if (progress == FolderReading::Progress::kMore) continue;
    AboutToWait();
    ++readers_;
    listed_.wait(lock);
    --readers_;
  }
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
  Folder& folder = FolderAt(path);
  if (folder.known || folder.coming) return;
  folder.known = true;
  folder.asked_at = Clock::now();
}

void DirectoryCache::Remove(const std::string& path) {
  Apply(path, std::nullopt);
  Forget(path);
}

void DirectoryCache::Apply(const std::string& path, const std::optional<Entry>& entry) {
  const std::string name = NameOf(path);
  std::optional<Entry> now = entry;
  if (now) now->name = name;
  Lock lock(mutex_);
  auto found = folders_.find(ParentOf(path));
  if (found == folders_.end()) return;
  Folder& folder = found->second;
  names_ -= folder.names->names().size();
  folder.names->Replace(name, now);
  names_ += folder.names->names().size();
  if (folder.coming) folder.coming->Replace(name, now);
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
  SetNames(folder, NoNames(same_names_));
  folder.known = false;
}

void DirectoryCache::SetNames(Folder& folder, ListingPtr names) {
  names_ -= folder.names->names().size();
  folder.names = std::move(names);
  names_ += folder.names->names().size();
}

DirectoryCache::Folder& DirectoryCache::FolderAt(const std::string& path) {
  Folder& folder = folders_[path];  // stays in place: those with a listing or waiters are kept
  if (!folder.names) folder.names = NoNames(same_names_);
  return folder;
}

bool DirectoryCache::IsFresh(const Folder& folder) const {
  return folder.known && Clock::now() - folder.asked_at < lifetime_;
}

const NameTable& DirectoryCache::Names(Lock& lock, const std::string& path,
                                       Clock::time_point since) {
  Folder& folder = FolderAt(path);
  const auto too_old = [&] { return !folder.known || folder.asked_at < since; };
  while (too_old() || !IsFresh(folder)) {
    AboutToWait();
    if (!folder.coming) {
      const ListingPtr coming = Begin(folder);
      Read(folder, path);
      coming->Check();
      break;
    }
    AwaitListing(lock, folder);
    if (!too_old()) break;
  }
  return folder.names->names();
}

void DirectoryCache::AwaitListing(Lock& lock, Folder& folder) {
  const ListingPtr coming = folder.coming;
  ++folder.waiters;
  while (coming->is_coming()) listed_.wait(lock);
  --folder.waiters;
  coming->Check();
}

DirectoryCache::ListingPtr DirectoryCache::Begin(Folder& folder) {
  // Of what is worth the memory only one is kept. Smaller ones may tell that a folder is empty.
  constexpr std::size_t kLarge = 1000;
  if (folder.names->names().size() > kLarge) Clear(folder);
  folder.coming = std::make_shared<FolderListing>(same_names_);
  folder.coming_asked_at = Clock::now();
  folder.forgotten = false;
  return folder.coming;
}

void DirectoryCache::Read(Folder& folder, const std::string& path) {
  Receiver receiver(*this, folder.coming);
  std::exception_ptr failure;
  mutex_.unlock();
  try {
    lister_(FolderId(path), path, receiver);
  } catch (...) {
    failure = std::current_exception();
  }
  mutex_.lock();
  End(folder, failure);
}

void DirectoryCache::ReadElsewhere(Folder& folder, const std::string& path) {
  std::exception_ptr failure;
  mutex_.unlock();
  try {
    runner_([this, path] {
      Lock lock(mutex_);
      Read(FolderAt(path), path);
    });
  } catch (...) {
    failure = std::current_exception();
  }
  mutex_.lock();
  if (failure) End(folder, failure);
}

void DirectoryCache::End(Folder& folder, std::exception_ptr failure) {
  const ListingPtr coming = std::exchange(folder.coming, nullptr);
  listed_.notify_all();
  try {
    if (!failure) coming->Complete();
  } catch (...) {
    failure = std::current_exception();
  }
  if (failure) return coming->Fail(failure);
  SetNames(folder, coming);
  folder.known = !folder.forgotten;
  folder.asked_at = folder.coming_asked_at;
  Shrink(folder);
}

void DirectoryCache::Shrink(const Folder& keep) {
  while (names_ + folders_.size() > most_names_) {
    auto oldest = folders_.end();
    for (auto at = folders_.begin(); at != folders_.end(); ++at) {
      const Folder& folder = at->second;
      if (&folder == &keep || folder.coming || folder.waiters > 0) continue;
      if (oldest == folders_.end() || folder.asked_at < oldest->second.asked_at) oldest = at;
    }
    if (oldest == folders_.end()) return;
    Clear(oldest->second);
    folders_.erase(oldest);
  }
}

}  // namespace b2drive
