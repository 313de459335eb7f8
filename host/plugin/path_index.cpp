#include "host/plugin/path_index.h"

#include <cstdint>

#include "host/plugin/service_failure.h"

namespace b2drive {
namespace {

constexpr std::chrono::hours kLifetime{24};

Entry Root() { return {"", "", true, 0, {}}; }

HostError WrongKind(const std::string& path, const std::string& text) {
  return {ExitCode::kWrongKind, path, text};
}

}  // namespace

PathIndex::PathIndex(DirectoryCache::Lister lister)
    : cache_(std::move(lister), SameNames::kBoth, kLifetime, SIZE_MAX) {}

bool PathIndex::HasBucketOf(const std::string& path) {
  return IsBucket(path) || cache_.Find(path.substr(0, path.find('/', 1)));
}

std::optional<Entry> PathIndex::Lookup(const std::string& path) {
  if (IsRoot(path)) return Root();
  return HasBucketOf(path) ? cache_.Find(path) : std::nullopt;
}

std::optional<Entry> PathIndex::LookupFolder(const std::string& path) {
  if (IsRoot(path)) return Root();
  return HasBucketOf(path) ? cache_.FindFolder(path) : std::nullopt;
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

std::string PathIndex::FolderId(const std::string& path) {
  const std::string bucket = path.substr(0, path.find('/', 1));
  return FindFolder(bucket).id + path.substr(bucket.size());
}

Listing PathIndex::Children(const std::string& folder) {
  FindFolder(folder);
  return cache_.List(folder);
}

Listing PathIndex::BeginningWith(const std::string& folder, const std::string& prefix) {
  FindFolder(folder);
  return cache_.BeginningWith(folder, prefix);
}

void PathIndex::AddFolder(const std::string& path, const Entry& folder) {
  if (cache_.Find(path)) return Forget(ParentOf(path));  // a file has the name, too
  cache_.PutEmptyFolder(path, folder.id);
}

}  // namespace b2drive
