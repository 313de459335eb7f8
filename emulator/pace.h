#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace emulator {

// How bytes go at a bounded rate: in steps, each followed by its rest.
struct Pace {
  // Bytes; at least 1.
  size_t Step() const { return std::clamp<uint64_t>(rate / kStepsASecond, 1, kLargestStep); }
  std::chrono::milliseconds Rest(size_t step) const {
    return std::chrono::milliseconds(step * 1000 / rate);
  }

  uint64_t rate;  // bytes a second, not 0

  static constexpr uint64_t kStepsASecond = 50;
  static constexpr uint64_t kLargestStep = uint64_t{1} << 20;
};

}  // namespace emulator
