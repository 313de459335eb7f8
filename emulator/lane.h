#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string_view>

#include "emulator/link_settings.h"

namespace emulator {

// One direction of a link. Bytes enter one after the other at the link's rate, travel for half a
// round trip and wait at the other end until they are taken, in order. When rate times round trip
// and a little more are on their way or wait, none enter until some are taken. Holds bytes and
// computes times; what moves them stands outside.
class Lane {
 public:
  using Time = std::chrono::steady_clock::time_point;
  static constexpr Time kNever = Time::max();

  // Nothing enters before `opens`. `buffer`: bytes that may wait at the sender's end, entered as
  // far as the sender knows.
  Lane(const LinkSettings& link, size_t buffer, Time opens);

  // Where the next bytes are to be put, a few milliseconds' worth; empty when the lane is full.
  std::span<char> Space();
  // The first bytes of Space() enter as soon as the link is free, and not before `at`.
  void Enter(size_t size, Time at);
  // When the link is free for the next byte.
  Time free() const { return free_; }
  // How long what the lane holds takes to enter.
  std::chrono::nanoseconds Longest() const { return TimeOf(capacity_); }

  // When bytes arrive next, which may be past; kNever when there are none.
  Time next() const { return pieces_.empty() ? kNever : pieces_.front().arrives; }
  // Bytes that have arrived by `now` and have not been taken, perhaps not all of them.
  std::string_view Arrived(Time now) const;
  void Take(size_t size);

 private:
  // Bytes that count as one: they arrive with the last of them.
  struct Piece {
    uint64_t end;  // as entered_ was behind it
    uint64_t size;
    Time arrives;
  };

  std::chrono::nanoseconds TimeOf(uint64_t bytes) const;

  const LinkSettings link_;
  const size_t largest_piece_;
  const size_t capacity_;
  const std::unique_ptr<char[]> ring_;
  const std::chrono::nanoseconds half_;
  std::deque<Piece> pieces_;
  uint64_t entered_ = 0, taken_ = 0;  // bytes so far
  uint64_t until_loss_;               // bytes
  Time free_;
};

}  // namespace emulator
