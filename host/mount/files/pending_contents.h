#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/common/fs_error.h"
#include "host/common/thread_safety.h"
#include "host/mount/files/shared_destination.h"
#include "host/mount/journal/spool.h"
#include "host/mount/reading/block_cache.h"

namespace b2drive::mount {

// What programs wrote into one file and the service does not hold yet.
//
// Programs write into the work, a spool file. Saving seals it: it gets a journal entry and is not
// changed any more; a program that goes on writing gets a copy. Sealed contents are sent until the
// service holds them or later ones. The entries of earlier sealed contents stand until the later
// ones are as safe as they were.
//
// Thread-safe. Everything that can fail throws FsError. Lock order: writing_, then state_.
class PendingContents {
 public:
  PendingContents(Spool& spool, BlockCache& blocks, Destination destination);
  // With contents that an earlier mount could not send.
  PendingContents(Spool& spool, BlockCache& blocks, Unsent unsent);

  // What programs see; null when they see the stored version.
  SpoolPtr visible() const;
  // The same, never to change: who writes on gets a copy. Null also when something is pending.
  SpoolPtr Freeze();
  std::string path() const { return destination_.Get().path; }
  std::string base() const { return destination_.Get().base; }

  bool IsClean() const;          // nothing waits to be saved or sent
  bool IsAbandoned() const;      // for good
  bool HasUnsealed() const;      // written or emptied since it was sealed
  bool HasUnsavedBytes() const;  // written since it was sealed

  // Shows an empty file, which is unsealed and counts as not written.
  void StartEmpty();
  // Shows these contents, unless others are shown by now.
  void Show(SpoolPtr contents);
  // False when nothing is shown: the stored version is to be brought first.
  bool Write(std::uint64_t offset, const char* data, std::size_t count);
  bool Resize(std::uint64_t size);

  // Seals what is unsealed, if anything. When its entry cannot be written a notice says so.
  void Seal();
  // Returns when what is sealed survives a loss of power.
  void Secure();
  // Both.
  void SealAndSecure();
  // What is to be sent; null for nothing.
  SpoolPtr sealed() const;
  // The same, for whoever begins to send it.
  SpoolPtr TakeSealed();
  // `contents` are the version `id` now.
  void Sent(const SpoolPtr& contents, const std::string& id);
  // They could not be sent, but may have arrived all the same. What is sealed survives a loss of
  // power when it returns.
  void NotSent(const SpoolPtr& contents);
  // Whether a version of this size, or with this fingerprint, may be of our sending.
  bool MayHaveSent(std::uint64_t size) const;
  bool MayHaveSent(const Fingerprint& fingerprint) const {
    return destination_.HasAttempt(fingerprint);
  }
  void SetBase(const std::string& id) { destination_.SetBase(id); }

  // They go to another name, in place of the version `base` there; a later mount, too, removes
  // `former`.
  void Redirect(const std::string& path, const std::string& base, const NamedVersion& former = {});
  // What `replaced` has sent under its name may arrive, or have arrived.
  void NoteAttemptsOf(const PendingContents& replaced);
  // Nothing is sent any more, and nothing of it comes back after a loss of power.
  void Abandon();
  // Gives the shown contents up, which the service holds as well; null when it does not.
  SpoolPtr Retire();

 private:
  // The work, which may be written. Null when nothing is shown.
  SpoolPtr Writable() B2_REQUIRES(writing_);
  void SealWork(bool secured) B2_REQUIRES(writing_);
  void SecureSealed() B2_REQUIRES(writing_);
  void RemoveEntriesBefore(const SpoolPtr& contents, bool itself) B2_REQUIRES(writing_);
  void RemoveEntry(const SpoolPtr& contents) B2_REQUIRES(writing_);
  // What has an entry, the latest last.
  std::vector<SpoolPtr> Entered() const B2_EXCLUDES(state_);

  enum class Change { kNone, kEmptied, kWritten };

  Spool& spool_;
  BlockCache& blocks_;
  SharedDestination destination_;
  Mutex writing_ B2_ACQUIRED_BEFORE(state_);  // held while the work is written, copied or sealed
  mutable Mutex state_;                       // held for moments
  SpoolPtr work_ B2_GUARDED_BY(state_);  // what is shown; as it was sealed, if nothing is unsealed
  Change change_ B2_GUARDED_BY(state_) = Change::kNone;  // of the work, since it was sealed
  SpoolPtr sealed_ B2_GUARDED_BY(state_);
  std::weak_ptr<SpoolFile> taken_ B2_GUARDED_BY(state_);  // the last whose sending was begun
  SpoolPtr frozen_ B2_GUARDED_BY(state_);
  std::vector<SpoolPtr> superseded_ B2_GUARDED_BY(state_);  // sealed before it, entries standing
  bool abandoned_ B2_GUARDED_BY(state_) = false;
};

}  // namespace b2drive::mount
