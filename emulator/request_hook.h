#pragma once

#include <functional>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "emulator/request_log.h"

namespace emulator {

/// A function that is to see requests. Thread-safe.
class RequestHook {
 public:
  using Function = std::function<void(const Request&)>;

  /// Waits for runs of the function before, so that what it uses may go. An empty one sees nothing.
  void Set(Function function) {
    std::unique_lock lock(mutex_);
    function_ = std::move(function);
  }

  void Run(const Request& request) const {
    std::shared_lock lock(mutex_);
    if (function_) function_(request);
  }

 private:
  mutable std::shared_mutex mutex_;
  Function function_;  // protected by mutex_
};

}  // namespace emulator
