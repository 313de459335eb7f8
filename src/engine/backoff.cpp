#include "engine/backoff.h"

#include <algorithm>
#include <thread>
#include <utility>

ExponentialBackoff::ExponentialBackoff(std::deque<int> codes, int count)
    : codes_(std::move(codes)), count_(std::clamp(count, kFewest, kMost)), left_(count_) {}

bool ExponentialBackoff::IsBackoffCode(int code) {
  return std::find(codes_.begin(), codes_.end(), code) != codes_.end();
}

std::chrono::seconds ExponentialBackoff::NextWait() {
  const int made = count_ - left_;
  --left_;
  return std::chrono::seconds(1 << std::min(made, 30));
}

AERROR ExponentialBackoff::Backoff() {
  std::this_thread::sleep_for(NextWait());
  return AERROR::RETRY;
}

AERROR StoppableBackoff::Backoff() {
  return WaitUnless(stop_, NextWait()) ? AERROR::RETRY : AERROR::FAILED;
}

bool WaitUnless(const Stop& stop, std::chrono::seconds time) {
  using Clock = std::chrono::steady_clock;
  for (const auto end = Clock::now() + time; !stop();) {
    const auto left = end - Clock::now();
    if (left <= Clock::duration::zero()) return true;
    std::this_thread::sleep_for(std::min<Clock::duration>(left, std::chrono::milliseconds(100)));
  }
  return false;
}
