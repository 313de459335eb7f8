#pragma once

#include "emulator/core.h"
#include "emulator/message.h"

namespace emulator {

// Answers a request to the control host: faults, request log, counts, files, the whole state,
// tokens, latency and link of the running emulator. Such requests are neither logged nor delayed.
Answer HandleControl(Core& core, Incoming& incoming, BodySource& body);

}  // namespace emulator
