#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <thread>

#include "host/common/thread_safety.h"

namespace b2drive {

// Threads that come as they are needed, up to `most`, and go when there is nothing to do for a
// while. Tasks must not throw. Thread-safe.
class Workers {
 public:
  explicit Workers(std::size_t most) : most_(most) {}
  // Runs what is left and waits for it.
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Throws std::system_error when no thread runs and none can be started; the task is dropped then.
  void Run(std::function<void()> task);
  // Returns when no task runs or waits.
  void Finish();
  // The same, but no later than that; whether none does.
  bool FinishWithin(std::chrono::milliseconds time);

 private:
  using Threads = std::list<std::thread>;

  void Start() B2_REQUIRES(mutex_);
  void Work(Threads::iterator self);
  bool AwaitTask(Lock& lock) B2_REQUIRES(mutex_);
  bool IsBusy() const B2_REQUIRES(mutex_) { return tasks_.size() + threads_.size() > idle_; }

  const std::size_t most_;
  Mutex mutex_;
  Condition changed_;
  Condition finished_;
  std::deque<std::function<void()>> tasks_ B2_GUARDED_BY(mutex_);
  Threads threads_ B2_GUARDED_BY(mutex_);
  Threads ended_ B2_GUARDED_BY(mutex_);  // to be joined
  std::size_t idle_ B2_GUARDED_BY(mutex_) = 0;
  bool ending_ B2_GUARDED_BY(mutex_) = false;
};

}  // namespace b2drive
