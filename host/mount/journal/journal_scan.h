#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/mount/journal/disk.h"
#include "host/mount/journal/journal_entry.h"

namespace b2drive::mount {

// The journal entry of a spool file: a file beside it.
std::filesystem::path EntryFileOf(const std::filesystem::path& contents);
// Where entries that cannot be read are kept, with their contents.
std::filesystem::path AsideOf(const std::filesystem::path& spool);
// Where a damaged log is kept, by a number that no other file has.
std::filesystem::path LogAsideOf(const std::filesystem::path& spool, std::uint64_t number);

// Damaged also where the disk cannot read it; unfinished where there is none. Throws FsError.
EntryText ReadEntry(const std::filesystem::path& file);

// A good entry, and the file that it is about.
struct ScannedEntry {
  JournalEntry entry;
  std::filesystem::path contents;
};

struct JournalScan {
  std::vector<ScannedEntry> entries;  // in the order in which they were entered
  std::uint64_t last_number = 0;      // of all files and entries
};

// Reads the journal that an earlier mount has left in the folder `spool`, removes what a loss of
// power brought back or left half written, none of which anyone was told to be safe, and puts aside
// what was safe and is not readable. Throws FsError.
JournalScan ScanJournal(Disk& disk, const std::filesystem::path& spool, const std::string& boot);

// Removes what has no entry. Gives a line for each damaged file that is kept. Throws FsError.
std::vector<std::string> RemoveUnnamed(Disk& disk, const std::filesystem::path& spool);

}  // namespace b2drive::mount
