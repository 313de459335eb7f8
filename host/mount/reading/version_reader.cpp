#include "host/mount/reading/version_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "host/common/fs_error.h"
#include "host/common/waiting.h"

namespace b2drive::mount {
namespace {

constexpr std::uint64_t kFirstRange = kBlock;
constexpr std::uint64_t kSecondRange = 5UL * 1024 * 1024;
// The kernel asks ahead with several threads, so reads in sequence come slightly out of order.
constexpr std::uint64_t kSlack = 1024UL * 1024;
// Ranges on their way at a time: the wait for a far service is shared by so many.
constexpr std::size_t kFewestRunning = 2;
constexpr std::size_t kMostRunning = 8;
// A reader that goes down waits for a whole range, whose end comes last.
constexpr std::uint64_t kRangeBelow = 1024UL * 1024;
// So often it must have been so before it is believed.
constexpr int kSurely = 2;
constexpr std::size_t kMostCourses = 4;

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

bool VersionReader::Course::goes_down() const { return downward >= kSurely; }

bool VersionReader::Course::goes_even() const { return even_steps >= kSurely; }

bool VersionReader::Course::IsNear(std::uint64_t offset, std::uint64_t end) const {
  const bool above = offset <= high + kSlack && offset + kSlack >= high;
  const bool turned = downward == 0 && high - low > kSlack;
  return above || (!turned && offset <= low && end + kSlack >= low);
}

void VersionReader::Course::Note(std::uint64_t offset, std::uint64_t end, std::uint64_t longest) {
  if (end > high) {
    // Not before the first range is used up: many programs look at a file's beginning only.
    if (end - low > kFirstRange) range = std::min(std::max(end - low, kSecondRange), longest);
    downward = 0;
  } else if (offset < low) {
    ++downward;
  }
  low = std::min(low, offset);
  high = std::max(high, end);
}

VersionReader::~VersionReader() {
  Lock lock(mutex_);
  for (const CoursePtr& course : courses_) Drop(*course);
}

std::size_t VersionReader::Read(const StoredVersion& version, std::uint64_t offset, char* data,
                                std::size_t count) {
  const std::uint64_t size = version.file.size;
  if (offset >= size || count == 0) return 0;
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size - offset));
  const CoursePtr course = Follow(offset, offset + count);
  Cached cached = services_.blocks.Open(version.file.id, size);
  std::size_t done = 0;
  while (done < count) {
    const std::uint64_t at = offset + done;
    CachedVersion::ReadResult result = cached->Read(at, data + done, count - done);
    done += result.copied;
    if (result.copied > 0) continue;
    AboutToWait();
    FetchPtr fetch = result.fetch;
    if (fetch) {
      Grow(*course);
      Ahead(version, cached, *course, offset, offset + count);
    } else {
      fetch = cached->Claim(at, std::max(at + RangeFor(*course), offset + count));
      if (!fetch) continue;  // another reader was faster
      Ahead(version, cached, *course, offset, offset + count);
      Begin(version, cached, fetch, *course);
    }
    int error = cached->Await(*fetch, at);
    if (error == ENOSPC || error == EDQUOT) {
      return done + ReadThrough(version, at, data + done, count - done);
    }
    if (error != 0 && error != ECANCELED) throw FsError(error, version.path + ": not read");
  }
  Ahead(version, cached, *course, offset, offset + count);
  return done;
}

VersionReader::CoursePtr VersionReader::Follow(std::uint64_t offset, std::uint64_t end) {
  Lock lock(mutex_);
  const auto near = [&](const CoursePtr& course) { return course->IsNear(offset, end); };
  const auto found = std::ranges::find_if(courses_, near);
  if (found == courses_.end()) return NewCourse(offset, end);
  courses_.splice(courses_.begin(), courses_, found);
  Course& course = *courses_.front();
  const bool short_before = course.range == kFirstRange;
  course.Note(offset, end, services_.longest_range);
  course.used = ++reads_;
  if (short_before && course.range > kFirstRange) DropBefore(course);
  return courses_.front();
}

// A reader that goes on in sequence elsewhere, and has not been back, will not come back soon.
void VersionReader::DropBefore(const Course& course) {
  for (const CoursePtr& other : courses_) {
    if (other->used < course.begun) Drop(*other);
  }
}

