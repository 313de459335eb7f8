#include "base/encodings.h"

#include <gtest/gtest.h>

#include "base/utf8.h"

namespace base {
namespace {

// The length of each character of `text`, "-" for each byte that is no UTF-8.
std::string ShapeOf(std::string_view text) {
  std::string shape;
  while (!text.empty()) {
    const auto [bytes, code] = TakeCharacter(text);
    shape += code ? std::to_string(bytes.size()) : std::string(bytes.size(), '-');
  }
  return shape;
}

TEST(Utf8, IsReadStrictly) {
  const std::pair<std::string_view, const char*> rows[] = {
      {"", ""},
      {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "1234"},
      {"\xED\x9F\xBF\xED\xA0\x80", "3---"},           // a surrogate
      {"\xF4\x8F\xBF\xBF\xF4\x90\x80\x80", "4----"},  // above U+10FFFF
      {"\xC1\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF", "---------"},
      {"\xC3"
       "a\x80\xFF\xE2\x82",
       "-1----"}};
  for (const auto& [text, shape] : rows) {
    EXPECT_EQ(ShapeOf(text), shape);
    EXPECT_EQ(IsUtf8(text), ShapeOf(text).find('-') == std::string::npos) << shape;
  }
}

TEST(Encodings, AreUndoneUnlessTheyAreBroken) {
  const std::string bytes("\0\x7F\xAB\xFF", 4);
  EXPECT_EQ(ToHex(bytes), "007fabff");
  EXPECT_EQ(FromHex("007faBFf"), bytes);
  EXPECT_EQ(PercentDecode("%00%7fa+%25%41%c3%A9"), std::string("\0\x7F", 2) + "a+%A\xC3\xA9");
  for (const char* broken : {"%", "a%4", "%4g", "%%41", "%+1"}) {
    EXPECT_EQ(PercentDecode(broken), std::nullopt) << broken;
  }
}

}  // namespace
}  // namespace base
