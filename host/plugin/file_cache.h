#pragma once

#include <atomic>
#include <cstdint>

#include "host/plugin/transfers.h"
#include "protocol/host_interfaces.h"

namespace b2drive {

// A local file as the source of an upload, read as fast as the limit lets it, but for what is not
// sent and has no handle. Any number of threads may read.
class FileCache final : public ICacheIO {
 public:
  // Both are borrowed.
  FileCache(int fd, const ActiveTransfer& transfer) : fd_(fd), transfer_(transfer) {}

  AERROR Write(long long offset, const void* data, int count, int flags) override;
  AERROR Read(_FS_HANDLE* handle, long long offset, void* data, int count, int* read) override;

  // Why a read failed, an errno; 0: none did. A file that became shorter gives ENODATA.
  int error_number() const { return error_number_; }
  // Of all reads together.
  std::uint64_t bytes_read() const { return bytes_read_; }

 private:
  int fd_;
  const ActiveTransfer& transfer_;
  std::atomic<int> error_number_{0};
  std::atomic<std::uint64_t> bytes_read_{0};
};

}  // namespace b2drive
