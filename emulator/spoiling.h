#pragma once

#include "emulator/fault_plan.h"
#include "emulator/message.h"

namespace emulator {

// Changes an answer that the service really gave, as the fault's `repeat_cursor` and `replace` say.
void Spoil(const Fault& fault, const Incoming& incoming, Answer& answer);

}  // namespace emulator
