#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <thread>

namespace b2drive {

// Runs `action` if the program has to end at once because of a signal; otherwise does nothing.
// Leaving the scope takes the action back. Thread-safe.
class InterruptCleanup {
 public:
  explicit InterruptCleanup(std::function<void()> action);
  ~InterruptCleanup();
  InterruptCleanup(const InterruptCleanup&) = delete;
  InterruptCleanup& operator=(const InterruptCleanup&) = delete;

 private:
  std::list<std::function<void()>>::iterator position_;
};

// Gives the signals another meaning while it lives: `action` is called for each, with the number of
// signals so far, on the thread that waits for them. One at a time.
class InterruptTakeover {
 public:
  explicit InterruptTakeover(std::function<void(int)> action);
  ~InterruptTakeover();
  InterruptTakeover(const InterruptTakeover&) = delete;
  InterruptTakeover& operator=(const InterruptTakeover&) = delete;
};

// Turns SIGINT, SIGTERM and SIGHUP into cancellation. The first one calls `cancel`, which ends what
// runs; when it says that nothing did, with a second signal, or when the program goes on for more
// than a moment (a stalled transfer notices nothing), the cleanups run and the program ends with
// exit code 130. To be made before any other thread, since it blocks the signals in the calling
// thread and so in those made later.
class Interrupt {
 public:
  explicit Interrupt(std::function<bool()> cancel);
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

 private:
  void Watch();

  const std::function<bool()> cancel_;
  std::atomic<bool> ending_{false};
  std::thread watcher_;
};

}  // namespace b2drive
