#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace emulator {

struct ByteRange {
  uint64_t first = 0;
  uint64_t length = 0;
};

// What `bytes=a-b`, `bytes=a-` or `bytes=-n` means for `size` bytes, clipped at the end. None when
// the text is no such range; throws 416 when it begins at or beyond the end.
std::optional<ByteRange> ParseRange(std::string_view text, uint64_t size);

}  // namespace emulator
