#pragma once

namespace b2drive {

// Thrown where an operation would have to wait for the service or for long local work, on a thread
// that must not: the operation is then run again, from its start, on one that may.
struct WouldWait {};

// To be called before such a wait, and before anything is changed. Throws WouldWait inside of
// NoWaiting, and does nothing elsewhere.
void AboutToWait();

// Thrown behind a wait during which names may have got another meaning: the operation is then run
// again, from its start.
struct NamesChanged {};

// To be called behind such a wait, before anything is changed. Throws NamesChanged inside of
// RunningAgain, and does nothing elsewhere.
void WaitedForNames();

// The calling thread runs operations again while the object lives.
class RunningAgain {
 public:
  RunningAgain();
  ~RunningAgain();
  RunningAgain(const RunningAgain&) = delete;
  RunningAgain& operator=(const RunningAgain&) = delete;
};

// The calling thread must not wait while the object lives.
class NoWaiting {
 public:
  NoWaiting();
  ~NoWaiting();
  NoWaiting(const NoWaiting&) = delete;
  NoWaiting& operator=(const NoWaiting&) = delete;
};

}  // namespace b2drive
