#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <unordered_map>

#include "host/common/unique_fd.h"

namespace b2drive {

// A file as it was on both sides when their contents were the same.
struct SyncedFile {
  std::uint64_t size = 0;  // bytes
  timespec modified{};     // of the local one
  std::string id;          // of the stored one
};

using SyncRecords = std::unordered_map<std::string, SyncedFile>;  // by path in the tree

// Two folders that are kept alike.
struct SyncPair {
  std::string account_id;
  std::filesystem::path local;  // absolute and without links
  std::string path;             // on the drive
};

// What is remembered of a pair between two runs. A file that is damaged, or another pair's, counts
// as none: a run is then slower, and not wrong.
//
// The file: texts and numbers, each with a NUL behind it, and at the end a checksum of all of it.
// It begins with kVersion and the pair; each record is path, identifier, size, seconds and
// nanoseconds.
class SyncState {
 public:
  // $XDG_STATE_HOME or ~/.local/state, and b2drive/sync in it.
  static std::filesystem::path DefaultFolder();

  SyncState(const std::filesystem::path& folder, SyncPair pair);

  // Keeps others away from the pair while the object lives. Throws kFailed when someone is at it
  // already, kLocalFile when the folder cannot be written to.
  void Reserve();

  // Reads what is remembered; none when that is of no use, for a reason that `problem` tells.
  SyncRecords Load();
  const std::string& problem() const { return problem_; }

  // Replaces the file; after a power cut it is the old one or the new one. Throws kLocalFile.
  void Save(const SyncRecords& records) const;

 private:
  std::string Head() const;

  const SyncPair pair_;
  const std::filesystem::path file_;
  std::string problem_;
  UniqueFd lock_;
};

}  // namespace b2drive
