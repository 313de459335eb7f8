#pragma once

#include <atomic>

#include "protocol/host_interfaces.h"

namespace b2drive {

// A local file as the source of an upload.
class FileCache final : public ICacheIO {
 public:
  explicit FileCache(int fd) : fd_(fd) {}  // borrowed

  AERROR Write(long long offset, const void* data, int count, int flags) override;
  AERROR Read(_FS_HANDLE* handle, long long offset, void* data, int count, int* read) override;

  // Why a read failed, an errno; 0: none did. A file that became shorter gives ENODATA.
  int error_number() const { return error_number_; }

 private:
  int fd_;
  std::atomic<int> error_number_{0};
};

}  // namespace b2drive
