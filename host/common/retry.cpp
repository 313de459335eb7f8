#include "host/common/retry.h"

#include <algorithm>
#include <cstdio>
#include <random>

namespace b2drive {
using std::chrono::milliseconds;

bool Pauses::Wait(milliseconds duration) {
  return WaitUntil(std::chrono::steady_clock::now() + duration);
}

bool Pauses::WaitUntil(std::chrono::steady_clock::time_point end) {
  Lock lock(mutex_);
  ++waiting_;
  while (!cut_ && cut_changed_.wait_until(lock, end) == std::cv_status::no_timeout) {
  }
  --waiting_;
  return !cut_;
}

bool Pauses::Cut() {
  Lock lock(mutex_);
  cut_ = true;
  cut_changed_.notify_all();
  return waiting_ > 0;
}

bool Attempts::WaitForNext(const std::string& reason) {
  if (left_ == 0) return false;
  --left_;
  const milliseconds wait = Backoff(++made_, milliseconds(500), milliseconds(30'000));
  if (tell_) {
    char when[64];
    std::snprintf(when, sizeof when, ", again in %.1f s, %d of %d",
                  std::chrono::duration<double>(wait).count(), made_, made_ + left_);
    tell_(reason + when);
  }
  return pauses_.Wait(wait);
}

void Attempts::Renew(int retries) {
  left_ = retries;
  made_ = 0;
}

milliseconds Backoff(int failures, milliseconds first, milliseconds longest) {
  constexpr int kMostDoublings = 20;
  auto full = std::min(longest, first * (1 << std::clamp(failures - 1, 0, kMostDoublings)));
  thread_local std::minstd_rand random(std::random_device{}());
  return milliseconds(
      std::uniform_int_distribution<milliseconds::rep>(full.count() / 2, full.count())(random));
}

}  // namespace b2drive
