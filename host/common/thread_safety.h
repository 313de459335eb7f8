#pragma once

#include "base/thread_safety.h"

namespace b2drive {

using base::Condition;
using base::Lock;
using base::LockBoth;
using base::Mutex;

}  // namespace b2drive
