#include "host/path_index.h"

#include <gtest/gtest.h>

#include "host/errors.h"
#include "tests/host/fake_protocol.h"

namespace b2drive {
namespace {

class PathIndexTest : public testing::Test {
 protected:
  PathIndexTest() {
    protocol_.AddFolder("", "bucket", "B");
    protocol_.AddFolder("B", "photos", "B/photos");
    protocol_.AddFile("B", "both", "B/file-1");
    protocol_.AddFolder("B", "both", "B/both");
    protocol_.AddFile("B/photos", "..", "B/file-2");
    protocol_.AddFile("B/photos", "with blank \xC3\xA4", "B/file-3");
  }

  // The identifier that a path leads to, or the exit code's name for a failure.
  std::string Find(const std::string& path) {
    try {
      return index_.Find(RemotePath(path)).id;
    } catch (const HostError& error) {
      return "exit " + std::to_string(static_cast<int>(error.exit_code()));
    }
  }

  FakeProtocol protocol_;
  Drive drive_{protocol_};
  PathIndex::Time now_;
  PathIndex index_{drive_, std::chrono::seconds(10), [this] { return now_; }};
};

TEST_F(PathIndexTest, FindsWhatAPathNames) {
  struct Row {
    const char* path;
    const char* found;
  };
  for (const Row& row : std::initializer_list<Row>{
           {"", ""},
           {"///", ""},
           {"/bucket", "B"},
           {"bucket//photos/", "B/photos"},
           {"/bucket/both", "B/file-1"},
           {"/bucket/both/", "B/both"},
           {"/bucket/photos/..", "B/file-2"},
           {"/bucket/photos/with blank \xC3\xA4", "B/file-3"},
           {"/Bucket", "exit 7"},
           {"/bucket/photo", "exit 7"},
           {"/bucket/none/photos", "exit 7"},
           {"/bucket/photos/../", "exit 11"},
           {"/bucket/photos/../x", "exit 7"},
       }) {
    EXPECT_EQ(Find(row.path), row.found) << row.path;
  }
}

TEST_F(PathIndexTest, ListsAFolderOnceUntilItExpiresOrIsForgotten) {
  Find("/bucket/photos/..");
  Find("/bucket/photos/..");
  EXPECT_EQ(protocol_.asked["B/photos"], 1);
  index_.Forget(RemotePath("/bucket/photos"));
  Find("/bucket/photos/..");
  EXPECT_EQ(protocol_.asked["B/photos"], 2);
  EXPECT_EQ(protocol_.asked["B"], 1);
  now_ += std::chrono::seconds(10);
  Find("/bucket/photos/..");
  EXPECT_EQ(protocol_.asked["B/photos"], 3);
}

TEST_F(PathIndexTest, AFailedListingIsAFailureAndIsNotKept) {
  protocol_.listings.erase("B/photos");
  EXPECT_EQ(Find("/bucket/photos/x"), "exit 1");
  protocol_.AddFile("B/photos", "x", "B/file-4");
  EXPECT_EQ(Find("/bucket/photos/x"), "B/file-4");
}

TEST_F(PathIndexTest, TakesNamesInAnyOrderButNoneTwice) {
  protocol_.AddFile("B/photos", "a", "B/file-5");
  protocol_.AddFolder("B/photos", "a", "B/photos/a");
  protocol_.AddFile("B/photos", "a.b", "B/file-6");
  EXPECT_EQ(Find("/bucket/photos/a.b"), "B/file-6");
  for (const char* again : {"..", "a.b"}) {
    index_.ForgetAll();
    auto before = protocol_.listings["B/photos"];
    protocol_.AddFile("B/photos", again, "B/file-7");
    EXPECT_EQ(Find("/bucket/photos/x"), "exit 1") << again;
    protocol_.listings["B/photos"] = before;
  }
}

TEST_F(PathIndexTest, AsksForTheKindThatIsNeeded) {
  EXPECT_EQ(index_.FindFolder(RemotePath("/bucket/both")).id, "B/both");
  EXPECT_EQ(index_.FindFile(RemotePath("/bucket/both")).id, "B/file-1");
  EXPECT_THROW(index_.FindFolder(RemotePath("/bucket/photos/..")), HostError);
  EXPECT_THROW(index_.FindFile(RemotePath("/bucket/photos")), HostError);
}

}  // namespace
}  // namespace b2drive
