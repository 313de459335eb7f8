#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "host/common/path.h"
#include "host/common/thread_safety.h"
#include "host/plugin/drive.h"

namespace b2drive {

// Finds what a path names. The plug-in knows only identifiers, and those come from listings, so a
// path is walked from the root, one listing for each element. Listings are kept for `lifetime`.
// Folders are taken from their parent's listing: most have no object of their own. Thread-safe.
class PathIndex {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Clock = std::function<Time()>;

  explicit PathIndex(Drive& drive, std::chrono::seconds lifetime = std::chrono::hours(24),
                     Clock clock = std::chrono::steady_clock::now);

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

  // What is in a folder.
  std::shared_ptr<const Listing> Children(const std::string& folder);

  // Must follow every change in `folder`: its listing is read again when next asked for.
  void Forget(const std::string& folder);
  // All are read again: time has passed, in which others may have changed anything.
  void ForgetAll();

 private:
  struct Kept {
    std::shared_ptr<const Listing> listing;
    Time read_at;
  };

  std::shared_ptr<const Listing> ChildrenOf(const Entry& folder, const std::string& path);

  Drive& drive_;
  const std::chrono::seconds lifetime_;
  const Clock clock_;
  Mutex mutex_;                                             // not held while the service is asked
  std::map<std::string, Kept> kept_ B2_GUARDED_BY(mutex_);  // by the folder's path
  // Calls of Forget...: a listing begun before one is not kept.
  std::uint64_t changes_ B2_GUARDED_BY(mutex_) = 0;
};

}  // namespace b2drive
