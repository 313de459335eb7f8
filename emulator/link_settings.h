#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "base/thread_safety.h"

namespace emulator {

// What the way between a client and the service is like, in both directions alike.
struct LinkSettings {
  std::chrono::milliseconds round_trip{0};
  uint64_t rate = 0;  // bytes per second, not 0
  // What a lost packet costs: nothing moves for so long after every so many bytes, not 0.
  std::chrono::milliseconds loss{0};
  uint64_t loss_every = UINT64_MAX;
};

// From "RTT_MS,MB_PER_S[,LOSS_MS/EVERY_MB]"; a MB is 1,000,000 bytes and may have decimals. None
// for an empty text. Throws std::invalid_argument.
std::optional<LinkSettings> ParseLink(std::string_view text);

// The link that new connections get. Thread-safe.
class LinkChoice {
 public:
  explicit LinkChoice(std::optional<LinkSettings> link) : link_(link) {}

  std::optional<LinkSettings> Get() const {
    base::Lock lock(mutex_);
    return link_;
  }
  void Set(std::optional<LinkSettings> link) {
    base::Lock lock(mutex_);
    link_ = link;
  }

 private:
  mutable base::Mutex mutex_;
  std::optional<LinkSettings> link_ B2_GUARDED_BY(mutex_);
};

}  // namespace emulator
