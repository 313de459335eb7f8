#include "host/plugin/fetch_sink.h"

#include <unistd.h>

#include <cerrno>

namespace b2drive {
namespace {

// Repeats `write_some(done)`, which gives the bytes written or -1, until `count` are written.
template <typename WriteSome>
int WriteAll(std::size_t count, WriteSome write_some) {
  for (std::size_t done = 0; done < count;) {
    ssize_t written = write_some(done);
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) done += static_cast<std::size_t>(written);
  }
  return 0;
}

}  // namespace

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
  return WriteAll(count, [&](std::size_t done) {
    return pwrite(fd(), data + done, count - done, at + static_cast<off_t>(done));
  });
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
  int error = WriteAll(held_.size(), [&](std::size_t done) {
    return write(fd(), held_.data() + done, held_.size() - done);
  });
  held_at_ += static_cast<long long>(held_.size());
  held_.clear();
  return error;
}

}  // namespace b2drive
