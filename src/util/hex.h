#pragma once

#include <string>

namespace util {

// Two hexadecimal digits for each byte.
std::string UpperHex(const std::string& bytes);
std::string LowerHex(const std::string& bytes);

// The bytes of a text of digits in any case; skips what is no digit.
std::string FromHex(const std::string& text);

}  // namespace util
