#include "host/common/waiting.h"

namespace b2drive {
namespace {

thread_local bool must_not_wait = false;

}  // namespace

void AboutToWait() {
  if (must_not_wait) throw WouldWait{};
}

NoWaiting::NoWaiting() { must_not_wait = true; }

NoWaiting::~NoWaiting() { must_not_wait = false; }

}  // namespace b2drive
