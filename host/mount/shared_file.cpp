#include "host/mount/shared_file.h"

#include <unistd.h>

#include <cerrno>

#include "host/mount/fs_error.h"
#include "host/mount/local_io.h"
#include "host/mount/notices.h"
#include "host/mount/paths.h"

namespace b2drive::mount {
namespace {

timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

}  // namespace

SharedFile::SharedFile(FileServices& services, std::string path, std::optional<Node> stored)
    : services_(services), path_(std::move(path)), stored_(std::move(stored)) {
  if (!stored_) return;
  modified_ = services_.times.Find(path_, stored_->id).value_or(stored_->modified);
}

SharedFile::SharedFile(FileServices& services, Unsent unsent, std::optional<Node> stored)
    : services_(services),
      path_(std::move(unsent.path)),
      stored_(std::move(stored)),
      uncertain_(true),
      work_(std::move(unsent.contents)),
      sealed_(work_),
      modified_(Now()) {}

std::string SharedFile::path() {
  std::lock_guard lock(state_);
  return path_;
}

Attributes SharedFile::Stat() {
  std::lock_guard lock(state_);
  std::uint64_t size = stored_ ? stored_->size : 0;
  return {false, work_ ? work_->Size() : size, modified_};
}

bool SharedFile::IsOutdated(const std::string& id) {
  std::lock_guard lock(state_);
  if (gone_) return true;
  return !dirty_ && !fresh_ && !sealed_ && (!stored_ || stored_->id != id);
}

void SharedFile::StartEmpty() {
  std::lock_guard lock(state_);
  SpoolPtr empty = services_.spool.Make();
  if (work_ && work_ != sealed_) Strike(work_);
  work_ = std::move(empty);
  Wrote();
  dirty_ = false;
  fresh_ = true;
}

std::size_t SharedFile::Read(VersionReader& reader, std::uint64_t offset, char* data,
                             std::size_t count) {
  SpoolPtr work;
  StoredVersion version;
  {
    std::lock_guard lock(state_);
    work = work_;
    if (!work && stored_) version = {ToEntry(*stored_, path_), path_};
  }
  return work ? ReadAt(work->fd(), data, count, offset) : reader.Read(version, offset, data, count);
}

std::size_t SharedFile::Write(std::uint64_t offset, const char* data, std::size_t count) {
  for (;;) {
    std::unique_lock lock(state_);
    if (!work_) {
      lock.unlock();
      Bring(UINT64_MAX);
      continue;
    }
    CopyBeforeWriting();
    int error = WriteAt(work_->fd(), data, count, offset);
    if (error == ENOSPC) {
      services_.reading.blocks.DropAll();
      error = WriteAt(work_->fd(), data, count, offset);
    }
    Wrote();
    if (error != 0) throw FsError(error, path_ + ": cannot be kept in the cache folder");
    return count;
  }
}

void SharedFile::Truncate(std::uint64_t size) {
  for (;;) {
    std::unique_lock lock(state_);
    if (size == 0 && (!work_ || work_ == sealed_)) {
      work_ = services_.spool.Make();
    } else if (!work_) {
      lock.unlock();
      Bring(size);
      continue;
    }
    CopyBeforeWriting();
    if (ftruncate(work_->fd(), static_cast<off_t>(size)) != 0) {
      throw FsError(errno, path_ + ": cannot be kept in the cache folder");
    }
    Wrote();
    return;
  }
}

// The caller holds state_.
void SharedFile::Wrote() {
  dirty_ = true;
  fresh_ = settled_ = false;
  modified_ = Now();
}

void SharedFile::CopyBeforeWriting() {
  if (work_ != sealed_) return;
  work_ = WithRoom(services_.reading.blocks, [&] { return services_.spool.Clone(*sealed_); });
}

void SharedFile::SetTime(timespec time) {
  std::lock_guard lock(state_);
  modified_ = time;
  if (stored_ && !work_) services_.times.Set(path_, stored_->id, time);
}

void SharedFile::Bring(std::uint64_t count) {
  std::lock_guard transfer(transfer_);
  SpoolPtr brought = BringSpool(count);
  std::lock_guard lock(state_);
  if (!work_) work_ = std::move(brought);
}

SpoolPtr SharedFile::BringSpool(std::uint64_t count) {
  StoredVersion version;
  {
    std::lock_guard lock(state_);
    if (work_) return work_;
    if (stored_) version = {ToEntry(*stored_, path_), path_};
  }
  return WithRoom(services_.reading.blocks, [&] {
    SpoolPtr spool = services_.spool.Make();
    BringInto(services_.reading, version, spool->fd(), std::min(count, version.file.size));
    return spool;
  });
}

bool SharedFile::IsSettled() {
  std::lock_guard lock(state_);
  return gone_ || (!dirty_ && !fresh_ && !sealed_);
}

bool SharedFile::HasUnsaved() {
  std::lock_guard lock(state_);
  return !gone_ && dirty_;
}

std::optional<FsError> SharedFile::Failure() {
  std::lock_guard lock(state_);
  return sealed_ ? failure_ : std::nullopt;
}

std::optional<Delay> SharedFile::Waiting() {
  std::lock_guard lock(state_);
  if (gone_ || (!sealed_ && !settled_)) return std::nullopt;
  return Delay{path_,     sealed_ ? sealed_->Size() : 0,   sending_ != nullptr,
               failures_, failure_ && failure_->lasting(), failure_ ? failure_->what() : ""};
}

void SharedFile::Retire() {
  std::lock_guard lock(state_);
  if (!work_ || gone_ || !stored_) return;
  SpoolPtr work = std::move(work_);
  try {
    services_.reading.blocks.Adopt(stored_->id, stored_->size, work->file());
  } catch (const FsError&) {
    // Then it is read from the service when it is wanted again.
  }
}

}  // namespace b2drive::mount
