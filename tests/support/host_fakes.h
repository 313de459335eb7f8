#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "protocol/host_interfaces.h"

// Collects a read.
class FetchedBytes final : public IFetchCallback {
 public:
  AERROR OnFetched(long long offset, const void* data, int count, int flags) override {
    if (first_offset < 0) first_offset = offset;
    if (flags != 0 || offset != first_offset + static_cast<long long>(bytes.size())) {
      return INVALID_PARAMETER;
    }
    if (on_block) on_block();
    bytes.append(static_cast<const char*>(data), static_cast<std::size_t>(count));
    largest = std::max(largest, count);
    ++blocks;
    return answer;
  }

  std::string bytes;
  long long first_offset = -1;
  int largest = 0;
  int blocks = 0;
  AERROR answer = SUCCESS;
  std::function<void()> on_block;
};

// A file's contents in memory.
class MemoryCache final : public ICacheIO {
 public:
  explicit MemoryCache(std::string contents) : bytes(std::move(contents)) {}

  AERROR Write(long long, const void*, int, int) override { return NOT_SUPPORTED; }
  AERROR Read(_FS_HANDLE*, long long offset, void* data, int count, int* read) override {
    if (on_read) on_read(offset);
    if (fails) return CACHE_READ_FAILED;
    const auto begin = static_cast<std::size_t>(offset);
    const std::size_t length =
        std::min({bytes.size() - begin, static_cast<std::size_t>(count), largest_read});
    std::memcpy(data, bytes.data() + begin, length);
    *read = static_cast<int>(length);
    return SUCCESS;
  }

  std::string bytes;
  std::atomic<bool> fails = false;
  std::size_t largest_read = SIZE_MAX;  // bytes
  std::function<void(long long offset)> on_read;
};

inline std::shared_ptr<_FS_HANDLE> NewHandle() { return std::make_shared<_FS_HANDLE>(); }
