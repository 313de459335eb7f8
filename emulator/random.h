#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace emulator {

/// Lower-case hex digits of `bytes`.
std::string Hex(std::string_view bytes);

/// `digits` random hex digits, for IDs and tokens.
std::string RandomHex(size_t digits);

}  // namespace emulator
