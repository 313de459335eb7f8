#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/common/unique_fd.h"
#include "host/mount/journal/disk.h"
#include "host/mount/journal/journal_scan.h"

namespace b2drive::mount {

// A file in the spool folder: contents that a program writes or that wait to be sent. Removed with
// the object unless a journal entry names it.
class SpoolFile {
 public:
  SpoolFile(Disk& disk, std::filesystem::path file, UniqueFd fd)
      : disk_(disk), file_(std::move(file)), fd_(std::move(fd)) {}
  ~SpoolFile();
  SpoolFile(const SpoolFile&) = delete;
  SpoolFile& operator=(const SpoolFile&) = delete;

  int fd() const { return fd_.get(); }
  const std::filesystem::path& file() const { return file_; }
  std::uint64_t Size() const;  // bytes
  bool IsSecured() const { return entry_ == EntryState::kSecured; }

 private:
  friend class Spool;
  enum class EntryState { kNone, kWritten, kSecured };

  Disk& disk_;
  const std::filesystem::path file_;
  UniqueFd fd_;
  std::atomic<EntryState> entry_{EntryState::kNone};
};
using SpoolPtr = std::shared_ptr<SpoolFile>;

// Contents that were closed or synced and that the service does not hold yet.
struct Unsent {
  Destination destination;
  SpoolPtr contents;
};

// The spool folder with its journal. Beside a spool file that is to be sent stands its entry, a
// file of the same name and ".json" that says where it goes. An entry that is only written is
// good as long as the machine runs (it carries the machine's boot): a killed mount finds it. A
// secured one also survives a loss of power, and its contents with it; so does its removal. What
// has no good entry was never acknowledged, and is removed at the next start. Of several for one
// path the one entered last counts.
//
// Thread-safe, but for two calls on one file. All throw FsError.
class Spool {
 public:
  // `boot` names the time since the machine was started.
  Spool(Disk& disk, std::filesystem::path folder, std::string boot);

  struct Found {
    std::vector<Unsent> unsent;        // secured
    std::vector<std::string> damaged;  // a line for each entry that cannot be read, kept aside
  };
  // What earlier mounts left unsent. To be called once, before anything else.
  Found Recover();

  SpoolPtr Make();
  SpoolPtr Clone(const SpoolFile& original);
  void Write(const SpoolFile& file, const char* data, std::size_t count,
             std::uint64_t offset) const;
  // As Write; gives 0 or an errno.
  int TryWrite(const SpoolFile& file, const char* data, std::size_t count,
               std::uint64_t offset) const;
  void Resize(const SpoolFile& file, std::uint64_t size) const;

  // Notes where `contents`, which do not change any more, are to be sent; also when they are noted
  // already. An entry that was secured stays so.
  void Enter(SpoolFile& contents, const Destination& destination);
  // The same; the contents and the entry survive the machine.
  void Secure(SpoolFile& contents, const Destination& destination);
  // They were sent, or nobody wants them any more.
  void RemoveEntry(SpoolFile& contents);

 private:
  void WriteEntry(SpoolFile& contents, const Destination& destination, bool secured);
  SpoolPtr Opened(const ScannedEntry& scanned);
  std::filesystem::path NewName(const char* suffix);
  std::filesystem::path TakeSpare();
  void KeepSpare(const std::filesystem::path& spare);
  void Check(int error, const std::filesystem::path& file, const char* what) const;

  Disk& disk_;
  const std::filesystem::path folder_;
  const std::string boot_;
  Mutex mutex_;
  std::uint64_t next_ B2_GUARDED_BY(mutex_) = 0;  // names files, and orders entries
  // Entries that were removed, for the next ones: ext4 looks at every file removed in the last
  // minute when it makes one, which would be most of the work of copying many small files.
  std::vector<std::filesystem::path> spares_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
