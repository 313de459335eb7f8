#pragma once

#include <string>
#include <string_view>

namespace emulator {

// The content type that the service stores: for "b2/x-auto" the one of the name's extension, else
// `wanted` as it is.
std::string ResolveContentType(std::string_view wanted, std::string_view file_name);

inline constexpr std::string_view kHideMarkerType = "application/x-bz-hide-marker";

}  // namespace emulator
