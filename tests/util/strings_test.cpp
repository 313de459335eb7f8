#include "util/strings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;

TEST(StringsTest, FormatsBeyondAnyFixedBuffer) {
  EXPECT_EQ(string_format("%s=%03d%%", "key", 7), "key=007%");
  EXPECT_EQ(string_format("[%*d]", 100000, 1).size(), 100002U);
}

TEST(StringsTest, SplitKeepsEmptyPiecesAndSplitDelimDropsThem) {
  EXPECT_THAT(split(std::string("/a//b"), std::regex("/")), ElementsAre("", "a", "", "b"));
  EXPECT_THAT(split(std::wstring(L"a1b22c"), std::wregex(L"\\d+")), ElementsAre(L"a", L"b", L"c"));
  EXPECT_THAT(split_delim(",,a,,b,", ","), ElementsAre("a", "b"));
  EXPECT_THAT(split_delim(L"a;b,c", L",;"), ElementsAre(L"a", L"b", L"c"));
  EXPECT_THAT(split_delim("a,b", ""), ElementsAre("a,b"));
  EXPECT_THAT(split_delim("", ""), ElementsAre());
  EXPECT_EQ(join({"", "a", ""}, ", "), ", a, ");
}

TEST(StringsTest, ReplaceAllDoesNotScanWhatItInserted) {
  std::string text = "aaa";
  replace_all(text, "a", "aa");
  EXPECT_EQ(text, "aaaaaa");
  replace_all(text, "", "x");
  EXPECT_EQ(text, "aaaaaa");
}

TEST(StringsTest, EndsAreFoundByteByByte) {
  std::string spaces = " \v\f ", text = "\xC2\xA0\t a b\r\n";
  EXPECT_EQ(trim(spaces), "");
  EXPECT_EQ(&trim(text), &text);
  EXPECT_EQ(text, "\xC2\xA0\t a b");
  EXPECT_TRUE(ends_with("abc", "bc") && ends_with("abc", ""));
  EXPECT_FALSE(ends_with("abc", "abcd") || ends_with("abc", "ab"));
}

TEST(StringsTest, WideTextsHoldCodePointsAndReplacements) {
  for (const std::wstring wide : {L"\x7F\u0080\u07FF\u0800\uFFFF", L"\U00010000\U0010FFFF"}) {
    EXPECT_EQ(s2ws(ws2s(wide)), wide);
  }
  EXPECT_EQ(ws2s(L"\u00E4\u20AC\U0001F600"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  // Stray, cut short, in too long a form, a surrogate, too large.
  for (const std::string bad :
       {"\x80", "\xE2\x82", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_EQ(s2ws(bad + "x"), std::wstring(bad.size(), L'\uFFFD') + L"x");
  }
  EXPECT_EQ(ws2s({wchar_t(0xD800), wchar_t(0x110000)}), "\uFFFD\uFFFD");
}