VersionReader::CoursePtr VersionReader::NewCourse(std::uint64_t offset, std::uint64_t end) {
  auto course = std::make_shared<Course>();
  course->low = offset;
  course->high = end;
  course->begun = course->used = ++reads_;
  course->range = kFirstRange;
  course->most = kFewestRunning;
  if (!courses_.empty()) {
    Course& last = *courses_.front();
    course->step = static_cast<std::int64_t>(offset) - static_cast<std::int64_t>(last.low);
    if (course->step == last.step) {
      course->even_steps = last.even_steps + 1;
      course->most = last.most;
      course->running = std::exchange(last.running, {});  // it is for this one and the next
    }
  }
  courses_.push_front(course);
  if (courses_.size() > kMostCourses) {
    Drop(*courses_.back());
    courses_.pop_back();
  }
  return course;
}

std::uint64_t VersionReader::RangeFor(const Course& course) {
  Lock lock(mutex_);
  return course.goes_down() ? kFirstRange : course.range;
}

void VersionReader::Grow(Course& course) {
  Lock lock(mutex_);
  course.most = std::min(2 * course.most, kMostRunning);
}

void VersionReader::Ahead(const StoredVersion& version, const Cached& cached, Course& course,
                          std::uint64_t offset, std::uint64_t end) {
  std::vector<FetchPtr> fetches;
  try {
    Lock lock(mutex_);
    std::erase_if(course.running,
                  [](const Running& running) { return running.fetch->done.load(); });
    // Nothing may fail between a claim and its start.
    fetches.reserve(kMostRunning);
    course.running.reserve(kMostRunning);
    while (course.running.size() < course.most) {
      FetchPtr fetch = ClaimAhead(*cached, course, offset, end);
      if (!fetch) break;
      course.running.push_back({cached, fetch});
      fetches.push_back(std::move(fetch));
    }
  } catch (const std::exception&) {  // no memory: what was claimed comes
  }
  for (const FetchPtr& fetch : fetches) InBackground(version, cached, fetch);
}

FetchPtr VersionReader::ClaimAhead(CachedVersion& cached, const Course& course,
                                   std::uint64_t offset, std::uint64_t end) {
  if (course.goes_down()) {
    const std::uint64_t far = std::min(offset, 2 * course.most * kRangeBelow);
    return cached.ClaimGapBefore(offset, offset - far, kRangeBelow);
  }
  if (course.range > kFirstRange) {
    // Twice as far as what is on its way, so that none of it waits for what came to be read; but
    // only so far as the reader may go when it was here for so long.
    const std::uint64_t used = std::max(4 * (course.high - course.low), kSecondRange);
    const std::uint64_t far = std::min(used, 2 * course.most * course.range);
    return cached.ClaimGap(end, end + far, course.range);
  }
  return course.goes_even() ? ClaimSteps(cached, course) : nullptr;
}

FetchPtr VersionReader::ClaimSteps(CachedVersion& cached, const Course& course) {
  const std::uint64_t length = course.high - course.low;
  for (std::size_t i = 1; i <= course.most; ++i) {
    const std::int64_t next =
        static_cast<std::int64_t>(course.low) + course.step * static_cast<std::int64_t>(i);
    if (next < 0 || static_cast<std::uint64_t>(next) >= cached.size()) break;
    const auto at = static_cast<std::uint64_t>(next);
    if (FetchPtr fetch = cached.ClaimGap(at, at + length, length)) return fetch;
  }
  return nullptr;
}

void VersionReader::Begin(const StoredVersion& version, const Cached& cached, const FetchPtr& fetch,
                          Course& course) {
  // A short range is all that its reader waits for.
  if (fetch->end - fetch->begin <= kFirstRange) return RunFetch(services_, version, cached, fetch);
  try {
    Lock lock(mutex_);
    course.running.push_back({cached, fetch});
  } catch (const std::bad_alloc&) {
    return cached->End(fetch, EIO);
  }
  InBackground(version, cached, fetch);
}

// Where there is no thread or no memory those who wait must not wait for ever.
void VersionReader::InBackground(const StoredVersion& version, const Cached& cached,
                                 const FetchPtr& fetch) {
  try {
    services_.workers.Run([services = services_, version, cached, fetch] {
      RunFetch(services, version, cached, fetch);
    });
  } catch (const std::exception&) {
    cached->End(fetch, EIO);
  }
}

void VersionReader::Drop(Course& course) {
  for (const Running& running : course.running) {
    if (auto version = running.version.lock()) version->CancelUnwanted(*running.fetch);
  }
  course.running.clear();
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
