// s2ws and ws2s.
#include <algorithm>
#include <array>
#include <string_view>

#include "util/strings.h"

static_assert(sizeof(wchar_t) == 4, "one wide character holds one code point");

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// The shapes of a sequence: lead bytes (lead & mask) == tag start sequences of `length` bytes,
// whose code points are not below `lowest` (a shorter sequence would do for those).
struct Shape {
  unsigned char mask;
  unsigned char tag;
  std::size_t length;
  char32_t lowest;
};
constexpr std::array<Shape, 4> kShapes = {{
    {0x80, 0x00, 1, 0x0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
}};

bool IsCodePoint(char32_t code) {
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code <= 0x10FFFF && !surrogate;
}

// Takes the first code point off `rest`, or one byte when no well-formed sequence starts there.
char32_t TakeCodePoint(std::string_view& rest) {
  const auto lead = static_cast<unsigned char>(rest.front());
  const auto* shape = std::find_if(kShapes.begin(), kShapes.end(),
                                   [&](const Shape& s) { return (lead & s.mask) == s.tag; });
  if (shape != kShapes.end() && shape->length <= rest.size()) {
    char32_t code = lead & static_cast<unsigned char>(~shape->mask);
    std::size_t used = 1;
    while (used < shape->length && (rest[used] & 0xC0) == 0x80) {
      code = code << 6 | (rest[used++] & 0x3F);
    }
    if (used == shape->length && code >= shape->lowest && IsCodePoint(code)) {
      rest.remove_prefix(used);
      return code;
    }
  }
  rest.remove_prefix(1);
  return kReplacement;
}

void AppendCodePoint(char32_t code, std::string& text) {
  const auto append = [&](char32_t bits) { text += static_cast<char>(bits); };
  if (code < 0x80) return append(code);
  if (code < 0x800) {
    append(0xC0 | code >> 6);
  } else if (code < 0x10000) {
    append(0xE0 | code >> 12);
    append(0x80 | (code >> 6 & 0x3F));
  } else {
    append(0xF0 | code >> 18);
    append(0x80 | (code >> 12 & 0x3F));
    append(0x80 | (code >> 6 & 0x3F));
  }
  append(0x80 | (code & 0x3F));
}

}  // namespace

std::wstring s2ws(const std::string& text) {
  std::wstring wide;
  wide.reserve(text.size());
  for (std::string_view rest = text; !rest.empty();) {
    wide += static_cast<wchar_t>(TakeCodePoint(rest));
  }
  return wide;
}

std::string ws2s(const std::wstring& text) {
  std::string narrow;
  narrow.reserve(text.size());
  for (const wchar_t character : text) {
    const auto code = static_cast<char32_t>(character);
    AppendCodePoint(IsCodePoint(code) ? code : kReplacement, narrow);
  }
  return narrow;
}
