#include "util/json_object.h"

#include <gtest/gtest.h>

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
