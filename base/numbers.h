#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>
#include <system_error>

namespace base {

// The number that the whole of `text` writes in digits of `radix`, perhaps with a "-" in front when
// Number is signed. None for any other text, and for what does not fit into a Number.
template <std::integral Number>
std::optional<Number> ParseNumber(std::string_view text, int radix = 10) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number, radix);
  if (error != std::errc() || last != end) return std::nullopt;
  return number;
}

}  // namespace base
