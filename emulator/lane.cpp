#include "emulator/lane.h"

#include <algorithm>

namespace emulator {
namespace {

using std::chrono::milliseconds;

// How long a piece takes to enter. Every piece wakes its connection's thread, and that is most of
// what a link costs.
constexpr milliseconds kShortest(5);
constexpr milliseconds kLongest(10);
constexpr size_t kLargestPiece = size_t{1} << 20;
// Pieces that may wait at the end of the link, so that who takes them may be late.
constexpr size_t kWaiting = 4;

size_t PieceOf(const LinkSettings& link) {
  const milliseconds time = std::clamp(link.round_trip / 5, kShortest, kLongest);
  return std::clamp<uint64_t>(link.rate * static_cast<uint64_t>(time.count()) / 1000, 1,
                              kLargestPiece);
}

size_t InFlight(const LinkSettings& link) {
  return link.rate * static_cast<uint64_t>(link.round_trip.count()) / 1000;
}

}  // namespace

Lane::Lane(const LinkSettings& link, size_t buffer, Time opens)
    : link_(link),
      largest_piece_(PieceOf(link)),
      capacity_(InFlight(link) + kWaiting * largest_piece_ + buffer),
      ring_(std::make_unique_for_overwrite<char[]>(capacity_)),
      half_(std::chrono::nanoseconds(link.round_trip) / 2),
      until_loss_(link.loss_every),
      free_(opens) {}

std::chrono::nanoseconds Lane::TimeOf(uint64_t bytes) const {
  return std::chrono::nanoseconds(bytes * 1'000'000'000 / link_.rate);
}

std::span<char> Lane::Space() {
  const size_t place = entered_ % capacity_;
  const size_t room = capacity_ - (entered_ - taken_);
  return {&ring_[place],
          std::min<uint64_t>({room, capacity_ - place, largest_piece_, until_loss_})};
}

void Lane::Enter(size_t size, Time at) {
  const bool follows = !pieces_.empty() && at <= free_ && pieces_.back().arrives == free_ + half_;
  if (!follows || pieces_.back().size + size > largest_piece_) {
    pieces_.push_back({entered_, 0, {}});
  }
  free_ = std::max(free_, at) + TimeOf(size);
  entered_ += size;
  Piece& last = pieces_.back();
  last.end = entered_;
  last.size += size;
  last.arrives = free_ + half_;
  until_loss_ -= size;
  if (until_loss_ > 0) return;
  free_ += link_.loss;
  until_loss_ = link_.loss_every;
}

std::string_view Lane::Arrived(Time now) const {
  if (next() > now) return {};
  const size_t place = taken_ % capacity_;
  return {&ring_[place], std::min<size_t>(pieces_.front().end - taken_, capacity_ - place)};
}

void Lane::Take(size_t size) {
  taken_ += size;
  while (!pieces_.empty() && pieces_.front().end <= taken_) pieces_.pop_front();
}

}  // namespace emulator
