#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/plugin/entry.h"
#include "host/plugin/folder_reading.h"

namespace b2drive {

// Folders as the service lists them. One listing answers for all names of a folder, also for those
// that are not there, for `lifetime`; own changes are made in it at once, and also in listings that
// were under way. Failures of the lister pass through. Thread-safe; several threads that ask for
// one folder wait for one listing.
//
// A file and a folder can have one name: it then means the file, unless the folder is asked for.
class DirectoryCache {
 public:
  using Clock = std::chrono::steady_clock;
  using Lister = std::function<void(const std::string& folder_id, const std::string& path,
                                    ListingReceiver& receiver)>;
  // Runs a task on a thread of its own, or throws.
  using Runner = std::function<void(std::function<void()> task)>;

  // Keeps about `most_names`, folders among them. Of more, those listed last. With a runner, which
  // must have finished before this object goes, folders are read while their listings come.
  DirectoryCache(Lister lister, SameNames same_names, std::chrono::seconds lifetime,
                 std::size_t most_names, Runner runner = {});

  // What is in a folder: in the lister's order, what was added since at the end.
  Listing List(const std::string& folder);
  // Those whose names begin with `prefix`, by name.
  Listing BeginningWith(const std::string& folder, const std::string& prefix);
  // `since`: a listing that was asked for before that is not believed.
  std::optional<Entry> Find(const std::string& path, Clock::time_point since = {});
  std::optional<Entry> FindFolder(const std::string& path);
  // Whether the folder of `path` holds any other name.
  bool HasSiblings(const std::string& path);
  // Asks nobody.
  bool IsKnownEmpty(const std::string& folder);
  // How many names a listing of the folder has, or the one under way so far. Asks nobody.
  std::size_t KnownNames(const std::string& folder);
  // Up to `count` names behind `name`, or from the first on where that is empty, of folders or of
  // files, as far as they are known at once. Asks nobody.
  std::vector<std::string> After(const std::string& folder, const std::string& name, bool folders,
                                 std::size_t count);

  // Reads a folder in the order of its names: entries from a position on, some of them at a time,
  // and a null piece behind the last one. Waits only for the next one, and throws what ended the
  // listing when it comes to what is not there because of that.
  std::unique_ptr<FolderReading> StartReading(const std::string& folder);
  NameTable::Run ReadFrom(FolderReading& reading, std::uint64_t position);

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
  using ListingPtr = std::shared_ptr<FolderListing>;
  class Receiver;

  struct Folder {
    ListingPtr names;  // complete, never null
    bool known = false;
    Clock::time_point asked_at{};
    ListingPtr coming;  // null: no listing is under way
    Clock::time_point coming_asked_at{};
    bool forgotten = false;  // since then: what comes is too old to be believed
    int waiters = 0;         // threads that hold a reference without the lock
  };
  using Folders = std::unordered_map<std::string, Folder>;

  Folder& FolderAt(const std::string& path) B2_REQUIRES(mutex_);
  bool IsFresh(const Folder& folder) const;
  const NameTable& Names(Lock& lock, const std::string& path, Clock::time_point since = {})
      B2_REQUIRES(mutex_);
  // Waits for another thread's listing; throws its failure.
  void AwaitListing(Lock& lock, Folder& folder) B2_REQUIRES(mutex_);
  // A listing is under way from here on: the caller must have it read, which ends it.
  ListingPtr Begin(Folder& folder) B2_REQUIRES(mutex_);
  // Asks the service. Throws nothing: the listing knows what came of it.
  void Read(Folder& folder, const std::string& path) B2_REQUIRES(mutex_);
  void ReadElsewhere(Folder& folder, const std::string& path) B2_REQUIRES(mutex_);
  void End(Folder& folder, std::exception_ptr failure) B2_REQUIRES(mutex_);
  // What a listing that is under way has already.
  std::optional<Entry> FindEarly(const std::string& path) B2_REQUIRES(mutex_);
  void Apply(const std::string& path, const std::optional<Entry>& entry);
  void SetNames(Folder& folder, ListingPtr names) B2_REQUIRES(mutex_);
  void Forget(Folder& folder) B2_REQUIRES(mutex_);
  void Clear(Folder& folder) B2_REQUIRES(mutex_);
  // Drops folders that nobody asks about while there is too much of them.
  void Shrink(const Folder& keep) B2_REQUIRES(mutex_);

  const Lister lister_;
  const SameNames same_names_;
  const std::chrono::seconds lifetime_;
  const std::size_t most_names_;
  const Runner runner_;
  Mutex mutex_;  // not held while the service is asked
  Condition listed_;
  Folders folders_ B2_GUARDED_BY(mutex_);
  std::size_t names_ B2_GUARDED_BY(mutex_) = 0;    // in all folders
  std::size_t readers_ B2_GUARDED_BY(mutex_) = 0;  // that wait for a listing to go on
};

}  // namespace b2drive
