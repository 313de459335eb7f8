#include "b2/paths.h"

#include <gtest/gtest.h>

#include "protocol/aerror.h"

TEST(PathsTest, SplitsIdentifiersAndCleansSlashes) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"", "", ""},           {"/", "", ""},        {"//", "", "/"},   {"b", "b", ""},
      {"/b/x/y", "b", "x/y"}, {"/b//x", "b", "/x"}, {"/\\", "", "\\"}, {"\\/b/x\\y", "b", "x\\y"}};
  for (const auto& [path, container, rest] : rows) {
    const auto split = SplitIdentifier(path);
    EXPECT_EQ(split.container, container) << path;
    EXPECT_EQ(split.rest, rest) << path;
  }
  EXPECT_EQ(remove_head_slashes("///"), "///");
  EXPECT_EQ(remove_duplicated_slashes("a//b///c\\\\"), "a/b/c\\\\");
}

TEST(ErrorNamesTest, KnowEveryCodeAndNothingElse) {
  for (const int unknown : {43, 999, 1003, 2015, 3015, 4005, 6002, 7004, 7007, 8025, -1}) {
    EXPECT_STREQ(GetAERRORA(static_cast<AERROR>(unknown)), "Unknown") << unknown;
  }
  EXPECT_STREQ(GetAERRORA(static_cast<AERROR>(8010)), "AERROR::SOCK_ADDRESS_NOT_AVALIABLE");
  EXPECT_STREQ(GetAERRORA(static_cast<AERROR>(8024)), "AERROR::SOCK_UNKNOWN_SOCKET_ERROR");
  EXPECT_EQ(ConvertAERROR(AERROR::FILE_NOT_FOUND), -2);
  EXPECT_EQ(ConvertAERROR(AERROR::PATH_NOT_FOUND), -5);
}
