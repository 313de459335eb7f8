#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace b2drive {

// "100", "10K", "10KiB" (1024), "10KB" (1000), and so on with M, G, T, P and E; "b" is 512 bytes.
// None for anything else and for more than INT64_MAX bytes.
std::optional<std::uint64_t> ParseByteCount(std::string_view text);

}  // namespace b2drive
