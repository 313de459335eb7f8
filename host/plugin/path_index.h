#pragma once

#include <optional>

#include "host/common/path.h"
#include "host/plugin/directory_cache.h"

namespace b2drive {

// Finds what a user's path names, for the life of a command. Thread-safe.
class PathIndex {
 public:
  explicit PathIndex(DirectoryCache::Lister lister);

  // What is at `path`; the file where a file and a folder have this name, unless the argument asks
  // for the folder. Throws when the service fails.
  std::optional<Entry> Lookup(const std::string& path);
  std::optional<Entry> LookupFolder(const std::string& path);
  std::optional<Entry> Lookup(const PathArgument& argument);

  // As Lookup; throws kNotFound when there is none, and kWrongKind when the argument asks for a
  // folder and names a file.
  Entry Find(const std::string& path);
  Entry Find(const PathArgument& argument);
  Entry FindFolder(const std::string& path);     // kWrongKind for a file
  Entry FindFile(const PathArgument& argument);  // kWrongKind for a folder

  // The identifier of a folder that need not exist. Throws kNotFound when its bucket does not.
  std::string FolderId(const std::string& path);

  // What is in a folder, in the service's order.
  Listing Children(const std::string& folder);
  // Those whose names begin with `prefix`.
  Listing BeginningWith(const std::string& folder, const std::string& prefix);

  // A folder was made, which is empty.
  void AddFolder(const std::string& path, const Entry& folder);
  // Must follow every other change in `folder`: its listing is read again when next asked for.
  void Forget(const std::string& folder) { cache_.Forget(folder); }
  // All are read again: time has passed, in which others may have changed anything.
  void ForgetAll() { cache_.ForgetAll(); }

 private:
  bool HasBucketOf(const std::string& path);

  DirectoryCache cache_;
};

}  // namespace b2drive
