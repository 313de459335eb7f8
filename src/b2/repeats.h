#pragma once

#include <chrono>
#include <utility>

#include "b2/service_request.h"
#include "engine/backoff.h"

// How often one body is sent again, and when: at once, then after 1, 2, 4 and 8 seconds.
class Repeats {
 public:
  explicit Repeats(Stop stop) : stop_(std::move(stop)) {}

  // RETRY after the wait that is due; FAILED when there are no more, or `stop` says so.
  AERROR Next() {
    if (made_ == kMost) return AERROR::FAILED;
    const std::chrono::seconds wait(made_ == 0 ? 0 : 1 << (made_ - 1));
    ++made_;
    return WaitUnless(stop_, wait) ? AERROR::RETRY : AERROR::FAILED;
  }

 private:
  static constexpr int kMost = 5;

  const Stop stop_;
  int made_ = 0;
};

// UploadFailures, with RETRY for a request that did not get through, or whose answer did not: for
// what may be sent twice. Passes: whether such a failure, a time-out among them, may be over soon.
TransportMap PassingFailures();
inline bool Passes(AERROR result) { return result == AERROR::RETRY || result == AERROR::TIMEDOUT; }
