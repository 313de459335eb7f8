#include "host/path_index.h"

#include "host/errors.h"
#include "tests/support/drive_test.h"

namespace b2drive {
namespace {

class PathIndexTest : public DriveTest {
 protected:
  PathIndexTest() {
    std::string contents;
    for (const char* name : {"both", "both/inside", "photos/..", "photos/a", "photos/a b \xC3\xA4",
                             "photos/a.b", "photos/a/x"}) {
      Store(bucket, name, contents += "x");
    }
  }

  // What a path leads to: "folder", a file's size or the exit code of a failure.
  std::string Find(const std::string& path) {
    try {
      const Entry found = index_.Find(RemotePath("/bucket-one" + path));
      return found.folder ? "folder" : std::to_string(found.size);
    } catch (const HostError& error) {
      return "exit " + std::to_string(static_cast<int>(error.exit_code()));
    }
  }
  // The listings that it takes to find a path.
  std::size_t Listings(const std::string& path) {
    service->ClearRequests();
    Find(path);
    return service->Count("b2_list_file_names");
  }

  Drive drive_{*drive};
  PathIndex::Time now_;
  PathIndex index_{drive_, std::chrono::seconds(10), [this] { return now_; }};
};

TEST_F(PathIndexTest, FindsWhatAPathNames) {
  const std::pair<const char*, const char*> rows[] = {{"", "folder"},
                                                      {"//photos/", "folder"},
                                                      {"/both", "1"},
                                                      {"/both/", "folder"},
                                                      {"/photos/..", "3"},
                                                      {"/photos/a b \xC3\xA4", "5"},
                                                      {"/photos/a.b", "6"},
                                                      {"/photos/a/", "folder"},
                                                      {"/Photos", "exit 7"},
                                                      {"/photo", "exit 7"},
                                                      {"/none/photos", "exit 7"},
                                                      {"/photos/../", "exit 11"},
                                                      {"/photos/../x", "exit 7"}};
  for (const auto& [path, found] : rows) EXPECT_EQ(Find(path), found) << path;
  EXPECT_TRUE(index_.Find(RemotePath("///")).folder);
  EXPECT_TRUE(index_.FindFolder(RemotePath("/bucket-one/both")).folder);
  EXPECT_FALSE(index_.FindFile(RemotePath("/bucket-one/both")).folder);
  EXPECT_THROW(index_.FindFolder(RemotePath("/bucket-one/photos/..")), HostError);
  EXPECT_THROW(index_.FindFile(RemotePath("/bucket-one/photos")), HostError);
}

TEST_F(PathIndexTest, ListsAFolderOnceUntilItExpiresOrIsForgottenOrFails) {
  EXPECT_EQ(Listings("/photos/a"), 2u);
  EXPECT_EQ(Listings("/photos/.."), 0u);
  index_.Forget(RemotePath("/bucket-one/photos"));
  Fail("b2_list_file_names", 400);
  EXPECT_EQ(Find("/photos/a"), "exit 1");
  EXPECT_EQ(Listings("/photos/a"), 1u);
  now_ += std::chrono::seconds(10);
  EXPECT_EQ(Listings("/photos/a"), 2u);
}

}  // namespace
}  // namespace b2drive
