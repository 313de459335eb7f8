#pragma once

#include <set>
#include <string>
#include <utility>

#include "host/common/thread_safety.h"
#include "host/plugin/path_index.h"
#include "host/terminal/changes.h"
#include "host/transfer/crew.h"
#include "host/transfer/filter.h"
#include "host/transfer/remote_tree.h"
#include "host/transfer/tree_watch.h"

namespace b2drive {

// Deletes a file in all versions, `now` being the latest. What was lost on the way is looked for in
// a fresh listing. Throws FsError: ESTALE when there is a later version.
void DeleteStoredFile(PatientDrive& drive, PathIndex& index, const Entry& now,
                      const std::string& path);

// Throws kNotEmpty when a file is in the folder: one that came after those that were to go.
void RequireEmptied(PatientDrive& drive, const Entry& folder, const std::string& path);

// Deletes the files in a folder or bucket, several at once. What no listing shows, hidden files and
// markers, goes with the folders. For one use.
class TreeDeletion {
 public:
  // All must outlive the object. The library must delete exactly the file that it is told to.
  // `hides`: the drive's sessions hide what they delete, and so it is told.
  TreeDeletion(PatientDrive& drive, PathIndex& index, const Transfers& transfers,
               const Filter& filter, TreeWatch watch, Changes& changes, bool hides)
      : drive_(drive),
        index_(index),
        transfers_(transfers),
        filter_(filter),
        watch_(std::move(watch)),
        changes_(changes),
        hides_(hides) {}

  // Files and folders of a failure are told and stay, and the rest goes: kPartly. After kSuccess
  // all that the filter takes is gone: without a filter, of a folder it is left to the caller to
  // delete it with what is hidden in it, and of a bucket only the bucket is left. Throws as
  // Crew::Finish.
  ExitCode Run(const Entry& folder, const std::string& path);

 private:
  void Visit(const RemoteItem& item, const std::string& path, Crew& crew);
  void Keep(std::string_view folder);
  ExitCode DeleteFolders(const Entry& folder, const std::string& path);
  const char* action() const { return hides_ ? "hide" : "rm"; }

  PatientDrive& drive_;
  PathIndex& index_;
  const Transfers& transfers_;
  const Filter& filter_;
  const TreeWatch watch_;
  Changes& changes_;
  const bool hides_;
  std::set<std::string> folders_;  // relative to the folder, as RemoteItem::path
  Mutex mutex_;
  std::set<std::string, std::less<>> kept_
      B2_GUARDED_BY(mutex_);  // folders that something is left in
};

}  // namespace b2drive
