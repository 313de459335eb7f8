#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/mount/journal/disk.h"

namespace b2drive::mount {

// A folder that gets another name, file by file. Paths on the drive.
struct FolderMove {
  std::string from;
  std::string to;
};

// The moves of folders that have begun and are not finished: a file each. Thread-safe. All throw
// FsError.
class MoveJournal {
 public:
  MoveJournal(Disk& disk, std::filesystem::path folder);

  struct Noted {
    FolderMove move;
    std::filesystem::path file;
    std::uint64_t number = 0;  // grows from move to move
  };
  // What earlier mounts left. To be called once, before anything else.
  std::vector<Noted> Find();

  // Survives the machine. Gives the file to remove when it is finished.
  std::filesystem::path Note(const FolderMove& move);
  void Remove(const std::filesystem::path& file);

 private:
  void Check(int error, const std::filesystem::path& file) const;

  Disk& disk_;
  const std::filesystem::path folder_;
  Mutex mutex_;
  std::uint64_t next_ B2_GUARDED_BY(mutex_) = 1;
};

}  // namespace b2drive::mount
