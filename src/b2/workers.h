#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <thread>

#include "base/thread_safety.h"
#include "engine/log_relay.h"
#include "protocol/aerror.h"

// Work that several threads do at once, within one call of the host's: all of them end before Run
// does. The first failure ends the work.
class Workers {
 public:
  // What each thread does until nothing is left to do. Its number, from 0, and its log lines: what
  // it has released is delivered while it works, the rest at the end.
  using Job = std::function<AERROR(int number, LogRelay& log)>;

  // For any thread. True for the first failure, whose result counts.
  bool Fail(AERROR result);
  bool failed() const { return failed_; }

  // Does it on up to `count` threads, once. The calling thread writes their lines to the host's
  // log, last those of the thread that failed first, and calls `meanwhile` every tenth of a second
  // and at the end. SUCCESS, or the first failure.
  AERROR Run(int count, const Job& job, const std::function<void()>& meanwhile);

 private:
  struct Worker {
    LogRelay log;
    bool failed_first = false;
    std::thread thread;
  };
  class Joined;

  void Start(int count, const Job& job);
  void Work(int number, Worker& worker, const Job& job) noexcept;
  // Waits until nobody is left, but no longer than so; whether nobody is.
  bool WaitForAll(std::chrono::milliseconds time);
  void Come();
  void Go();

  std::deque<Worker> workers_;
  std::atomic<bool> failed_ = false;
  base::Mutex mutex_;
  base::Condition gone_;
  int present_ B2_GUARDED_BY(mutex_) = 0;
  AERROR result_ B2_GUARDED_BY(mutex_) = AERROR::SUCCESS;
};
