#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace emulator {

std::string EncodeBase64(std::string_view bytes);

// None for what is not Base64 with its padding.
std::optional<std::string> DecodeBase64(std::string_view text);

}  // namespace emulator
