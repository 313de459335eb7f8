#include "emulator/url.h"

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <iterator>
#include <optional>

#include "base/encodings.h"
#include "base/utf8.h"
#include "emulator/base64.h"
#include "emulator/errors.h"
#include "emulator/names.h"

namespace emulator {
namespace {

constexpr std::string_view kPlain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-/~!$'()*;=:@";

}  // namespace

std::string PercentEncode(std::string_view text) {
  std::string encoded;
  for (const char c : text) {
    if (kPlain.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      encoded += '%';
      boost::algorithm::hex(&c, &c + 1, std::back_inserter(encoded));
    }
  }
  return encoded;
}

std::string PercentDecode(std::string_view text) {
  std::string spaced(text);
  std::replace(spaced.begin(), spaced.end(), '+', ' ');
  std::optional<std::string> decoded = base::PercentDecode(spaced);
  if (!decoded) throw BadRequest("Bad percent-encoding");
  if (!base::IsUtf8(*decoded)) throw BadRequest("Not UTF8 after percent-decoding");
  return std::move(*decoded);
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
  const std::string decoded = DecodeBase64(header.substr(space + 1)).value_or("");
  const size_t colon = decoded.find(':');
  if (colon == std::string::npos) return {};
  return {decoded.substr(0, colon), decoded.substr(colon + 1)};
}

}  // namespace emulator
