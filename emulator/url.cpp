#include "emulator/url.h"

#include <openssl/evp.h>

#include <algorithm>
#include <charconv>

#include "emulator/errors.h"
#include "emulator/names.h"

namespace emulator {
namespace {

constexpr std::string_view kPlain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-/~!$'()*;=:@";

char DecodeEscape(std::string_view escape) {
  unsigned value = 0;
  const char* const end = escape.data() + escape.size();
  const auto [last, error] = std::from_chars(escape.data(), end, value, 16);
  if (escape.size() != 2 || error != std::errc{} || last != end) {
    throw BadRequest("Bad percent-encoding");
  }
  return static_cast<char>(value);
}

std::string DecodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return "";
  std::string bytes(text.size() / 4 * 3, '\0');
  const int length =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), int(text.size()));
  if (length < 0) return "";
  const auto padding = static_cast<size_t>(std::count(text.begin(), text.end(), '='));
  bytes.resize(static_cast<size_t>(length) - std::min(padding, static_cast<size_t>(length)));
  return bytes;
}

}  // namespace

std::string PercentEncode(std::string_view text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    if (kPlain.find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return encoded;
}

std::string PercentDecode(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      decoded += DecodeEscape(text.substr(i + 1, 2));
      i += 2;
    } else {
      decoded += text[i] == '+' ? ' ' : text[i];
    }
  }
  if (!IsUtf8(decoded)) throw BadRequest("Not UTF8 after percent-decoding");
  return decoded;
}

Pairs ParseQuery(std::string_view query) {
  Pairs pairs;
  while (!query.empty()) {
    const std::string_view pair = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(pair.size() + 1, query.size()));
    if (pair.empty()) continue;
    const size_t equals = std::min(pair.find('='), pair.size());
    const std::string_view value = pair.substr(std::min(equals + 1, pair.size()));
    pairs.emplace_back(PercentDecode(pair.substr(0, equals)), PercentDecode(value));
  }
  return pairs;
}

std::string ValueOf(const Pairs& pairs, std::string_view name) {
  for (const auto& [key, value] : pairs) {
    if (key == name) return value;
  }
  return "";
}

std::pair<std::string, std::string> ParseBasic(std::string_view header) {
  const size_t space = header.find(' ');
  if (space == std::string_view::npos || ToLower(header.substr(0, space)) != "basic") return {};
  const std::string decoded = DecodeBase64(header.substr(space + 1));
  const size_t colon = decoded.find(':');
  if (colon == std::string::npos) return {};
  return {decoded.substr(0, colon), decoded.substr(colon + 1)};
}

}  // namespace emulator
