#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "host/common/thread_safety.h"

namespace b2drive {

// Pauses that an end in a hurry can cut short. Thread-safe.
class Pauses {
 public:
  // False when cut short, at once after Cut.
  bool Wait(std::chrono::milliseconds duration);
  bool WaitUntil(std::chrono::steady_clock::time_point end);
  // Whether anybody was waiting.
  bool Cut();

 private:
  Mutex mutex_;
  Condition cut_changed_;
  bool cut_ B2_GUARDED_BY(mutex_) = false;
  int waiting_ B2_GUARDED_BY(mutex_) = 0;
};

// How often a call that failed for a passing reason is made again. The waits double from half a
// second to half a minute, less up to a half at random, so that many callers spread.
class Attempts {
 public:
  // Is told of each wait before it: "REASON, again in 2.0 s, 3 of 10".
  using Teller = std::function<void(const std::string& text)>;

  Attempts(int retries, Pauses& pauses, Teller tell = {})
      : left_(retries), pauses_(pauses), tell_(std::move(tell)) {}

  // Waits before the next attempt; false when there is none left, or the pauses are cut.
  bool WaitForNext(const std::string& reason);
  // After progress, such as bytes read, the count begins anew.
  void Renew(int retries);

 private:
  int left_;
  int made_ = 0;
  Pauses& pauses_;
  Teller tell_;
};

// The wait before the attempt after `failures` failures, between `first` and `longest`.
std::chrono::milliseconds Backoff(int failures, std::chrono::milliseconds first,
                                  std::chrono::milliseconds longest);

}  // namespace b2drive
