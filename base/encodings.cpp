#include "base/encodings.h"

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <cstddef>
#include <iterator>

namespace base {

std::string ToHex(std::string_view bytes) {
  std::string digits;
  digits.reserve(2 * bytes.size());
  boost::algorithm::hex_lower(bytes.begin(), bytes.end(), std::back_inserter(digits));
  return digits;
}

std::optional<std::string> FromHex(std::string_view digits) {
  std::string bytes;
  bytes.reserve(digits.size() / 2);
  try {
    boost::algorithm::unhex(digits.begin(), digits.end(), std::back_inserter(bytes));
  } catch (const boost::algorithm::hex_decode_error&) {
    return std::nullopt;
  }
  return bytes;
}

std::optional<std::string> PercentDecode(std::string_view text) {
  std::string decoded;
  while (!text.empty()) {
    const std::size_t plain = std::min(text.find('%'), text.size());
    decoded += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) break;
    const std::optional<std::string> byte = FromHex(text.substr(1, 2));
    if (!byte || byte->empty()) return std::nullopt;
    decoded += *byte;
    text.remove_prefix(3);
  }
  return decoded;
}

}  // namespace base
