#pragma once

#include <functional>
#include <utility>

#include "base/thread_safety.h"
#include "emulator/request_log.h"

namespace emulator {

// The function, if there is one, that sees each request. Thread-safe.
class RequestHook {
 public:
  using Function = std::function<void(const Request&)>;

  // Waits until no run of the previous function is left, so that what it uses may be destroyed. An
  // empty function sees nothing.
  void Set(Function function) {
    base::WriteLock lock(mutex_);
    function_ = std::move(function);
  }

  void Run(const Request& request) const {
    base::ReadLock lock(mutex_);
    if (function_) function_(request);
  }

 private:
  mutable base::SharedMutex mutex_;
  Function function_ B2_GUARDED_BY(mutex_);
};

}  // namespace emulator
