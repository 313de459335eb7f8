#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "util/compression.h"
#include "util/mime_types.h"
#include "util/strings.h"
#include "util/url_encode.h"
#include "util/wildcard.h"

using ::testing::ElementsAre;

TEST(TextsTest, AreFormattedSplitJoinedReplacedAndTrimmed) {
  EXPECT_EQ(string_format("[%*d]", 100000, 1).size(), 100002U);
  EXPECT_THAT(split(std::string("/a//b"), std::regex("/")), ElementsAre("", "a", "", "b"));
  EXPECT_THAT(split(std::wstring(L"a1b22c"), std::wregex(L"\\d+")), ElementsAre(L"a", L"b", L"c"));
  EXPECT_THAT(split_delim(",,a,,b,", ","), ElementsAre("a", "b"));
  EXPECT_THAT(split_delim(L"a;b,c", L",;"), ElementsAre(L"a", L"b", L"c"));
  EXPECT_THAT(split_delim("a,b", ""), ElementsAre("a,b"));
  EXPECT_EQ(join({"", "a", ""}, ", "), ", a, ");
  std::string text = "aaa";
  replace_all(text, "a", "aa");  // does not scan what it inserted
  replace_all(text, "", "x");
  EXPECT_EQ(text, "aaaaaa");
  std::string spaces = " \v\f ", padded = "\xC2\xA0\t a b\r\n";
  EXPECT_EQ(trim(spaces) + trim(padded), "\xC2\xA0\t a b");
  EXPECT_TRUE(ends_with("abc", "bc") && ends_with("abc", "") && !ends_with("abc", "abcd"));
}

TEST(TextsTest, WideOnesHoldCodePointsAndReplacements) {
  const std::wstring wide = L"\x7F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF";
  EXPECT_EQ(s2ws(ws2s(wide)), wide);
  EXPECT_EQ(ws2s(L"\u00E4\u20AC\U0001F600"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  // Stray, cut short, in too long a form, a surrogate, too large.
  for (const std::string bad :
       {"\x80", "\xE2\x82", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_EQ(s2ws(bad + "x"), std::wstring(bad.size(), L'\uFFFD') + L"x");
  }
  EXPECT_EQ(ws2s({wchar_t(0xD800), wchar_t(0x110000)}), "\uFFFD\uFFFD");
}

TEST(TextsTest, UrlsEncodeAllButUnreservedAndTypesFollowFromTheLastExtension) {
  EXPECT_EQ(URLEncode("AZaz09-._~/", false), "AZaz09-._~/");
  EXPECT_EQ(URLEncode("%+@[`{\x01\x7F\xC3\xBF", true), "%25%2B%40%5B%60%7B%01%7F%C3%BF");
  EXPECT_EQ(URLEncode(nullptr, true), "");
  EXPECT_EQ(get_ext_from_filename("photo.JPG") + get_ext_from_filename("README"), "JPGREADME");
  EXPECT_EQ(get_mime_type_from_ext("a.tar.gz"), "application/gzip");
  EXPECT_EQ(get_mime_type_from_ext("ends."), "application/octet-stream");
  EXPECT_EQ(ext_dict.size(), 559U);
}

TEST(TextsTest, CompressedOnesComeBackAndDamageGivesNothing) {
  std::minstd_rand random(1);
  for (const std::size_t size : {0U, 32768U, 1U << 20}) {
    std::string bytes(size, 'a');  // The half that stays so shrinks, the other half does not.
    for (std::size_t i = 0; i < size / 2; ++i) bytes[i] = static_cast<char>(random());
    for (const int level : {-1, 0, 9}) {
      const std::string hex = compress_string(bytes.data(), size, level);
      EXPECT_TRUE(decompress_string("\n" + hex + "\r\n") == bytes) << size << " at " << level;
      for (const auto& damaged : {hex.substr(1), hex.substr(0, hex.size() - 2), "FF" + hex}) {
        EXPECT_EQ(decompress_string(damaged), "");
      }
    }
  }
  EXPECT_EQ(compress_string("", 0, -1), "030000000001");
  EXPECT_EQ(compress_string("a", 1, 10), "");
}

TEST(TextsTest, WildcardsMatchNames) {
  const std::tuple<const char*, const char*, bool> rows[] = {
      {"", "", true},        {"*", "", true},        {"*.*", "ab", false},   {"a*b", "axbb", true},
      {"a?b", "ab", false},  {"a?", "a.", true},     {"<.b", "a.b.b", true}, {"a<", "a.a.b", false},
      {"<b", "a.b", false},  {"a>>", "a", false},    {"a>b", "a.b", false},  {"a>.b", "a.b", true},
      {"a\"b", "a.b", true}, {"a\"\"b", "ab", true}, {"a\"b", "axb", false}, {"A*", "abc", false},
      {"a<b", "aab", true},
  };
  for (const auto& [expression, name, matches] : rows) {
    EXPECT_EQ(IsNameInExpressionA(expression, name, false), matches) << expression << " " << name;
  }
  EXPECT_TRUE(IsNameInExpression(L"A*\u00C4", L"abc\u00C4", true));
  std::string expression = "b";  // exponential, if each star were tried at each position
  for (int i = 0; i < 40; ++i) expression.insert(0, "*a");
  EXPECT_FALSE(IsNameInExpressionA(expression.c_str(), std::string(10000, 'a').c_str(), true));
}
