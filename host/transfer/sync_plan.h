#pragma once

#include <string>
#include <vector>

#include "host/common/errors.h"
#include "host/transfer/local_tree.h"
#include "host/transfer/remote_tree.h"
#include "host/transfer/sync_state.h"

namespace b2drive {

enum class SyncDirection { kUp, kDown };

// What is to be done at one path of the tree.
struct SyncAction {
  enum class Kind { kMakeFolder, kSend, kDeleteFile, kDeleteFolder };

  Kind kind = Kind::kSend;
  std::string path;
  // The file or folder of that name on either side, if any; borrowed from the trees.
  const LocalItem* local = nullptr;
  const RemoteItem* remote = nullptr;
  // The sizes are the same: to be sent only when the contents are not.
  bool compare = false;
};

struct SyncPlan {
  // In this order. Folders to be made come before what is in them, folders to be deleted behind.
  std::vector<SyncAction> changes;
  std::vector<SyncAction> deletions;
  std::vector<SyncAction> after_deletions;  // whose names the deletions make free

  std::vector<HostError> refusals;  // what cannot be done
  std::vector<std::string> notes;   // what is left out
  std::size_t target_files = 0;     // in the tree that is changed
  std::size_t deleted_files = 0;
};

// Two trees, sorted as their readers sort them, and where they stand. All is borrowed.
struct SyncTask {
  SyncDirection direction;
  const std::string& local_root;   // for messages
  const std::string& remote_root;  // on the drive
  const std::vector<LocalItem>& local;
  const std::vector<RemoteItem>& remote;
  const SyncRecords& records;
  bool checksum = false;       // compare contents, whatever is remembered
  bool delete_others = false;  // what the source has not
};

// What makes the target like the source. Asks nobody.
//
// A file is left alone when it is on both sides as it was when it was synced last; when either side
// has changed since, the source's is sent. What was never synced is sent when the sizes differ or
// the source's is newer than the target's.
SyncPlan PlanSync(const SyncTask& task);

// How much may be deleted: so many files, or a share of all.
struct DeletionLimit {
  std::size_t number = 50;
  bool percent = true;

  // "30" or "30%"; throws kUsage.
  static DeletionLimit Parse(const std::string& text);
  bool Allows(std::size_t deleted, std::size_t of) const;
};

}  // namespace b2drive
