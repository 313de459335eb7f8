#include "host/plugin/fetch_sink.h"

#include <cerrno>

#include "host/local/local_io.h"

namespace b2drive {

AERROR FetchSink::OnFetched(long long offset, const void* data, int count, int) {
  long long at = offset - start_;
  int error = Accept(at, static_cast<const char*>(data), static_cast<std::size_t>(count));
  if (error != 0) {
    Fail(error);
    return AERROR::FILE_WRITE_FAILED;
  }
  received_ = at + count;
  transfer_.offset = received_;
  return AERROR::SUCCESS;
}

void FetchSink::Fail(int error_number) {
  error_number_ = error_number;
  transfer_.state = TRANSFER_FAILED;
}

int FileSink::Accept(long long at, const char* data, std::size_t count) {
  return WriteAllAt(fd(), {data, count}, static_cast<std::uint64_t>(at));
}

StreamSink::StreamSink(int fd, long long start, _FS_TRANSFER& transfer)
    : FetchSink(fd, start, transfer) {
  constexpr std::size_t kLargestPiece = 512UL * 1024;
  held_.reserve(kLargestPiece);
}

int StreamSink::Accept(long long at, const char* data, std::size_t count) {
  if (at < held_at_) return EILSEQ;  // what was written cannot be written again
  if (at > held_at_) {
    int error = WriteHeld();
    if (error != 0) return error;
    if (at != held_at_) return EILSEQ;
  }
  held_.assign(data, data + count);
  return 0;
}

void StreamSink::Finish() {
  int error = WriteHeld();
  if (error != 0) Fail(error);
}

int StreamSink::WriteHeld() {
  int error = WriteAll(fd(), {held_.data(), held_.size()});
  held_at_ += static_cast<long long>(held_.size());
  held_.clear();
  return error;
}

}  // namespace b2drive
