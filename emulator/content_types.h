#pragma once

#include <string>
#include <string_view>

namespace emulator {

// What the service stores for the content type `wanted` of a file: "b2/x-auto" is chosen from the
// name's extension, anything else stays.
std::string ResolveContentType(std::string_view wanted, std::string_view file_name);

inline constexpr std::string_view kHideMarkerType = "application/x-bz-hide-marker";

}  // namespace emulator
