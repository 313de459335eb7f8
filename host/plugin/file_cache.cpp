#include "host/plugin/file_cache.h"

#include <unistd.h>

#include <cerrno>

namespace b2drive {

AERROR FileCache::Write(long long, const void*, int, int) { return AERROR::NOT_SUPPORTED; }

AERROR FileCache::Read(_FS_HANDLE* handle, long long offset, void* data, int count, int* read) {
  *read = 0;
  const auto wanted = static_cast<std::size_t>(count);
  const std::size_t granted = handle == nullptr ? wanted : transfer_.AwaitTurn(wanted);
  if (granted == 0 && count > 0) return AERROR::CANCEL;
  ssize_t got = 0;
  do {
    got = pread(fd_, data, granted, offset);
  } while (got < 0 && errno == EINTR);
  *read = static_cast<int>(got > 0 ? got : 0);
  bytes_read_ += static_cast<std::uint64_t>(*read);
  if (got < 0) error_number_ = errno;
  if (got == 0 && count > 0) error_number_ = ENODATA;
  return error_number_ == 0 ? AERROR::SUCCESS : AERROR::CACHE_READ_FAILED;
}

}  // namespace b2drive
