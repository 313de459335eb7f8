#include "host/common/byte_count.h"

#include <charconv>
#include <limits>

namespace b2drive {
namespace {

// 0 for what is no unit.
std::uint64_t UnitOf(std::string_view text) {
  constexpr std::string_view kLetters = "KMGTPE";
  if (text.empty()) return 1;
  if (text == "b") return 512;
  const std::size_t power = kLetters.find(text.front() == 'k' ? 'K' : text.front());
  const std::string_view rest = text.substr(1);
  if (power == kLetters.npos || (!rest.empty() && rest != "B" && rest != "iB")) return 0;
  const std::uint64_t base = rest == "B" ? 1000 : 1024;
  std::uint64_t unit = base;
  for (std::size_t i = 0; i < power; ++i) unit *= base;
  return unit;
}

}  // namespace

std::optional<std::uint64_t> ParseByteCount(std::string_view text) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  std::uint64_t count = 0;
  const char* const end = text.data() + text.size();
  const auto number = std::from_chars(text.data(), end, count);
  if (number.ec != std::errc()) return std::nullopt;
  const std::uint64_t unit = UnitOf({number.ptr, end});
  if (unit == 0 || count > kMost / unit) return std::nullopt;
  return count * unit;
}

}  // namespace b2drive
