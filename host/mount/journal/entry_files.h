#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/mount/journal/disk.h"
#include "host/mount/journal/journal_entry.h"

namespace b2drive::mount {

// The files of journal entries, and the numbers by which all files of a spool folder are named.
// Thread-safe, but for two calls on one entry. All throw FsError.
class EntryFiles {
 public:
  EntryFiles(Disk& disk, std::filesystem::path folder) : disk_(disk), folder_(std::move(folder)) {}

  void SkipNumbersTo(std::uint64_t last);
  std::uint64_t NextNumber();
  std::filesystem::path NewName(const char* suffix);

  // In place at once, so that an entry is never read half. The text of one without a boot is
  // synced, its name is not.
  void Write(const JournalEntry& entry);
  // That of the file `contents`, which may be gone. `synced`: and its name, too.
  void Remove(const std::filesystem::path& contents, bool synced);
  // Other files may have taken the place of those that were removed.
  void DropSpares();

 private:
  std::filesystem::path TakeSpare(bool secured);
  void KeepSpare(const std::filesystem::path& spare, bool synced);

  Disk& disk_;
  const std::filesystem::path folder_;
  Mutex mutex_;
  std::uint64_t next_ B2_GUARDED_BY(mutex_) = 0;
  // Entries that were removed, for the next ones: ext4 looks at every file removed in the last
  // minute when it makes one, which would be most of the work of copying many small files.
  // After a loss of power one whose removal was not synced may stand under its old name again, so
  // that an entry that is to be secured must not be written into it: half of one is an alarm.
  std::vector<std::filesystem::path> spares_ B2_GUARDED_BY(mutex_);
  std::vector<std::filesystem::path> synced_spares_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
