#include "util/url_encode.h"

namespace {

bool IsUnreserved(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

}  // namespace

std::string URLEncode(const char* text, bool encode_slash) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char* c = text; c != nullptr && *c != '\0'; ++c) {
    if (IsUnreserved(*c) || (*c == '/' && !encode_slash)) {
      encoded += *c;
    } else {
      const auto byte = static_cast<unsigned char>(*c);
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return encoded;
}
