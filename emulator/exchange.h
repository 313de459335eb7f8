#pragma once

#include "emulator/core.h"
#include "emulator/message.h"
#include "emulator/planned_answer.h"
#include "emulator/stream.h"

namespace emulator {

// Takes a routed request through the hook, the latency, the faults and the service. Throws Aborted
// when the client is gone.
PlannedAnswer Exchange(Core& core, Stream& stream, Incoming& incoming, BodySource& body);

}  // namespace emulator
