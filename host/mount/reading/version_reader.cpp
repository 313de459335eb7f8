#include "host/mount/reading/version_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/common/fs_error.h"
#include "host/common/waiting.h"

namespace b2drive::mount {
namespace {

constexpr std::uint64_t kFirstRange = kBlock;
constexpr std::uint64_t kSecondRange = 5UL * 1024 * 1024;
// The kernel asks ahead with several threads, so reads in sequence come slightly out of order.
constexpr std::uint64_t kSlack = 1024UL * 1024;
// Ranges on their way at a time: the wait for a far service is shared by so many.
constexpr std::size_t kMostRunning = 4;

// A version that is gone while it is read cannot come back.
int ReadError(int number) { return number == ENOENT ? ESTALE : number; }

// Copies from the version's beginning while blocks are there; gives the bytes copied.
std::uint64_t CopyCached(CachedVersion& cached, const Spool& spool, const SpoolFile& file,
                         std::uint64_t count) {
  constexpr std::uint64_t kPiece = 1024UL * 1024;
  std::vector<char> buffer(std::min(count, kPiece));
  std::uint64_t done = 0;
  while (done < count) {
    const std::size_t wanted = std::min<std::uint64_t>(count - done, buffer.size());
    const std::size_t got = cached.Read(done, buffer.data(), wanted).copied;
    if (got == 0) break;
    spool.Write(file, buffer.data(), got, done);
    done += got;
  }
  return done;
}

}  // namespace

void RunFetch(const ReadServices& services, const StoredVersion& version,
              const std::shared_ptr<CachedVersion>& cached, const FetchPtr& fetch) noexcept {
  try {
    // What is not known to be the right range before it ends is shown at its end.
    const bool at_once = services.remote.ranges_are_checked();
    services.remote.Read({version.file, version.path, fetch->begin, fetch->end - fetch->begin},
                         [&](std::uint64_t offset, const char* data, std::size_t count) {
                           if (fetch->canceled) return ECANCELED;
                           const int error = cached->Store(data, count, offset);
                           if (error == 0 && at_once) cached->Advance(*fetch, offset + count);
                           return error;
                         });
    cached->Advance(*fetch, fetch->end);
    cached->End(fetch, 0);
    services.blocks.Shrink();
  } catch (const FsError& error) {
    cached->End(fetch, ReadError(error.number()));
  } catch (const std::exception&) {
    cached->End(fetch, EIO);
  }
}

void BringInto(const ReadServices& services, const StoredVersion& version, const Spool& spool,
               const SpoolFile& file, std::uint64_t count) {
  if (count == 0) return;
  const auto cached = services.blocks.Open(version.file.id, version.file.size);
  const std::uint64_t done = CopyCached(*cached, spool, file, count);
  if (done == count) return;
  services.remote.Read({version.file, version.path, done, count - done},
                       [&](std::uint64_t offset, const char* data, std::size_t length) {
                         return spool.TryWrite(file, data, length, offset);
                       });
}

VersionReader::~VersionReader() {
  Lock lock(mutex_);
  DropRunning();
}

std::size_t VersionReader::Read(const StoredVersion& version, std::uint64_t offset, char* data,
                                std::size_t count) {
  const std::uint64_t size = version.file.size;
  if (offset >= size || count == 0) return 0;
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size - offset));
  const std::uint64_t range = NoteRead(offset, offset + count);
  Cached cached = services_.blocks.Open(version.file.id, size);
  std::size_t done = 0;
  while (done < count) {
    const std::uint64_t at = offset + done;
    CachedVersion::ReadResult result = cached->Read(at, data + done, count - done);
    done += result.copied;
    if (result.copied > 0) continue;
    AboutToWait();
    FetchPtr fetch = result.fetch;
    if (!fetch) {
      fetch = cached->Claim(at, std::max(at + range, offset + count));
      if (!fetch) continue;  // another reader was faster
      Begin(version, cached, fetch);
    }
    int error = cached->Await(*fetch, at);
    if (error == ENOSPC || error == EDQUOT) {
      return done + ReadThrough(version, at, data + done, count - done);
    }
    if (error != 0 && error != ECANCELED) throw FsError(error, version.path + ": not read");
  }
  if (range > kFirstRange) Ahead(version, cached, offset + count);
  return done;
}

std::uint64_t VersionReader::NoteRead(std::uint64_t offset, std::uint64_t end) {
  Lock lock(mutex_);
  const bool in_sequence = offset <= next_ + kSlack && offset + kSlack >= next_;
  if (range_ == 0 || !in_sequence) {
    if (range_ != 0) DropRunning();
    range_ = kFirstRange;
    next_ = end;
  } else if (end > next_) {
    // Not before the first range is used up: many programs result at a file's beginning only.
    const bool beyond_first = end > kFirstRange;
    if (range_ == kFirstRange && beyond_first)
      range_ = std::min(kSecondRange, services_.longest_range);
    next_ = end;
  }
  return range_;
}

void VersionReader::Ahead(const StoredVersion& version, const Cached& cached, std::uint64_t from) {
  FetchPtr fetch;
  {
    Lock lock(mutex_);
    std::erase_if(running_, [](const Running& running) { return running.fetch->done.load(); });
    if (running_.size() >= kMostRunning) return;
    fetch = cached->ClaimGap(from, from + kMostRunning * range_, range_);
    if (!fetch) return;
    range_ = services_.longest_range;
  }
  InBackground(version, cached, fetch);
}

void VersionReader::Begin(const StoredVersion& version, const Cached& cached,
                          const FetchPtr& fetch) {
  // A short range is all that its reader waits for.
  if (fetch->end - fetch->begin <= kFirstRange) return RunFetch(services_, version, cached, fetch);
  InBackground(version, cached, fetch);
}

void VersionReader::InBackground(const StoredVersion& version, const Cached& cached,
                                 const FetchPtr& fetch) {
  try {
    {
      Lock lock(mutex_);
      running_.push_back({cached, fetch});
    }
    services_.workers.Run([services = services_, version, cached, fetch] {
      RunFetch(services, version, cached, fetch);
    });
  } catch (
      const std::exception&) {  // no thread or no memory: those who wait must not wait for ever
    cached->End(fetch, EIO);
  }
}

void VersionReader::DropRunning() {
  for (const Running& running : running_) {
    if (auto version = running.version.lock()) version->CancelUnwanted(*running.fetch);
  }
  running_.clear();
}

std::size_t VersionReader::ReadThrough(const StoredVersion& version, std::uint64_t offset,
                                       char* data, std::size_t count) {
  services_.remote.Read({version.file, version.path, offset, count},
                        [&](std::uint64_t at, const char* bytes, std::size_t length) {
                          std::memcpy(data + (at - offset), bytes, length);
                          return 0;
                        });
  return count;
}

}  // namespace b2drive::mount
