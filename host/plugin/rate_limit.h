#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "host/common/retry.h"
#include "host/common/thread_safety.h"

namespace b2drive {

// One limit for the bytes of many transfers, of both directions together. They get their turns in
// the order in which they ask, a slice at a time, so all that run have the same share. Thread-safe.
class RateLimit {
 public:
  // In bytes a second; 0 for none.
  explicit RateLimit(std::int64_t rate);

  // Waits for the turn of up to `wanted` bytes and gives how many of them may move; 0 when the
  // pauses were cut.
  std::size_t Take(std::size_t wanted, Pauses& pauses);

 private:
  using Clock = std::chrono::steady_clock;

  Clock::time_point Reserve(std::size_t bytes);

  const std::int64_t rate_;
  const std::size_t slice_;  // bytes of a turn
  Mutex mutex_;              // not held while waiting
  Clock::time_point taken_until_ B2_GUARDED_BY(mutex_) = Clock::now();
};

// Bytes a second of "10M", "512K" or "1G", in powers of 1024; without a letter it is K. None for
// any other text and for more than a petabyte.
std::optional<std::int64_t> ParseRate(std::string_view text);

// Below how many bytes a second a transfer hangs that shares `rate` with others, of which there may
// be hundreds.
std::int64_t SlowestShare(std::int64_t rate);

}  // namespace b2drive
