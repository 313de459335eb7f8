#pragma once

#include <cstdint>
#include <optional>

#include "emulator/message.h"

namespace emulator {

// An answer and what is to go wrong while it is sent.
struct PlannedAnswer {
  Answer answer = {};
  bool silent = false;                     // send nothing
  std::optional<uint64_t> cut_after = {};  // close after this many bytes of the body
  bool stall = false;                      // hold the connection where it would be closed
  uint64_t drip = 0;                       // bytes of the body per second; 0: no limit
};

}  // namespace emulator
