#include <gmock/gmock.h>

#include <climits>
#include <cstdlib>
#include <random>

#include "util/compression.h"
#include "util/json_object.h"
#include "util/mime_types.h"
#include "util/strings.h"
#include "util/time_format.h"
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

constexpr const char* kMiddleEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

static void SetZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

TEST(TimesTest, RecordAreUtcInEveryZone) {
  SetZone(kMiddleEurope);
  EXPECT_EQ(TimeToRFC3339(951782400), "2000-02-29T00:00:00.000Z");
  EXPECT_EQ(TimeToRFC3339(-1), "1969-12-31T23:59:59.000Z");
  EXPECT_EQ(TimeToRFC3339(LONG_MAX), "292277026596-12-04T15:30:07.000Z");
  EXPECT_EQ(TimeToRFC3339(LONG_MIN), "-292277022657-01-27T08:29:52.000Z");
  tm local{};
  local.tm_year = 115;
  local.tm_mday = 32;
  EXPECT_EQ(TMToUTCRFC3339(&local), "2015-01-31T23:00:00.000Z");
  EXPECT_EQ(TMToRFC3339(&local), "2015-02-01T00:00:00.000Z");
  EXPECT_EQ(AdjustOffsetForServerTime(0), "1970-01-01T02:00:00.000Z");
  const std::string now = GetSystemTimeRfc3339();
  EXPECT_THAT(now, testing::MatchesRegex("[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}"));
  EXPECT_LE(std::labs(RFC3339ToLocalTM(now.c_str()) - std::time(nullptr)), 5);
}

TEST(TimesTest, TextsAreReadInTheZoneTheNameSays) {
  const std::tuple<const char*, const char*, long, long, const char*> rows[] = {
      {"XXX-1", "1970-01-01T10:00:00.5+07:00", 32400, 36000, "1970-01-01T08:00:00.000Z"},
      {kMiddleEurope, "2015-07-01T10:00:00Z", 1435741200, 1435744800, "2015-07-01T07:00:00.000Z"},
      {"UTC0", "2015-10-03", 1443830400, 1443830400, "2015-10-03T00:00:00.000Z"},
  };
  for (const auto& [zone, text, local, utc, adjusted] : rows) {
    SetZone(zone);
    EXPECT_EQ(RFC3339ToTM(text), local) << text;
    EXPECT_EQ(RFC3339ToLocalTM(text), utc) << text;
    EXPECT_EQ(AdjustServerTimeOffset(text), adjusted) << text;
  }
  EXPECT_NE(AdjustServerTimeOffset("-2147483648-2147483647"), "");
}

TEST(JsonObjectTest, ConvertsToTheTypeAskedFor) {
  JsonObject object(R"({"s":"a\u0000b","w":"\u00e4","n":-5,"wide":4294967299})");
  EXPECT_EQ(static_cast<std::string>(object["s"]), "a");
  EXPECT_EQ(static_cast<std::wstring>(object["w"]), L"\u00E4");
  EXPECT_EQ(static_cast<std::string>(object["n"]), "-5");
  EXPECT_EQ(static_cast<long>(object["wide"]), 4294967299);
  EXPECT_EQ(static_cast<AERROR>(object["wide"]), AERROR::CANCEL);
  EXPECT_THROW(static_cast<unsigned long long>(object["n"]), std::exception);
  EXPECT_EQ(JsonObject("[1]garbage", 3).ToText(), "[1]");
  EXPECT_FALSE(JsonObject(nullptr).IsValid());
  for (const std::string& text : {std::string(), std::string("{\"a\":}"), std::string(9999, '[')}) {
    EXPECT_THROW(JsonObject(text.data(), static_cast<unsigned int>(text.size())), AERROR) << text;
    EXPECT_THROW(JsonObject(text.c_str()), AERROR) << text;
  }
}

TEST(JsonObjectTest, PathsSkipEmptyNamesAndReferencesWriteIntoTheirDocument) {
  JsonObject document(R"({"a":{"b":{"c":1}},"text":"x","null":null,"list":[1]})");
  for (const char* path : {"a/b/c", "/a//b/c/", "", "//", "null"}) {
    EXPECT_TRUE(document.HasObject(path)) << path;
  }
  for (const char* path : {"b", "a/b/c/d", "text/x", "null/x", "list/0"}) {
    EXPECT_FALSE(document.HasObject(path)) << path;
    EXPECT_THROW(document.GetObject(path), AERROR) << path;
  }
  JsonObject copy = document;
  JsonObject inner = document["a"];
  copy["only"] = "in the copy";
  inner["y"] = "2";
  EXPECT_EQ(document.GetObject("/a/").ToText(), R"({"b":{"c":1},"y":"2"})");
  inner = JsonObject("[1]");  // Detached.
  inner.InsertArrayItem("2");
  EXPECT_EQ(inner.ToText(), R"([1,"2"])");
  EXPECT_FALSE(document.HasObject("only"));
}
