#pragma once

#include <optional>
#include <string_view>

namespace base {

// A character of UTF-8, or a byte that begins none.
struct Character {
  std::string_view bytes;
  std::optional<char32_t> code;  // none: the byte is no UTF-8
};

// Takes the first character off `text`, which must not be empty. Overlong forms, surrogates and
// what lies above U+10FFFF are no UTF-8.
Character TakeCharacter(std::string_view& text);

bool IsUtf8(std::string_view text);

}  // namespace base
