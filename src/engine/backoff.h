#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <utility>

#include "protocol/aerror.h"

// Whether what goes on is to be given up; asked often, and from any thread.
using Stop = std::function<bool()>;

// Waits on the calling thread. False as soon as `stop` says so.
bool WaitUnless(const Stop& stop, std::chrono::seconds time);

// Which HTTP statuses ask a call to wait and try again, and how often it may. One object per call;
// waits that were made are never given back.
class IBackoff {
 public:
  virtual bool IsBackoffCode(int code) = 0;
  virtual bool IsAvaliable() = 0;
  virtual int GetLeft() = 0;
  // Waits on the calling thread. RETRY: try again; anything else: give up.
  virtual AERROR Backoff() = 0;
  virtual ~IBackoff() = default;
};

// Waits 1, 2, 4, ... seconds.
class ExponentialBackoff : public IBackoff {
 public:
  ExponentialBackoff() : ExponentialBackoff({429}, kFewest) {}
  // `count` waits, held between 5 and 16.
  ExponentialBackoff(std::deque<int> codes, int count);

  bool IsBackoffCode(int code) override;
  bool IsAvaliable() override { return left_ > 0; }
  int GetLeft() override { return left_; }
  AERROR Backoff() override;

 protected:
  // How long to wait this time. Counts as a wait made.
  std::chrono::seconds NextWait();

 private:
  static constexpr int kFewest = 5;
  static constexpr int kMost = 16;

  std::deque<int> codes_;
  int count_;
  int left_;
};

// The same, given up when `stop` says so.
class StoppableBackoff : public ExponentialBackoff {
 public:
  explicit StoppableBackoff(Stop stop) : stop_(std::move(stop)) {}
  AERROR Backoff() override;

 private:
  const Stop stop_;
};

class NoBackoff : public IBackoff {
 public:
  bool IsBackoffCode(int) override { return false; }
  bool IsAvaliable() override { return false; }
  int GetLeft() override { return 0; }
  AERROR Backoff() override { return AERROR::FAILED; }
};
