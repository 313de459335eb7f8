#include "host/mount/reading/cached_version.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"

namespace b2drive::mount {
namespace {

// The service takes files of up to 10 TB; a listing can say anything.
constexpr std::uint64_t kLargestFile = 1ULL << 44;  // bytes

std::size_t BlocksOf(std::uint64_t size) {
  if (size > kLargestFile) throw FsError(EFBIG, "a file larger than the service can hold");
  return static_cast<std::size_t>((size + kBlock - 1) / kBlock);
}

}  // namespace

CachedVersion::CachedVersion(Disk& disk, std::atomic<std::uint64_t>& held,
                             std::filesystem::path file, std::uint64_t size, bool complete)
    : disk_(disk),
      held_(held),
      file_(std::move(file)),
      size_(size),
      there_(BlocksOf(size), complete) {
  fd_ = disk_.Open(file_, O_RDWR | O_CREAT | (complete ? 0 : O_TRUNC));
  if (!complete) return;
  for (std::uint32_t block = 0; block < there_.size(); ++block) in_order_.push_back(block);
  Count(static_cast<std::int64_t>(in_order_.size()));
}

CachedVersion::~CachedVersion() {
  Count(-static_cast<std::int64_t>(in_order_.size()));
  disk_.Remove(file_);
}

void CachedVersion::Count(std::int64_t blocks) {
  held_ += static_cast<std::uint64_t>(blocks) * kBlock;
}

CachedVersion::ReadResult CachedVersion::Read(std::uint64_t offset, char* data, std::size_t count) {
  Lock lock(mutex_);
  ReadResult result;
  std::uint64_t available = offset;
  const std::uint64_t end = std::min<std::uint64_t>(offset + count, size_);
  while (available < end && IsThere(available)) {
    available = std::min((available / kBlock + 1) * kBlock, end);
  }
  if (available < end) {
    result.fetch = Covering(available);
    if (result.fetch) available = std::clamp(result.fetch->reached, available, end);
  }
  if (available > offset) result.copied = ReadAt(fd_.get(), data, available - offset, offset);
  if (result.copied < available - offset) LoseAll();
  return result;
}

// Someone has cut the file. What is written behind its end from now on would have zeros show before
// it, so nothing of it is believed any more.
void CachedVersion::LoseAll() {
  Count(-static_cast<std::int64_t>(in_order_.size()));
  in_order_.clear();
  there_.assign(there_.size(), false);
  for (const FetchPtr& fetch : fetches_) fetch->canceled = true;
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
  Lock lock(mutex_);
  return ClaimLocked(offset, end);
}

FetchPtr CachedVersion::ClaimGap(std::uint64_t offset, std::uint64_t end, std::uint64_t longest) {
  Lock lock(mutex_);
  end = std::min(end, size_);
  while (offset < end && (IsThere(offset) || Covering(offset))) {
    FetchPtr fetch = IsThere(offset) ? nullptr : Covering(offset);
    offset = fetch ? fetch->end : (offset / kBlock + 1) * kBlock;
  }
  return offset < end ? ClaimLocked(offset, offset + longest) : nullptr;
}

FetchPtr CachedVersion::ClaimGapBefore(std::uint64_t offset, std::uint64_t begin,
                                       std::uint64_t longest) {
  Lock lock(mutex_);
  const std::uint64_t first = begin / kBlock;
  std::uint64_t stop = std::min((offset + kBlock - 1) / kBlock, std::uint64_t{there_.size()});
  while (stop > first && !IsMissing(stop - 1)) --stop;
  if (stop == first) return nullptr;
  // Not cut off at `begin`: that moves on with the reader, and would let short ranges through only.
  std::uint64_t start = stop;
  while (start > 0 && (stop - start) * kBlock < longest && IsMissing(start - 1)) --start;
  return ClaimLocked(start * kBlock, stop * kBlock);
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

int CachedVersion::Store(const char* data, std::size_t count, std::uint64_t offset) {
  return disk_.Write(fd_.get(), data, count, offset);
}

void CachedVersion::Advance(Fetch& fetch, std::uint64_t reached) {
  Lock lock(mutex_);
  if (fetch.canceled) return;
  const std::uint64_t from = fetch.reached;
  fetch.reached = std::max(from, reached);
  MarkUpTo(fetch, from);
  arrived_.notify_all();
}

void CachedVersion::MarkUpTo(const Fetch& fetch, std::uint64_t from) {
  for (std::uint64_t at = from / kBlock * kBlock; at < fetch.reached; at += kBlock) {
    const bool whole = fetch.reached >= std::min(at + kBlock, size_);
    if (!whole || IsThere(at)) continue;
    there_[at / kBlock] = true;
    in_order_.push_back(static_cast<std::uint32_t>(at / kBlock));
    Count(1);
  }
}

void CachedVersion::End(const FetchPtr& fetch, int error) {
  Lock lock(mutex_);
  fetch->done = true;
  fetch->error = error;
  fetches_.remove(fetch);
  arrived_.notify_all();
}

int CachedVersion::Await(Fetch& fetch, std::uint64_t offset) {
  Lock lock(mutex_);
  ++fetch.waiters;
  while (!fetch.done && fetch.reached <= offset) arrived_.wait(lock);
  --fetch.waiters;
  return fetch.reached > offset ? 0 : fetch.error;
}

void CachedVersion::CancelUnwanted(Fetch& fetch) {
  Lock lock(mutex_);
  if (fetch.waiters == 0 && !fetch.done) fetch.canceled = true;
}

std::uint64_t CachedVersion::DropOldest(std::uint64_t bytes) {
  Lock lock(mutex_);
  std::uint64_t freed = 0;
  while (freed < bytes && !in_order_.empty()) {
    const std::uint32_t block = in_order_.front();
    in_order_.pop_front();
    there_[block] = false;
    Count(-1);
    // A file system without holes frees it with the file.
    disk_.Free(fd_.get(), block * kBlock, kBlock);
    freed += kBlock;
  }
  return freed;
}

std::uint64_t CachedVersion::BytesHeld() {
  Lock lock(mutex_);
  return in_order_.size() * kBlock;
}

}  // namespace b2drive::mount
