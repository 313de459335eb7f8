#include "host/transfer/download.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>
#include <vector>

#include "host/common/workers.h"

namespace b2drive {
namespace {

constexpr std::uint64_t kMiB = 1024UL * 1024;
// A file of at least this size is fetched in ranges.
constexpr std::uint64_t kSeveralRanges = 32 * kMiB;
constexpr std::uint64_t kLeastRange = 4 * kMiB;
// What is recorded of a large file grows with it.
constexpr std::uint64_t kMostRanges = 128;
// Between two requests a connection waits for a round trip. With longer ones so much would come out
// of order that it could only be hashed at the end.
constexpr std::uint64_t kLongestRequest = 48 * kMiB;
constexpr std::chrono::milliseconds kHashEvery{50};
static_assert(kMostRanges < PartRecord::kMostRanges);

std::uint64_t RangeFor(std::uint64_t length) {
  if (length < kSeveralRanges) return std::max<std::uint64_t>(length, 1);
  const std::uint64_t even = (length / kMostRanges / kMiB + 1) * kMiB;
  return std::max(kLeastRange, even);
}

std::uint64_t LengthOf(const Entry& entry, const DownloadOptions& options) {
  const std::uint64_t offset = std::min(options.offset, entry.size);
  return std::min(options.length.value_or(entry.size), entry.size - offset);
}

// Gives out what is missing, in order: to each connection its share of what is left, so that they
// take less and less and end at about the same time. Thread-safe.
class SpanBoard {
 public:
  using Span = PartFile::Span;

  // `joins`: one request may fetch several spans that follow each other.
  SpanBoard(std::vector<Span> spans, std::size_t connections, bool joins)
      : spans_(std::move(spans)), connections_(connections), joins_(joins) {
    for (const Span& span : spans_) left_ += span.end - span.begin;
  }

  std::optional<Span> Take() {
    Lock lock(mutex_);
    if (next_ == spans_.size()) return std::nullopt;
    const std::uint64_t share = left_ / connections_;
    const std::uint64_t most = connections_ > 1 ? std::min(share, kLongestRequest) : share;
    Span taken = spans_[next_++];
    for (; joins_ && next_ < spans_.size(); ++next_) {
      const Span& following = spans_[next_];
      if (following.begin != taken.end || following.end - taken.begin > most) break;
      taken.end = following.end;
    }
    left_ -= taken.end - taken.begin;
    return taken;
  }

 private:
  const std::vector<Span> spans_;
  const std::size_t connections_;
  const bool joins_;
  Mutex mutex_;
  std::size_t next_ B2_GUARDED_BY(mutex_) = 0;
  std::uint64_t left_ B2_GUARDED_BY(mutex_) = 0;  // bytes
};

PartContents ContentsOf(const Entry& entry, std::uint64_t offset, std::uint64_t length) {
  return {entry.id, entry.size, offset, length, RangeFor(length)};
}

}  // namespace

FileDownload::FileDownload(PatientDrive& drive, RemoteFile file, const LocalTarget& target,
                           const DownloadOptions& options)
    : drive_(drive),
      file_(std::move(file)),
      connections_(options.connections),
      offset_(options.offset),
      length_(LengthOf(file_.entry, options)),
      verify_(options.verify),
      may_replace_(options.may_replace),
      part_(target, ContentsOf(file_.entry, offset_, length_), options.part_name) {}

void FileDownload::Run() {
  try {
    Fetch();
    ThrowFailure();
    if (IsVerified()) part_.RequireHash(file_.entry.details->sha1, file_.path);
    part_.Commit(IsWhole() ? std::optional(file_.entry.modified) : std::nullopt, may_replace_);
  } catch (const HostError& error) {
    const std::string note = part_.KeptNote();
    if (note.empty()) throw;
    throw HostError(error.exit_code(), error.what() + ("; " + note), error.code());
  }
}

bool FileDownload::IsVerified() const {
  const auto& details = file_.entry.details;
  return verify_ && IsWhole() && details && !details->sha1.empty();
}

void FileDownload::Fetch() {
  std::vector<Span> missing = part_.Missing();
  const std::size_t connections = std::min(connections_, missing.size());
  if (connections == 0) return;
  SpanBoard board(std::move(missing), connections, drive_.ranges_are_checked());
  const auto fetch_all = [&] {
    while (const auto span = failed_ ? std::nullopt : board.Take()) FetchSpan(*span);
  };
  if (connections == 1) return fetch_all();
  Workers workers(connections);
  for (std::size_t i = 0; i < connections; ++i) workers.Run(fetch_all);
  if (IsVerified()) HashWhile([&] { return !workers.FinishWithin(kHashEvery); });
  workers.Finish();
}

// What came in sequence is hashed while the rest is on its way.
void FileDownload::HashWhile(const std::function<bool()>& fetching) {
  try {
    while (fetching() && !failed_) part_.HashOn();
  } catch (const HostError& error) {
    Fail(error);
  }
}

void FileDownload::FetchSpan(const Span& span) {
  // Until the end of a read that is not checked nobody knows what came.
  const bool checked = drive_.ranges_are_checked();
  const auto store = [&](std::uint64_t at, const char* data, std::size_t count) {
    if (failed_) return ECANCELED;
    const std::uint64_t begin = at - offset_;
    const int error = part_.Write(begin, data, count);
    return error == 0 && checked ? part_.Note(begin, begin + count) : error;
  };
  try {
    const std::uint64_t length = span.end - span.begin;
    drive_.Read({file_.entry, file_.path, offset_ + span.begin, length}, store);
    const int error = checked ? 0 : part_.Note(span.begin, span.end);
    if (error != 0) Fail(LocalFailure("writing " + part_.target().Shown(), error));
  } catch (const HostError& error) {
    Fail(error);
  } catch (const std::exception& error) {
    Fail({ExitCode::kFailed, file_.path + ": " + error.what()});
  }
}

void FileDownload::Fail(const HostError& error) {
  Lock lock(mutex_);
  if (!failure_) failure_ = error;
  failed_ = true;
}

void FileDownload::ThrowFailure() {
  Lock lock(mutex_);
  if (failure_) throw HostError(*failure_);
}

}  // namespace b2drive
