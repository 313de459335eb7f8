#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "util/compression.h"
#include "util/mime_types.h"
#include "util/strings.h"
#include "util/url_encode.h"

using ::testing::ElementsAre;

TEST(TextsTest, AreFormattedSplitJoinedReplacedAndTrimmed) {
  EXPECT_EQ(string_format("%s=%03d%%", "key", 7), "key=007%");
  EXPECT_EQ(string_format("[%*d]", 100000, 1).size(), 100002U);
  EXPECT_THAT(split(std::string("/a//b"), std::regex("/")), ElementsAre("", "a", "", "b"));
  EXPECT_THAT(split(std::wstring(L"a1b22c"), std::wregex(L"\\d+")), ElementsAre(L"a", L"b", L"c"));
  EXPECT_THAT(split_delim(",,a,,b,", ","), ElementsAre("a", "b"));
  EXPECT_THAT(split_delim(L"a;b,c", L",;"), ElementsAre(L"a", L"b", L"c"));
  EXPECT_THAT(split_delim("a,b", ""), ElementsAre("a,b"));
  EXPECT_THAT(split_delim("", ""), ElementsAre());
  EXPECT_EQ(join({"", "a", ""}, ", "), ", a, ");
  std::string text = "aaa";
  replace_all(text, "a", "aa");  // does not scan what it inserted
  replace_all(text, "", "x");
  EXPECT_EQ(text, "aaaaaa");
  std::string spaces = " \v\f ", padded = "\xC2\xA0\t a b\r\n";
  EXPECT_EQ(trim(spaces), "");
  EXPECT_EQ(&trim(padded), &padded);
  EXPECT_EQ(padded, "\xC2\xA0\t a b");
  EXPECT_TRUE(ends_with("abc", "bc") && ends_with("abc", ""));
  EXPECT_FALSE(ends_with("abc", "abcd") || ends_with("abc", "ab"));
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

TEST(TextsTest, UrlsEncodeAllButUnreserved) {
  EXPECT_EQ(URLEncode("AZaz09-._~/", false), "AZaz09-._~/");
  EXPECT_EQ(URLEncode("%+@[`{\x01\x7F\xC3\xBF", true), "%25%2B%40%5B%60%7B%01%7F%C3%BF");
  EXPECT_EQ(URLEncode(nullptr, true), "");
}

TEST(TextsTest, ATypeFollowsFromTheLastExtension) {
  EXPECT_EQ(get_ext_from_filename("photo.JPG") + get_ext_from_filename("README"), "JPGREADME");
  EXPECT_EQ(get_mime_type_from_ext("a.tar.gz"), "application/gzip");
  EXPECT_EQ(get_mime_type_from_ext("pdf"), "application/pdf");
  for (const char* name : {"README", "ends.", ""}) {
    EXPECT_EQ(get_mime_type_from_ext(name), "application/octet-stream") << name;
  }
  EXPECT_EQ(ext_dict.size(), 559U);
}

TEST(TextsTest, CompressedOnesComeBackAndDamageGivesNothing) {
  std::minstd_rand random(1);
  for (const std::size_t size : {0U, 1U, 32768U, 5U << 20}) {
    std::string bytes(size, 'a');  // The half that stays so shrinks, the other half does not.
    for (std::size_t i = 0; i < size / 2; ++i) bytes[i] = static_cast<char>(random());
    for (int level = -1; level <= 9; level += size > 100000 ? 5 : 1) {
      const std::string hex = compress_string(bytes.data(), size, level);
      EXPECT_TRUE(decompress_string("\n" + hex + "\r\n") == bytes)
          << size << " bytes at level " << level;
      for (const std::string& damaged :
           {hex.substr(1), hex.substr(0, hex.size() - 2), "FF" + hex}) {
        EXPECT_EQ(decompress_string(damaged), "");
      }
    }
  }
  EXPECT_EQ(compress_string("", 0, -1), "030000000001");
  EXPECT_EQ(compress_string("a", 1, 10), "");
}
