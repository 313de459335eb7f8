#include "host/common/waiting.h"

namespace b2drive {
namespace {

thread_local bool must_not_wait = false;
thread_local bool runs_again = false;

}  // namespace

void AboutToWait() {
  if (must_not_wait) throw WouldWait{};
}

void WaitedForNames() {
  if (runs_again) throw NamesChanged{};
}

RunningAgain::RunningAgain() { runs_again = true; }

RunningAgain::~RunningAgain() { runs_again = false; }

NoWaiting::NoWaiting() { must_not_wait = true; }

NoWaiting::~NoWaiting() { must_not_wait = false; }

}  // namespace b2drive
