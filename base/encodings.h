#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace base {

// Two lower-case hexadecimal digits for each byte.
std::string ToHex(std::string_view bytes);

// The bytes that hexadecimal digits of either case stand for; none for any other text.
std::optional<std::string> FromHex(std::string_view digits);

// `text` with each %XX replaced by its byte; none when two hexadecimal digits do not follow a "%".
std::optional<std::string> PercentDecode(std::string_view text);

}  // namespace base
