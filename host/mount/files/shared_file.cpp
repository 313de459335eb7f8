#include "host/mount/files/shared_file.h"

#include <cerrno>

#include "host/common/path.h"
#include "host/common/waiting.h"
#include "host/local/local_io.h"

namespace b2drive::mount {

SharedFile::SharedFile(FileServices& services, const std::string& path, std::optional<Entry> stored)
    : services_(services),
      pending_(services.spool, services.reading.blocks,
               Destination{path, stored ? stored->id : "", {}}),
      stored_(services, stored, true),
      sender_(services, pending_, stored_, *this) {
  if (stored) modified_ = services_.times.Find(path, stored->id).value_or(stored->modified);
}

SharedFile::SharedFile(FileServices& services, Unsent unsent)
    : services_(services),
      pending_(services.spool, services.reading.blocks, std::move(unsent)),
      stored_(services, std::nullopt, false),
      sender_(services, pending_, stored_, *this),
      modified_(pending_.visible()->Modified()),
      kept_(true) {}

timespec SharedFile::modified() const {
  Lock lock(state_);
  return modified_;
}

void SharedFile::Touch() {
  Lock lock(state_);
  modified_ = Now();
}

Entry SharedFile::Stat() {
  Entry entry = stored_.known().value_or(Entry{});
  if (const SpoolPtr shown = pending_.visible()) entry.size = shown->Size();
  entry.name = NameOf(path());
  entry.modified = modified();
  return entry;
}

std::string SharedFile::version() const {
  const std::optional<Entry> stored = stored_.known();
  return stored ? stored->id : "";
}

bool SharedFile::IsOutdated(const std::string& name, const std::string& id) const {
  if (path() != name || moving_) return false;
  const std::optional<Entry> stored = stored_.known();
  return pending_.IsClean() && (!stored || stored->id != id);
}

void SharedFile::StartEmpty() {
  pending_.StartEmpty();
  Touch();
}

std::size_t SharedFile::Read(VersionReader& reader, std::uint64_t offset, char* data,
                             std::size_t count) {
  if (const SpoolPtr shown = pending_.visible()) return ReadAt(shown->fd(), data, count, offset);
  const std::optional<Entry> stored = stored_.known();
  if (!stored) return 0;
  const std::string name = path();
  return reader.Read({*stored, name}, offset, data, count);
}

std::size_t SharedFile::Write(std::uint64_t offset, const char* data, std::size_t count) {
  while (!pending_.Write(offset, data, count)) Bring(UINT64_MAX);
  Touch();
  return count;
}

void SharedFile::Truncate(std::uint64_t size) {
  if (Stat().size == size) return Touch();  // nothing that would make a new version
  while (!pending_.Resize(size)) Bring(size);
  Touch();
}

void SharedFile::Bring(std::uint64_t count) {
  AboutToWait();
  Lock transfer(transfer_);
  if (pending_.visible()) return;
  const std::optional<Entry> stored = stored_.known();
  pending_.Show(stored
                    ? stored_.Bring(*stored, path(), count)
                    : WithRoom(services_.reading.blocks, [&] { return services_.spool.Make(); }));
}

void SharedFile::SetTime(timespec time) {
  {
    Lock lock(state_);
    modified_ = time;
  }
  if (const SpoolPtr waiting = pending_.sealed(); waiting && waiting == pending_.visible())
    waiting->SetModified(time);
  KeepTime();
}

// To be called after every change of the time, the name or the stored version: whoever comes last
// sees all of them.
void SharedFile::KeepTime() {
  Lock lock(state_);
  const std::optional<Entry> stored = stored_.known();
  if (stored) services_.times.Set(path(), stored->id, modified_);
}

void SharedFile::Retire() {
  const std::optional<Entry> stored = stored_.known();
  if (!stored || !stored_.certain()) return;
  const SpoolPtr contents = pending_.Retire();
  if (!contents) return;
  try {
    services_.reading.blocks.Adopt(stored->id, stored->size, contents->file());
  } catch (const FsError&) {
    // Then it is read from the service when it is wanted again.
  }
}

// What is sealed carries its time: it is stored with it, if need be by a later mount.
void SharedFile::TimeUnsealed() {
  const SpoolPtr shown = pending_.HasUnsealed() ? pending_.visible() : nullptr;
  if (shown) shown->SetModified(modified());
}

void SharedFile::Seal() {
  TimeUnsealed();
  pending_.Seal();
}

void SharedFile::Secure() {
  AboutToWait();
  TimeUnsealed();
  kept_ = kept_ || pending_.HasUnsealed();
  pending_.SealAndSecure();
}

void SharedFile::Save() {
  AboutToWait();
  Seal();
  SendWaiting(kAllRetries);
}

void SharedFile::Settle() {
  if (pending_.HasUnsealed()) Secure();
}

bool SharedFile::IsRefused() const {
  const auto failure = Failure();
  return failure && IsRefusal(*failure);
}

std::optional<FsError> SharedFile::TakeUntold() {
  return IsRefused() && kept_.exchange(false) ? Failure() : std::nullopt;
}

void SharedFile::SendWaiting(int retries) {
  AboutToWait();
  while (!TrySending(retries)) {
    const Lock removed(removal_);  // or not: then it is sent after all
  }
}

// False when it was given up for a removal that is under way.
bool SharedFile::TrySending(int retries) try {
  Lock transfer(transfer_);
  if (!sender_.Send(retries)) return true;
  KeepTime();
  return true;
} catch (const FsError& error) {
  if (error.number() != ECANCELED) throw;
  return false;
}

void SharedFile::Unlink(const std::string& name, bool open_elsewhere) {
  AboutToWait();
  Lock removal(removal_);
  sender_.GiveUp();
  Lock transfer(transfer_);
  if (!Is(name)) throw FsError(ENOENT, name + ": was renamed or removed meanwhile");
  if (const std::optional<Entry> stored = stored_.Find(name)) {
    // Deleting takes every version, so handles that stay open need the contents here.
    if (open_elsewhere && !pending_.visible()) {
      pending_.Show(stored_.Bring(*stored, name, UINT64_MAX));
    }
    stored_.Delete(*stored, name);
  }
  services_.times.Remove(name);
  stored_.Set(std::nullopt);
  pending_.Abandon();
}

void SharedFile::Abandon() {
  Lock removal(removal_);
  sender_.GiveUp();
  Lock transfer(transfer_);
  pending_.Abandon();
}

}  // namespace b2drive::mount
