#include "emulator/ranges.h"

#include <algorithm>

#include "base/numbers.h"
#include "emulator/errors.h"

namespace emulator {
namespace {

ServiceError NotSatisfiable() {
  return ServiceError(416, "range_not_satisfiable",
                      "The Range in the request is outside the size of the file");
}

}  // namespace

std::optional<ByteRange> ParseRange(std::string_view text, uint64_t size) {
  constexpr std::string_view kUnit = "bytes=";
  const size_t dash = text.find('-');
  if (!text.starts_with(kUnit) || dash == std::string_view::npos) return std::nullopt;
  const std::string_view first_text = text.substr(kUnit.size(), dash - kUnit.size());
  const std::string_view last_text = text.substr(dash + 1);
  const auto first = base::ParseNumber<uint64_t>(first_text);
  const auto last = base::ParseNumber<uint64_t>(last_text);
  if (first_text.empty() && last) {
    if (size == 0 || *last == 0) throw NotSatisfiable();
    const uint64_t length = std::min(*last, size);
    return ByteRange{size - length, length};
  }
  if (!first || (!last && !last_text.empty()) || (last && *last < *first)) return std::nullopt;
  if (*first >= size) throw NotSatisfiable();
  const uint64_t end = last ? std::min(*last, size - 1) : size - 1;
  return ByteRange{*first, end - *first + 1};
}

}  // namespace emulator
