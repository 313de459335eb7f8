#include "base/utf8.h"

#include <boost/locale/utf.hpp>
#include <cstddef>

namespace base {

Character TakeCharacter(std::string_view& text) {
  namespace utf = boost::locale::utf;
  const char* end = text.data();
  const utf::code_point code = utf::utf_traits<char>::decode(end, text.data() + text.size());
  const bool decoded = utf::is_valid_codepoint(code);
  const std::size_t length = decoded ? static_cast<std::size_t>(end - text.data()) : 1;
  const std::string_view bytes = text.substr(0, length);
  text.remove_prefix(length);
  return {bytes, decoded ? std::optional<char32_t>(code) : std::nullopt};
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    if (!TakeCharacter(text).code) return false;
  }
  return true;
}

}  // namespace base
