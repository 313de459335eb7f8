#include "util/json_object.h"

#include <gtest/gtest.h>

namespace {

AERROR Caught(const auto& act) {
  try {
    act();
  } catch (AERROR error) {
    return error;
  }
  return AERROR::SUCCESS;
}

}  // namespace

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
    const auto length = static_cast<unsigned int>(text.size());
    EXPECT_EQ(Caught([&] { JsonObject(text.data(), length); }), AERROR::JSON_PARSE_FAILED) << text;
    EXPECT_EQ(Caught([&] { JsonObject(text.c_str()); }), AERROR::JSON_PARSE_FAILED) << text;
  }
}

TEST(JsonObjectTest, PathsSkipEmptyNamesAndMissNothingElse) {
  const JsonObject object(R"({"a":{"b":{"c":1}},"text":"x","null":null,"list":[1]})");
  for (const char* path : {"a/b/c", "/a//b/c/", "", "//", "null"}) {
    EXPECT_TRUE(object.HasObject(path)) << path;
  }
  for (const char* path : {"b", "a/c", "a/b/c/d", "text/x", "null/x", "list/0"}) {
    EXPECT_FALSE(object.HasObject(path)) << path;
    EXPECT_EQ(Caught([&] { object.GetObject(path); }), AERROR::ACCESS_VIOLATION) << path;
  }
  EXPECT_EQ(object.GetObject("/a//b/").ToText(), R"({"c":1})");
}

TEST(JsonObjectTest, ReferencesWriteIntoTheirDocumentAndOwnersAreCopied) {
  JsonObject document(R"({"a":{"x":1}})");
  JsonObject copy = document;
  JsonObject inner = document["a"];
  copy["only"] = "in the copy";
  inner["y"] = "2";
  document.Insert("z", inner);
  EXPECT_EQ(document.ToText(), R"({"a":{"x":1,"y":"2"},"z":{"x":1,"y":"2"}})");
  inner = JsonObject("[1]");  // Detached.
  inner.InsertArrayItem("2");
  EXPECT_EQ(inner.ToText(), R"([1,"2"])");
}
