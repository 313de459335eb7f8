#pragma once

#include <boost/multi_index/key.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/plugin/entry.h"

namespace b2drive {

// Folders as the service lists them. One listing answers for all names of a folder, also for those
// that are not there, for `lifetime`; own changes are made in it at once, and also in listings that
// were under way. Failures of the lister pass through. Thread-safe; several threads that ask for
// one folder wait for one listing.
//
// A file and a folder can have one name: it then means the file, unless the folder is asked for.
class DirectoryCache {
 public:
  using Lister = std::function<Listing(const std::string& folder_id, const std::string& path)>;

  // Keeps about `most_names`, folders among them. Of more, those listed last.
  DirectoryCache(Lister lister, std::chrono::seconds lifetime, std::size_t most_names);

  // What is in a folder: in the lister's order, what was added since at the end, or by name.
  Listing List(const std::string& folder);
  Listing ListByName(const std::string& folder);
  // Those whose names begin with `prefix`, by name.
  Listing BeginningWith(const std::string& folder, const std::string& prefix);
  std::optional<Entry> Find(const std::string& path);
  std::optional<Entry> FindFolder(const std::string& path);
  // Whether the folder of `path` holds any other name.
  bool HasSiblings(const std::string& path);
  // Asks nobody.
  bool IsKnownEmpty(const std::string& folder);
  // Up to `count` names behind `name`, of folders or of files, as far as they are known at once.
  // Asks nobody.
  std::vector<std::string> After(const std::string& folder, const std::string& name, bool folders,
                                 std::size_t count);

  // The identifier of a folder, which need not exist: its bucket's and its path in that. Throws
  // FsError when the bucket does not exist; so does what looks into such a folder.
  std::string FolderId(const std::string& folder);

  // `entry` alone is at `path` now, whatever its name says.
  void Put(const std::string& path, const Entry& entry);
  // A folder just made, so that it needs no listing.
  void PutEmptyFolder(const std::string& path, const std::string& id);
  void Remove(const std::string& path);
  // The folder is listed again when next asked for, also when a listing is under way.
  void Forget(const std::string& folder);
  void ForgetAll();

 private:
  using Clock = std::chrono::steady_clock;

  // As the lister gave them, and by name, the file before the folder.
  struct ByName {};
  using Names = boost::multi_index_container<
      Entry,
      boost::multi_index::indexed_by<boost::multi_index::sequenced<>,
                                     boost::multi_index::ordered_unique<
                                         boost::multi_index::tag<ByName>,
                                         boost::multi_index::key<&Entry::name, &Entry::folder>>>>;

  struct Change {
    std::string name;
    std::optional<Entry> entry;  // none: removed
  };
  struct Folder {
    Names names;
    bool known = false;
    Clock::time_point listed_at{};
    bool listing = false;
    bool forgotten = false;  // while listing: what comes is too old to be believed
    int waiters = 0;         // threads that hold a reference without the lock
    std::uint64_t failures = 0;
    std::exception_ptr failure;
    std::vector<Change> changes;  // made while listing
  };
  using Folders = std::unordered_map<std::string, Folder>;

  Folder& Ready(Lock& lock, const std::string& path) B2_REQUIRES(mutex_);
  // Waits for another thread's listing; throws its failure.
  void AwaitListing(Lock& lock, Folder& folder) B2_REQUIRES(mutex_);
  void Read(Folder& folder, const std::string& path) B2_REQUIRES(mutex_);
  void SetListing(Folder& folder, Listing listing) B2_REQUIRES(mutex_);
  void Apply(const std::string& path, const std::optional<Entry>& entry);
  static void Replace(Names& names, const Change& change);
  void Forget(Folder& folder) B2_REQUIRES(mutex_);
  void Clear(Folder& folder) B2_REQUIRES(mutex_);
  // Drops folders that nobody asks about while there is too much of them.
  void Shrink(const Folder& keep) B2_REQUIRES(mutex_);

  const Lister lister_;
  const std::chrono::seconds lifetime_;
  const std::size_t most_names_;
  Mutex mutex_;  // not held while the service is asked
  Condition listed_;
  Folders folders_ B2_GUARDED_BY(mutex_);
  std::size_t names_ B2_GUARDED_BY(mutex_) = 0;  // in all folders
};

}  // namespace b2drive
