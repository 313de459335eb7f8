#pragma once

#include <vector>

#include "protocol/host_interfaces.h"
#include "protocol/records.h"

namespace b2drive {

// Receives the bytes of one Read and counts them in the transfer's offset. When it cannot write it
// fails the transfer and keeps the reason.
class FetchSink : public IFetchCallback {
 public:
  virtual ~FetchSink() = default;

  AERROR OnFetched(long long offset, const void* data, int count, int flags) final;

  // Writes what is still held back. To be called once, after a Read that succeeded.
  virtual void Finish() {}

  int error_number() const { return error_number_; }  // 0: none
  long long received() const { return received_; }    // bytes, counted from the start

 protected:
  // `fd` is borrowed; `start` is the first offset that will be asked for.
  FetchSink(int fd, long long start, _FS_TRANSFER& transfer)
      : fd_(fd), start_(start), transfer_(transfer) {}

  // Takes bytes that stand `at` bytes after the start; 0 or an errno.
  virtual int Accept(long long at, const char* data, std::size_t count) = 0;
  int fd() const { return fd_; }
  void Fail(int error_number);

 private:
  int fd_;
  long long start_;
  _FS_TRANSFER& transfer_;
  long long received_ = 0;
  int error_number_ = 0;
};

// Into a file that can be written anywhere.
class FileSink final : public FetchSink {
 public:
  FileSink(int fd, long long start, _FS_TRANSFER& transfer) : FetchSink(fd, start, transfer) {}

 protected:
  int Accept(long long at, const char* data, std::size_t count) override;
};

// Into a pipe or terminal, which cannot take bytes back. The text of a refusal that the plug-in
// then repeats may arrive before the file's first bytes, so each piece is held until the next one
// follows it, or until Finish.
class StreamSink final : public FetchSink {
 public:
  StreamSink(int fd, long long start, _FS_TRANSFER& transfer);
  void Finish() override;

 protected:
  int Accept(long long at, const char* data, std::size_t count) override;

 private:
  int WriteHeld();

  std::vector<char> held_;
  long long held_at_ = 0;
};

}  // namespace b2drive
