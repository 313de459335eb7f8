#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string_view>
#include <utility>

#include "host/common/unique_fd.h"
#include "host/mount/journal/disk.h"

namespace b2drive::mount {

// A file in the spool folder: contents that a program writes or that wait to be sent. Removed with
// the object unless a journal entry names it. Thread-safe, but for what syncs and writes anew. What
// can fail throws FsError.
class SpoolFile : public std::enable_shared_from_this<SpoolFile> {
 public:
  SpoolFile(Disk& disk, std::filesystem::path file, UniqueFd fd)
      : disk_(disk), file_(std::move(file)), fd_(std::move(fd)) {}
  ~SpoolFile();
  SpoolFile(const SpoolFile&) = delete;
  SpoolFile& operator=(const SpoolFile&) = delete;

  int fd() const { return fd_.get(); }
  const std::filesystem::path& file() const { return file_; }
  std::uint64_t Size() const;  // bytes
  // When its contents were changed, as programs see it. Lasts as long as the file; a failure to set
  // it is none of the contents'.
  timespec Modified() const;
  void SetModified(const timespec& time) const;
  bool IsSecured() const {
    const EntryState entry = entry_;
    return entry == EntryState::kLogged || entry == EntryState::kSecured;
  }

  // Returns when the contents survive a loss of power. Once it has failed it always does, until
  // they are written anew: what a sync could not bring to the disk no later one does, though it
  // says so.
  void Sync();
  bool HasFailedToSync() const { return sync_error_ != 0; }
  void WriteAnew(std::string_view contents);  // which it is known to hold
  void WriteAnew();                           // as it reads now, where nothing knows better

 private:
  friend class Spool;
  enum class EntryState { kNone, kWritten, kLogged, kSecured };

  void Write(std::string_view bytes, std::uint64_t offset) const;
  void Check(int error) const;

  Disk& disk_;
  const std::filesystem::path file_;
  UniqueFd fd_;
  std::atomic<EntryState> entry_{EntryState::kNone};
  std::atomic<std::uint64_t> counted_{0};  // bytes, in the spool's Held
  std::atomic<int> sync_error_{0};         // an errno
};
using SpoolPtr = std::shared_ptr<SpoolFile>;

}  // namespace b2drive::mount
