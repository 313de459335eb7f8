#include "host/text_format.h"

#include <array>
#include <cstdio>

namespace b2drive {
namespace {

bool IsTwoByteControl(std::string_view text, std::size_t at) {
  if (text[at] != '\xC2' || at + 1 == text.size()) return false;
  auto second = static_cast<unsigned char>(text[at + 1]);
  return second >= 0x80 && second <= 0x9F;
}

void AppendEscape(std::string& out, char byte) {
  constexpr char kDigits[] = "0123456789abcdef";
  auto value = static_cast<unsigned char>(byte);
  out += {'\\', 'x', kDigits[value >> 4], kDigits[value & 15]};
}

}  // namespace

std::string EscapeControls(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto value = static_cast<unsigned char>(text[i]);
    if (value < 0x20 || value == 0x7F) {
      AppendEscape(out, text[i]);
    } else if (IsTwoByteControl(text, i)) {
      AppendEscape(out, text[i]);
      AppendEscape(out, text[++i]);
    } else {
      out += text[i];
    }
  }
  return out;
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
