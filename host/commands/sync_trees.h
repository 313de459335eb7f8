#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/cli/context.h"
#include "host/transfer/local_tree.h"
#include "host/transfer/remote_tree.h"
#include "host/transfer/sync_plan.h"

namespace b2drive::cli {

struct SyncOptions {
  SyncDirection direction = SyncDirection::kUp;
  std::string local;
  std::string path;
  bool checksum = false;
  bool dry_run = false;
  bool delete_others = false;
  bool exact_delete_supported = false;
  std::string max_delete = "50%";
  std::size_t jobs = 16;
  Filter filter;

  bool up() const { return direction == SyncDirection::kUp; }
  std::string command() const { return up() ? "sync up" : "sync down"; }
};

// The two folders that are synced, and what the filter takes in them.
struct SyncTrees {
  std::filesystem::path local_root;
  bool local_exists = true;  // false in a dry run that would make it
  LocalTree local;
  std::string path;  // of the folder on the drive
  Entry folder;      // which need not exist when it is the target
  std::vector<RemoteItem> remote;
};

// Finds the folders, and makes that of this machine when it is the target. Throws for what cannot
// be synced.
SyncTrees FindSyncFolders(Context& context, const SyncOptions& options);

// Reads what is in them. Throws when the drive's could not be read in full; what failed here is
// printed and stands in `local.failures`.
void ReadSyncTrees(Context& context, const SyncOptions& options, SyncTrees& trees);

}  // namespace b2drive::cli
