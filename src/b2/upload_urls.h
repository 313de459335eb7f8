#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/thread_safety.h"

// Where an upload goes: a URL that the service gave for it, with a token of its own. One upload at
// a time may use it, and after one that failed none.
struct UploadTarget {
  using Clock = std::chrono::steady_clock;

  std::string url;
  std::string token;
  Clock::time_point obtained = Clock::now();

  // The service takes a URL for 24 hours; a long upload must end within them, too.
  bool IsOld(Clock::time_point now = Clock::now()) const {
    return now - obtained >= std::chrono::hours(20);
  }
};

// Upload URLs that wait for their next upload. For any number of threads.
class UploadUrls {
 public:
  static constexpr std::size_t kMost = 64;  // of a bucket

  // The bucket's newest, which is its taker's alone from then on; none when there is none.
  std::optional<UploadTarget> Take(
      const std::string& bucket_id,
      UploadTarget::Clock::time_point now = UploadTarget::Clock::now());
  // Takes one back whose upload did not fail. Drops the oldest of too many.
  void Keep(const std::string& bucket_id, UploadTarget target);
  void Clear();

 private:
  base::Mutex mutex_;
  // By bucket, the newest last.
  std::map<std::string, std::vector<UploadTarget>> kept_ B2_GUARDED_BY(mutex_);
};
