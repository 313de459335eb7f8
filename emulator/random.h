#pragma once

#include <cstddef>
#include <string>

namespace emulator {

// `digits` random hex digits, for IDs and tokens.
std::string RandomHex(size_t digits);

}  // namespace emulator
