#pragma once

#include "host/common/errors.h"
#include "host/plugin/answer.h"

namespace b2drive {

// What the failure of a call means for the caller.
enum class Remedy {
  kNone,       // the same call will fail again
  kWait,       // it may succeed later: transport, 408, 429, 5xx
  kNewSession  // the session's token is no longer accepted
};

struct Diagnosis {
  Remedy remedy = Remedy::kNone;
  int number = 0;        // errno, if nothing helps
  bool lasting = false;  // the service refuses this call at any later time, too
};

// `answer` is what the service last said on the thread that made the call.
Diagnosis Diagnose(const HostError& error, const Answer& answer);

// Why, in a few words.
std::string ReasonOf(const HostError& error, const Answer& answer);

}  // namespace b2drive
