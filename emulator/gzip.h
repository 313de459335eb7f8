#pragma once

#include <cstdint>

#include "emulator/content.h"

namespace emulator {

// What gzip makes of "{", blanks and "}", together `size` (at least 2) bytes. It is about a
// thousandth of that, and takes 32 bytes of memory for each MiB of `size`.
ContentPtr GzipOfBlanks(uint64_t size);

}  // namespace emulator
