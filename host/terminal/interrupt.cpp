#include "host/terminal/interrupt.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "host/common/errors.h"
#include "host/common/thread_safety.h"
#include "host/terminal/report.h"

namespace b2drive {
namespace {

constexpr int kWakeUp = SIGUSR1;  // ends the watcher

struct Cleanups {
  Mutex mutex;
  std::list<std::function<void()>> actions B2_GUARDED_BY(mutex);
};

Cleanups& AllCleanups() {
  static Cleanups cleanups;
  return cleanups;
}

struct Takeover {
  Mutex mutex;
  std::function<void(int)> action B2_GUARDED_BY(mutex);
  int signals B2_GUARDED_BY(mutex) = 0;
};

Takeover& TheTakeover() {
  static Takeover takeover;
  return takeover;
}

// False when the signals have their usual meaning.
bool RunTakeover() {
  Takeover& takeover = TheTakeover();
  Lock lock(takeover.mutex);
  if (!takeover.action) return false;
  takeover.action(++takeover.signals);
  return true;
}

// Without those that the program was started to ignore, as nohup does.
sigset_t WatchedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
  }
  return signals;
}

[[noreturn]] void EndAtOnce() {
  Cleanups& cleanups = AllCleanups();
  Lock lock(cleanups.mutex);
  for (auto& action : cleanups.actions) action();
  Report("", {ExitCode::kInterrupted, "interrupted"});
  _exit(static_cast<int>(ExitCode::kInterrupted));
}

// The next of `signals`; with `canceled` only for a while, then 0.
int NextSignal(const sigset_t& signals, bool canceled) {
  constexpr timespec kGrace{1, 500'000'000};
  for (;;) {
    int signal =
        canceled ? sigtimedwait(&signals, nullptr, &kGrace) : sigwaitinfo(&signals, nullptr);
    if (signal > 0) return signal;
    if (errno == EAGAIN) return 0;
  }
}

}  // namespace

InterruptCleanup::InterruptCleanup(std::function<void()> action) {
  Cleanups& cleanups = AllCleanups();
  Lock lock(cleanups.mutex);
  position_ = cleanups.actions.insert(cleanups.actions.end(), std::move(action));
}

InterruptCleanup::~InterruptCleanup() {
  Cleanups& cleanups = AllCleanups();
  Lock lock(cleanups.mutex);
  cleanups.actions.erase(position_);
}

InterruptTakeover::InterruptTakeover(std::function<void(int)> action) {
  Takeover& takeover = TheTakeover();
  Lock lock(takeover.mutex);
  takeover.action = std::move(action);
}

InterruptTakeover::~InterruptTakeover() {
  Takeover& takeover = TheTakeover();
  Lock lock(takeover.mutex);
  takeover.action = {};
}

Interrupt::Interrupt(std::function<bool()> cancel) : cancel_(std::move(cancel)) {
  sigset_t signals = WatchedSignals();
  sigaddset(&signals, kWakeUp);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  watcher_ = std::thread([this] { Watch(); });
}

Interrupt::~Interrupt() {
  ending_ = true;
  pthread_kill(watcher_.native_handle(), kWakeUp);
  watcher_.join();
}

void Interrupt::Watch() {
  sigset_t signals = WatchedSignals();
  sigaddset(&signals, kWakeUp);
  for (bool canceled = false;;) {
    int signal = NextSignal(signals, canceled);
    if (ending_) return;
    if (signal == kWakeUp || RunTakeover()) continue;
    if (canceled || !cancel_()) EndAtOnce();
    canceled = true;
    Note("", "canceling; once more to stop at once");
  }
}

}  // namespace b2drive
