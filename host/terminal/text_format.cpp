#include "host/terminal/text_format.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cwchar>

#include "base/encodings.h"
#include "base/utf8.h"

namespace b2drive {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Control characters, and those that show nothing but can turn, hide or break what is near them.
// Joiners stay: several scripts are written with them.
constexpr std::array kEscaped = {
    Range{0, 0x1F},        Range{0x7F, 0x9F},     Range{0xAD, 0xAD},     Range{0x61C, 0x61C},
    Range{0x180E, 0x180E}, Range{0x200B, 0x200B}, Range{0x200E, 0x200F}, Range{0x2028, 0x202E},
    Range{0x2060, 0x206F}, Range{0xFEFF, 0xFEFF}, Range{0xFFF9, 0xFFFB}, Range{0xE0000, 0xE007F},
};

bool IsShown(char32_t code) {
  return std::ranges::none_of(
      kEscaped, [&](const Range& range) { return range.first <= code && code <= range.last; });
}

int ColumnsOf(char32_t code) {
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (utf8 == nullptr) return 1;
  const locale_t before = uselocale(utf8);
  const int columns = wcwidth(static_cast<wchar_t>(code));
  uselocale(before);
  return columns < 0 ? 1 : columns;
}

}  // namespace

std::string EscapeControls(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const auto [bytes, code] = base::TakeCharacter(text);
    if (code && IsShown(*code)) {
      out += bytes;
    } else {
      for (const char byte : bytes) out += "\\x" + base::ToHex({&byte, 1});
    }
  }
  return out;
}

std::string FitColumns(std::string_view text, int width) {
  std::string out;
  while (!text.empty()) {
    const auto [bytes, code] = base::TakeCharacter(text);
    const int columns = code ? ColumnsOf(*code) : 1;
    if (columns > width) break;
    width -= columns;
    out += bytes;
  }
  return out + std::string(static_cast<std::size_t>(std::max(0, width)), ' ');
}

std::string FormatBytes(double bytes) {
  constexpr std::array kUnits = {"B", "kB", "MB", "GB", "TB", "PB"};
  std::size_t unit = 0;
  // 999.5 already prints as 1000.
  while (bytes >= 999.5 && unit + 1 < kUnits.size()) {
    bytes /= 1000;
    ++unit;
  }
  std::array<char, 32> text{};
  const char* format = unit > 0 && bytes < 9.95 ? "%.1f %s" : "%.0f %s";
  std::snprintf(text.data(), text.size(), format, bytes, kUnits[unit]);
  return text.data();
}

std::string FormatDuration(std::int64_t seconds) {
  if (seconds < 0) return "-:--";
  std::array<char, 32> text{};
  auto hours = static_cast<long long>(seconds / 3600);
  auto minutes = static_cast<int>(seconds / 60 % 60);
  auto rest = static_cast<int>(seconds % 60);
  if (hours > 0) {
    std::snprintf(text.data(), text.size(), "%lld:%02d:%02d", hours, minutes, rest);
  } else {
    std::snprintf(text.data(), text.size(), "%d:%02d", minutes, rest);
  }
  return text.data();
}

}  // namespace b2drive
