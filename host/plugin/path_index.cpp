#include "host/plugin/path_index.h"

#include <algorithm>

#include "host/plugin/service_failure.h"

namespace b2drive {
namespace {

Entry Root() { return {"", "", true, 0, ""}; }

std::optional<Entry> Pick(const Listing& listing, const std::string& name, bool folder) {
  auto found = std::ranges::find_if(
      listing, [&](const Entry& entry) { return entry.folder == folder && entry.name == name; });
  return found != listing.end() ? std::optional(*found) : std::nullopt;
}

HostError WrongKind(const RemotePath& path, const std::string& text) {
  return {ExitCode::kWrongKind, path.Text() + ": " + text};
}

}  // namespace

PathIndex::PathIndex(Drive& drive, std::chrono::seconds lifetime, Clock clock)
    : drive_(drive), lifetime_(lifetime), clock_(std::move(clock)) {}

std::optional<Entry> PathIndex::LookupFolder(const RemotePath& path) {
  Entry folder = Root();
  RemotePath walked;
  for (const std::string& name : path.names()) {
    auto next = Pick(*ChildrenOf(folder, walked), name, true);
    if (!next) return std::nullopt;
    folder = std::move(*next);
    walked = walked.Child(name);
  }
  return folder;
}

std::optional<Entry> PathIndex::Lookup(const RemotePath& path) {
  if (path.IsRoot()) return Root();
  auto parent = LookupFolder(path.Parent());
  if (!parent) return std::nullopt;
  auto children = ChildrenOf(*parent, path.Parent());
  if (path.asks_for_folder()) return Pick(*children, path.Name(), true);
  auto file = Pick(*children, path.Name(), false);
  return file ? file : Pick(*children, path.Name(), true);
}

Entry PathIndex::Find(const RemotePath& path) {
  auto found = Lookup(path);
  if (found) return *found;
  if (path.asks_for_folder() && !path.IsRoot() &&
      Lookup(path.Parent().Child(path.Name())).has_value()) {
    throw WrongKind(path, "is a file, not a folder");
  }
  throw NotFound(path.Text());
}

Entry PathIndex::FindFolder(const RemotePath& path) {
  if (auto folder = LookupFolder(path)) return *folder;
  Find(path);
  throw WrongKind(path, "is a file, not a folder");
}

Entry PathIndex::FindFile(const RemotePath& path) {
  Entry entry = Find(path);
  if (entry.folder) throw WrongKind(path, "is a folder, not a file");
  return entry;
}

std::shared_ptr<const Listing> PathIndex::Children(const RemotePath& folder) {
  return ChildrenOf(FindFolder(folder), folder);
}

std::shared_ptr<const Listing> PathIndex::ChildrenOf(const Entry& folder, const RemotePath& path) {
  std::string key = path.Text();
  std::uint64_t changes_before = 0;
  {
    Lock lock(mutex_);
    auto kept = kept_.find(key);
    if (kept != kept_.end() && clock_() - kept->second.read_at < lifetime_) {
      return kept->second.listing;
    }
    changes_before = changes_;
  }
  Time asked_at = clock_();
  auto listing = std::make_shared<const Listing>(drive_.List(folder.id, key));
  Lock lock(mutex_);
  if (changes_ == changes_before) kept_[key] = {listing, asked_at};
  return listing;
}

void PathIndex::Forget(const RemotePath& folder) {
  Lock lock(mutex_);
  ++changes_;
  kept_.erase(folder.Text());
}

void PathIndex::ForgetAll() {
  Lock lock(mutex_);
  ++changes_;
  kept_.clear();
}

}  // namespace b2drive
