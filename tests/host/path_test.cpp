#include "host/common/path.h"

#include <gtest/gtest.h>

#include "host/common/errors.h"

namespace b2drive {
namespace {

TEST(Path, ComesApartAndTogether) {
  struct Row {
    std::string path, parent, name;
    std::vector<std::string> names;
    bool bucket = false;
  };
  const Row rows[] = {{"/", "/", "", {}},
                      {"/b", "/", "b", {"b"}, true},
                      {"/b/a", "/b", "a", {"b", "a"}},
                      {"/b/a/", "/b/a", "", {"b", "a", ""}}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(ParentOf(row.path), row.parent);
    EXPECT_EQ(NameOf(row.path), row.name);
    EXPECT_EQ(NamesOf(row.path), row.names);
    EXPECT_EQ(IsBucket(row.path), row.bucket);
    EXPECT_EQ(row.name.empty() && IsRoot(row.parent) ? "/" : Join(row.parent, row.name), row.path);
  }
}

TEST(Path, IsReadAsUsersWriteIt) {
  const std::tuple<std::string, std::string, bool, bool> rows[] = {
      {"/", "/", true, false},
      {"b", "/b", false, false},
      {"/b/", "/b", true, false},
      {"//b/a", "/b/a", false, false},
      {"b//a", "/b/a", false, true},
      {"/b/a//", "/b/a", true, true},
      {"/b/../.", "/b/../.", false, false}};
  for (const auto& [text, path, folder, ambiguous] : rows) {
    const PathArgument read(text);
    EXPECT_EQ(std::tie(read.path, read.asks_for_folder, read.ambiguous),
              std::tie(path, folder, ambiguous));
  }
  EXPECT_THROW(PathArgument(""), HostError);
}

}  // namespace
}  // namespace b2drive
