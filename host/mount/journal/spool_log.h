#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/common/unique_fd.h"
#include "host/mount/journal/disk.h"

namespace b2drive::mount {

// The log of a spool folder: journal entries, each with the contents that it is about, one behind
// the other in a file that has its full size from the start. So keeping both costs one write and
// one sync that change no file's size nor any folder. Not thread-safe.
class SpoolLog {
 public:
  struct Record {
    std::string entry;     // text of a journal entry
    std::string contents;  // bytes
  };

  // The file, with room for `size` bytes, is made for the first record.
  SpoolLog(Disk& disk, const std::filesystem::path& spool, std::uint64_t size);

  // And `rest` bytes are left then. Never between a Clear that failed and one that did not.
  bool HasRoomFor(const Record& record, std::uint64_t rest) const;
  // Whether there may be a file, also after a failure.
  bool is_there() const { return is_there_; }
  // Survives a loss of power when it returns. Throws FsError: nobody knows then, and Clear must
  // follow.
  void Add(const Record& record);
  // No record survives any more. Throws FsError: some may.
  void Clear();

  static bool IsIn(const std::filesystem::path& spool);
  struct Found {
    std::vector<Record> records;  // in order
    bool damaged = false;         // there may have been more
  };
  // What the log in `spool` holds; of a record that was not finished nothing. Throws FsError.
  static Found Read(Disk& disk, const std::filesystem::path& spool);
  // Moves the log in `spool` to `place`, which is in a folder of the same file system. Throws
  // FsError.
  static void PutAside(Disk& disk, const std::filesystem::path& spool,
                       const std::filesystem::path& place);

 private:
  void Make();

  Disk& disk_;
  const std::filesystem::path spool_;
  const std::uint64_t size_;
  UniqueFd fd_;
  bool is_there_ = false;
  std::uint64_t end_ = 0;
};

}  // namespace b2drive::mount
