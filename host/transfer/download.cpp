#include "host/transfer/download.h"

#include <algorithm>
#include <cerrno>

#include "host/common/workers.h"

namespace b2drive {
namespace {

constexpr std::uint64_t kMiB = 1024UL * 1024;
// A file of at least this size is fetched in ranges.
constexpr std::uint64_t kSeveralRanges = 32 * kMiB;
constexpr std::uint64_t kLeastRange = 16 * kMiB;
// A large file's ranges grow with it: each is a request, which costs time and, at the service,
// money.
constexpr std::uint64_t kMostRanges = 128;
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
      modified_(options.modified),
      may_replace_(options.may_replace),
      part_(target, ContentsOf(file_.entry, offset_, length_), options.part_name) {}

void FileDownload::Run() {
  try {
    Fetch(Spans());
    ThrowFailure();
    part_.Commit(modified_, may_replace_);
  } catch (const HostError& error) {
    const std::string note = part_.KeptNote();
    if (note.empty()) throw;
    throw HostError(error.exit_code(), error.what() + ("; " + note), error.code());
  }
}

// One connection has no use for short ones.
std::vector<FileDownload::Span> FileDownload::Spans() const {
  std::vector<Span> spans;
  const bool join = connections_ == 1 && drive_.ranges_are_checked();
  for (const Span& span : part_.Missing()) {
    if (join && !spans.empty() && spans.back().end == span.begin) {
      spans.back().end = span.end;
    } else {
      spans.push_back(span);
    }
  }
  return spans;
}

void FileDownload::Fetch(const std::vector<Span>& spans) {
  std::atomic<std::size_t> next{0};
  const auto fetch_all = [&] {
    for (std::size_t i = next++; i < spans.size() && !failed_; i = next++) FetchSpan(spans[i]);
  };
  const std::size_t connections = std::min(connections_, spans.size());
  if (connections <= 1) return fetch_all();
  Workers workers(connections);
  for (std::size_t i = 0; i < connections; ++i) workers.Run(fetch_all);
  workers.Finish();
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
