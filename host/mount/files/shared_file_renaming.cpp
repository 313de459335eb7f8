#include <cerrno>

#include "host/common/waiting.h"
#include "host/mount/files/shared_file.h"

// The renaming of one file.
namespace b2drive::mount {
namespace {

FsError ChangedMeanwhile(const std::string& path) {
  return {ESTALE, path + ": changed meanwhile by someone else"};
}

// The service keeps milliseconds.
bool IsStoredTime(const timespec& time, const Entry& stored) {
  constexpr long kMillisecond = 1'000'000;
  return time.tv_sec == stored.modified.tv_sec &&
         time.tv_nsec / kMillisecond == stored.modified.tv_nsec / kMillisecond;
}

}  // namespace

void SharedFile::Move(const std::string& name, const std::string& target,
                      const std::optional<Entry>& seen, SharedFile* replaced) {
  AboutToWait();
  if (replaced == nullptr || replaced == this) {  // it may have been moved there meanwhile
    Lock transfer(transfer_);
    return MoveLocked(name, target, seen, nullptr);
  }
  LockBoth transfers(transfer_, replaced->transfer_);  // they may replace each other's file
  MoveLocked(name, target, seen, replaced->Is(target) ? replaced : nullptr);
}

// What stands at a name that is to be replaced, if anything; where nothing was, nothing is looked
// for. What a program saw there, or this mount has stored since, is all that it means to replace.
std::optional<Entry> SharedFile::Replaceable(const std::string& target,
                                             const std::optional<Entry>& seen,
                                             const SharedFile* replaced) {
  const bool ours = replaced != nullptr && replaced->stored_.certain();
  const std::optional<Entry> expected = ours ? replaced->stored_.known() : seen;
  if (!expected) return std::nullopt;
  std::optional<Entry> found = stored_.FindAfresh(target);
  if (found && found->id != expected->id) throw ChangedMeanwhile(target);
  return found;
}

// The stored version itself, also where something newer is being written. A copy on the service
// keeps the stored time: a file whose time was set since is uploaded.
void SharedFile::CopyStored(const Entry& stored, const std::string& target) {
  const timespec time = pending_.IsClean() ? modified() : stored.modified;
  if (!IsStoredTime(time, stored) || !stored_.Copy(stored, target)) {
    SpoolPtr contents = pending_.Freeze();
    if (!contents) contents = stored_.Bring(stored, path(), UINT64_MAX);
    UploadControl control;
    stored_.Upload(target, *contents, time, control, kAllRetries);
  }
}

// The old name goes only when the journal says what comes in its place: contents that wait, which
// then need no copy of the version that they follow, or the copy on the service. At no moment would
// another mount find anything older than what was saved last under either name.
void SharedFile::MoveLocked(const std::string& name, const std::string& target,
                            const std::optional<Entry>& seen, SharedFile* replaced) {
  if (!Is(name)) throw FsError(ENOENT, name + ": was renamed or removed meanwhile");
  const std::optional<Entry> stored = stored_.Find(name);
  if (replaced != nullptr && !replaced->IsSettled()) PrepareToReplace(*replaced);
  const std::optional<Entry> there = Replaceable(target, seen, replaced);
  if (stored && !stored_.IsListed(*stored, name)) throw ChangedMeanwhile(name);
  const RaisedFlag moving(moving_);
  const bool waits = pending_.sealed() != nullptr;
  if (waits) pending_.Secure();
  if (stored && !waits) {
    CopyStored(*stored, target);
  } else {
    stored_.Set(there);
  }
  const std::optional<Entry> base = stored_.known();
  pending_.Redirect(target, base ? base->id : "",
                    stored && waits ? NamedVersion{name, stored->id} : NamedVersion{});
  try {
    if (stored) stored_.Delete(*stored, name);
  } catch (const FsError&) {
    pending_.Redirect(name, stored->id);
    stored_.Set(stored);
    stored_.Doubt();
    throw;
  }
  services_.times.Remove(name);
  KeepTime();
  if (replaced != nullptr) replaced->pending_.Abandon();
}

// What `replaced` still has to send must not look like someone else's, nor what is on the service
// by now look so to it.
void SharedFile::PrepareToReplace(SharedFile& replaced) {
  if (pending_.HasUnsealed()) Secure();
  if (pending_.sealed()) return pending_.NoteAttemptsOf(replaced.pending_);
  try {
    replaced.sender_.Send(kAllRetries);
  } catch (const FsError& error) {
    if (!IsRefusal(error)) throw;
  }
}

}  // namespace b2drive::mount
