#pragma once

#include <atomic>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "host/common/fs_error.h"
#include "host/common/raised_flag.h"
#include "host/common/thread_safety.h"
#include "host/mount/files/contents_sender.h"
#include "host/mount/files/pending_contents.h"
#include "host/mount/files/stored_file.h"

namespace b2drive::mount {

// A file that is open, or whose contents are not on the service yet: what all handles on it share.
// Programs see the stored version until one writes, and then what is pending.
//
// Thread-safe. All throw FsError. Lock order: removal_, transfer_, state_, then PendingContents'
// and StoredFile's.
class SharedFile {
 public:
  // `stored` is what the service holds under `path`, if anything.
  SharedFile(FileServices& services, const std::string& path, std::optional<Entry> stored);
  // With contents that an earlier mount could not send.
  SharedFile(FileServices& services, Unsent unsent);

  std::string path() const { return pending_.path(); }
  // As programs see it, with what the service does not hold yet.
  Entry Stat();
  // The stored version that it was opened on or has stored; empty for none.
  std::string version() const;
  // Whether it shows another stored version than `id`, which stands at `name`, and nothing newer.
  // One that is leaving the name is not: the old version may still stand there for a moment.
  bool IsOutdated(const std::string& name, const std::string& id) const;

  // Makes it an empty file that is sent when the last handle closes, unless it is written before.
  void StartEmpty();
  std::size_t Read(VersionReader& reader, std::uint64_t offset, char* data, std::size_t count);
  std::size_t Write(std::uint64_t offset, const char* data, std::size_t count);
  void Truncate(std::uint64_t size);
  void SetTime(timespec time);

  // Sends what was written; returns when the service holds it.
  void Save();
  // Sees to it that a file which was emptied and not written survives as it is.
  void Settle();
  // What was written survives a loss of power when it returns.
  void Secure();
  // What was written since the last save is to be sent too.
  void SealUnsaved() { Seal(); }
  // Sends what was saved or closed and waits, if anything.
  void SendWaiting(int retries);
  // The last failure to send, if what failed still waits.
  std::optional<FsError> Failure() const { return sender_.Failure(); }
  bool IsRefused() const;  // the last attempt to send what waits
  // A refusal of what a program was told to be kept. Given once.
  std::optional<FsError> TakeUntold();
  // Others may store something before it is sent.
  void NoteWaiting() { sender_.NoteWaiting(); }

  // Removes the name from the service, all versions. Open handles keep the contents. ESTALE when
  // someone else has stored a newer version, ENOENT when this is not the file's name any more.
  void Unlink(const std::string& name, bool open_elsewhere);
  // Gives the file another name, where a program saw `seen`, if anything; `replaced` is the open
  // file of that name, or null. Fails as Unlink, for that name too, and keeps both names then.
  void Move(const std::string& name, const std::string& target, const std::optional<Entry>& seen,
            SharedFile* replaced);
  // Another file has taken its name: nothing of it is sent any more.
  void Abandon();

  bool IsAbandoned() const { return pending_.IsAbandoned(); }
  bool IsSettled() const { return pending_.IsClean(); }  // nothing waits to be sent
  bool HasUnsaved() const { return pending_.HasUnsavedBytes(); }
  bool HasUnsealed() const { return pending_.HasUnsealed(); }
  std::optional<Delay> Waiting() const { return sender_.Waiting(); }
  // Hands contents that the service holds as well to the block cache. No handle may be open.
  void Retire();

 private:
  void Seal();
  void TimeUnsealed();
  void Bring(std::uint64_t count);
  bool TrySending(int retries);
  void Touch();
  void KeepTime();
  timespec modified() const;
  void MoveLocked(const std::string& name, const std::string& target,
                  const std::optional<Entry>& seen, SharedFile* replaced) B2_REQUIRES(transfer_);
  void PrepareToReplace(SharedFile& replaced) B2_REQUIRES(transfer_);
  std::optional<Entry> Replaceable(const std::string& target, const std::optional<Entry>& seen,
                                   const SharedFile* replaced) B2_REQUIRES(transfer_);
  bool Is(const std::string& name) const { return path() == name && !pending_.IsAbandoned(); }
  void CopyStored(const Entry& stored, const std::string& target) B2_REQUIRES(transfer_);

  FileServices& services_;
  Mutex removal_ B2_ACQUIRED_BEFORE(transfer_);  // held over removals, those that wait included
  Mutex transfer_;  // held over this file's transfers, renaming and removal
  PendingContents pending_;
  StoredFile stored_;
  ContentsSender sender_;
  mutable Mutex state_;  // held for moments
  timespec modified_ B2_GUARDED_BY(state_){};
  // The version that the file is known by and its name do not belong together.
  std::atomic<bool> moving_{false};
  std::atomic<bool> kept_{false};  // and no program was told of a refusal since
};
using SharedFilePtr = std::shared_ptr<SharedFile>;

}  // namespace b2drive::mount
