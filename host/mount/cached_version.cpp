#include "host/mount/cached_version.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/mount/fs_error.h"
#include "host/mount/local_io.h"

namespace b2drive::mount {

CachedVersion::CachedVersion(std::filesystem::path file, std::uint64_t size, bool complete)
    : file_(std::move(file)),
      size_(size),
      fd_(open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | (complete ? 0 : O_TRUNC), 0600)),
      there_((size + kBlock - 1) / kBlock, complete) {
  if (!fd_) throw FsError(errno, file_.string() + ": cannot be opened");
  if (!complete) return;
  for (std::uint32_t block = 0; block < there_.size(); ++block) in_order_.push_back(block);
}

CachedVersion::~CachedVersion() { unlink(file_.c_str()); }

CachedVersion::Look CachedVersion::Read(std::uint64_t offset, char* data, std::size_t count) {
  std::lock_guard lock(mutex_);
  Look look;
  std::uint64_t available = offset;
  const std::uint64_t end = std::min<std::uint64_t>(offset + count, size_);
  while (available < end && IsThere(available)) {
    available = std::min((available / kBlock + 1) * kBlock, end);
  }
  if (available < end) {
    look.fetch = Covering(available);
    if (look.fetch) available = std::clamp(look.fetch->reached, available, end);
  }
  if (available > offset) look.copied = ReadAt(fd_.get(), data, available - offset, offset);
  return look;
}

// A fetch does not come back to blocks that it has completed, and those may have been dropped.
FetchPtr CachedVersion::Covering(std::uint64_t offset) const {
  const std::uint64_t block_end = std::min((offset / kBlock + 1) * kBlock, size_);
  for (const FetchPtr& fetch : fetches_) {
    const bool to_come = fetch->begin <= offset && offset < fetch->end;
    if (to_come && fetch->reached < block_end && !fetch->canceled) return fetch;
  }
  return nullptr;
}

FetchPtr CachedVersion::Claim(std::uint64_t offset, std::uint64_t end) {
  std::lock_guard lock(mutex_);
  return ClaimLocked(offset, end);
}

FetchPtr CachedVersion::ClaimGap(std::uint64_t offset, std::uint64_t end, std::uint64_t longest) {
  std::lock_guard lock(mutex_);
  end = std::min(end, size_);
  while (offset < end && (IsThere(offset) || Covering(offset))) {
    FetchPtr fetch = IsThere(offset) ? nullptr : Covering(offset);
    offset = fetch ? fetch->end : (offset / kBlock + 1) * kBlock;
  }
  return offset < end ? ClaimLocked(offset, offset + longest) : nullptr;
}

FetchPtr CachedVersion::ClaimLocked(std::uint64_t offset, std::uint64_t end) {
  const std::uint64_t begin = offset / kBlock * kBlock;
  end = std::min((end + kBlock - 1) / kBlock * kBlock, size_);
  std::uint64_t stop = begin;
  while (stop < end && !IsThere(stop) && !Covering(stop)) stop = std::min(stop + kBlock, end);
  if (stop == begin) return nullptr;
  auto fetch = std::make_shared<Fetch>();
  fetch->begin = fetch->reached = begin;
  fetch->end = stop;
  fetches_.push_back(fetch);
  return fetch;
}

int CachedVersion::Store(Fetch& fetch, std::uint64_t offset, const char* data, std::size_t count) {
  int error = WriteAt(fd_.get(), data, count, offset);
  if (error != 0) return error;
  std::lock_guard lock(mutex_);
  const std::uint64_t from = fetch.reached;
  fetch.reached = std::max(fetch.reached, offset + count);
  MarkUpTo(fetch, from);
  arrived_.notify_all();
  return 0;
}

void CachedVersion::MarkUpTo(const Fetch& fetch, std::uint64_t from) {
  for (std::uint64_t at = from / kBlock * kBlock; at < fetch.reached; at += kBlock) {
    const bool whole = fetch.reached >= std::min(at + kBlock, size_);
    if (!whole || IsThere(at)) continue;
    there_[at / kBlock] = true;
    in_order_.push_back(static_cast<std::uint32_t>(at / kBlock));
  }
}

void CachedVersion::End(const FetchPtr& fetch, int error) {
  std::lock_guard lock(mutex_);
  fetch->done = true;
  fetch->error = error;
  fetches_.remove(fetch);
  arrived_.notify_all();
}

int CachedVersion::Await(Fetch& fetch, std::uint64_t offset) {
  std::unique_lock lock(mutex_);
  ++fetch.waiters;
  arrived_.wait(lock, [&] { return fetch.done || fetch.reached > offset; });
  --fetch.waiters;
  return fetch.reached > offset ? 0 : fetch.error;
}

void CachedVersion::CancelUnwanted(Fetch& fetch) {
  std::lock_guard lock(mutex_);
  if (fetch.waiters == 0 && !fetch.done) fetch.canceled = true;
}

std::uint64_t CachedVersion::DropOldest(std::uint64_t bytes) {
  std::lock_guard lock(mutex_);
  std::uint64_t freed = 0;
  while (freed < bytes && !in_order_.empty()) {
    const std::uint32_t block = in_order_.front();
    in_order_.pop_front();
    there_[block] = false;
    fallocate(fd_.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
              static_cast<off_t>(block * kBlock), static_cast<off_t>(kBlock));
    freed += kBlock;
  }
  return freed;
}

std::uint64_t CachedVersion::BytesHeld() {
  std::lock_guard lock(mutex_);
  return in_order_.size() * kBlock;
}

}  // namespace b2drive::mount
