#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/mount/journal/disk.h"
#include "host/mount/journal/entry_files.h"
#include "host/mount/journal/journal_scan.h"
#include "host/mount/journal/spool_file.h"
#include "host/mount/journal/spool_log.h"

namespace b2drive::mount {

// Contents that were closed or synced and that the service does not hold yet.
struct Unsent {
  Destination destination;
  SpoolPtr contents;
};

// The spool folder with its journal. Beside a spool file that is to be sent stands its entry, a
// file of the same name and ".json" that says where it goes. An entry that is only written is
// good as long as the machine runs (it carries the machine's boot): a killed mount finds it. A
// secured one also survives a loss of power, and its contents with it; so does its removal: the
// files are synced, or what they say is in the log. What has no good entry was never acknowledged,
// and is removed at the next start. Of several for one path the one entered last counts.
//
// Thread-safe, but for two calls on one file. All throw FsError.
class Spool {
 public:
  // `boot` names the time since the machine was started. Small contents are secured in a log of
  // `log_size` bytes, which is emptied when it is full.
  Spool(Disk& disk, std::filesystem::path folder, std::string boot,
        std::uint64_t log_size = kLogSize);
  static constexpr std::uint64_t kLogSize = 16UL << 20;

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

  // What has an entry now.
  struct Held {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
  };
  Held held() const { return {held_files_, held_bytes_}; }

 private:
  void PutLogAside();
  JournalEntry EntryOf(const SpoolFile& contents, const Destination& destination);
  void WriteEntry(SpoolFile& contents, const Destination& destination);
  void SyncLogged(SpoolFile& contents, const JournalEntry& logged) B2_REQUIRES(log_mutex_);
  void SecureInFiles(SpoolFile& contents, JournalEntry entry);  // keeps its order
  // False when it cannot, or the log is not for these contents.
  bool SecureInLog(SpoolFile& contents, const Destination& destination);
  bool RemoveInLog(SpoolFile& contents);
  bool MakeRoomFor(const SpoolLog::Record& record, std::uint64_t rest) B2_REQUIRES(log_mutex_);
  bool Log(const SpoolLog::Record& record) B2_REQUIRES(log_mutex_);
  void EmptyLog() B2_REQUIRES(log_mutex_);
  void SetEntry(SpoolFile& contents, SpoolFile::EntryState state);
  SpoolPtr Opened(const ScannedEntry& scanned);
  void Check(int error, const std::filesystem::path& file, const char* what) const;

  Disk& disk_;
  const std::filesystem::path folder_;
  const std::string boot_;
  EntryFiles entries_;
  std::atomic<std::uint64_t> held_files_{0};
  std::atomic<std::uint64_t> held_bytes_{0};
  // Held while entries that are in the log are written or removed.
  Mutex log_mutex_;
  SpoolLog log_ B2_GUARDED_BY(log_mutex_);
  bool log_is_off_ B2_GUARDED_BY(log_mutex_);
  std::map<SpoolPtr, JournalEntry> logged_ B2_GUARDED_BY(log_mutex_);
};

}  // namespace b2drive::mount
