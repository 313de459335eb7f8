#pragma once

#include "emulator/core.h"
#include "emulator/stream.h"

namespace emulator {

// Serves one connection until it ends: TLS from the start, or as an HTTP proxy (CONNECT, or
// absolute targets), or plain HTTP. Does not throw.
void ServeConnection(Core& core, Stream& stream);

}  // namespace emulator
