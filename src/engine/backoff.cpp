#include "engine/backoff.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

ExponentialBackoff::ExponentialBackoff(std::deque<int> codes, int count)
    : codes_(std::move(codes)), count_(std::clamp(count, kFewest, kMost)), left_(count_) {}

bool ExponentialBackoff::IsBackoffCode(int code) {
  return std::find(codes_.begin(), codes_.end(), code) != codes_.end();
}

AERROR ExponentialBackoff::Backoff() {
  const int made = count_ - left_;
  --left_;
  std::this_thread::sleep_for(std::chrono::seconds(1 << std::min(made, 30)));
  return AERROR::RETRY;
}
