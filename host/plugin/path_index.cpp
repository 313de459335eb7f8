#include "host/plugin/path_index.h"

#include <algorithm>

#include "host/plugin/service_failure.h"

namespace b2drive {
namespace {

Entry Root() { return {"", "", true, 0, {}}; }

std::optional<Entry> Pick(const Listing& listing, std::string_view name, bool folder) {
  auto found = std::ranges::find_if(
      listing, [&](const Entry& entry) { return entry.folder == folder && entry.name == name; });
  return found != listing.end() ? std::optional(*found) : std::nullopt;
}

HostError WrongKind(const std::string& path, const std::string& text) {
  return {ExitCode::kWrongKind, path + ": " + text};
}

}  // namespace

PathIndex::PathIndex(Drive& drive, std::chrono::seconds lifetime, Clock clock)
    : drive_(drive), lifetime_(lifetime), clock_(std::move(clock)) {}

std::optional<Entry> PathIndex::LookupFolder(const std::string& path) {
  Entry folder = Root();
  std::string walked = "/";
  for (const std::string& name : NamesOf(path)) {
    auto next = Pick(*ChildrenOf(folder, walked), name, true);
    if (!next) return std::nullopt;
    folder = std::move(*next);
    walked = Join(walked, name);
  }
  return folder;
}

std::optional<Entry> PathIndex::Lookup(const std::string& path) {
  if (IsRoot(path)) return Root();
  const std::string parent_path = ParentOf(path);
  const auto parent = LookupFolder(parent_path);
  if (!parent) return std::nullopt;
  const auto children = ChildrenOf(*parent, parent_path);
  auto file = Pick(*children, NameOf(path), false);
  return file ? file : Pick(*children, NameOf(path), true);
}

std::optional<Entry> PathIndex::Lookup(const PathArgument& argument) {
  return argument.asks_for_folder ? LookupFolder(argument.path) : Lookup(argument.path);
}

Entry PathIndex::Find(const std::string& path) {
  if (auto found = Lookup(path)) return *found;
  throw NotFound(path);
}

Entry PathIndex::Find(const PathArgument& argument) {
  return argument.asks_for_folder ? FindFolder(argument.path) : Find(argument.path);
}

Entry PathIndex::FindFolder(const std::string& path) {
  if (auto folder = LookupFolder(path)) return *folder;
  Find(path);
  throw WrongKind(path, "is a file, not a folder");
}

Entry PathIndex::FindFile(const PathArgument& argument) {
  Entry entry = Find(argument);
  if (entry.folder) throw WrongKind(argument.path, "is a folder, not a file");
  return entry;
}

std::shared_ptr<const Listing> PathIndex::Children(const std::string& folder) {
  return ChildrenOf(FindFolder(folder), folder);
}

std::shared_ptr<const Listing> PathIndex::ChildrenOf(const Entry& folder, const std::string& path) {
  std::uint64_t changes_before = 0;
  {
    Lock lock(mutex_);
    auto kept = kept_.find(path);
    if (kept != kept_.end() && clock_() - kept->second.read_at < lifetime_) {
      return kept->second.listing;
    }
    changes_before = changes_;
  }
  Time asked_at = clock_();
  auto listing = std::make_shared<const Listing>(drive_.List(folder.id, path));
  Lock lock(mutex_);
  if (changes_ == changes_before) kept_[path] = {listing, asked_at};
  return listing;
}

void PathIndex::Forget(const std::string& folder) {
  Lock lock(mutex_);
  ++changes_;
  kept_.erase(folder);
}

void PathIndex::ForgetAll() {
  Lock lock(mutex_);
  ++changes_;
  kept_.clear();
}

}  // namespace b2drive
