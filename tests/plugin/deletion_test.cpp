#include "tests/support/drive_test.h"

namespace {

constexpr const char* kDelete = "b2_delete_file_version";
constexpr const char* kList = "b2_list_file_versions";

class DeletionTest : public DriveTest {
 protected:
  void StoreAll(const Texts& names) {
    for (Text name : names) Store(name, "1");
  }
};

TEST_F(DeletionTest, FileGoesWithItsVersionsAndLongerNamesUnlessExact) {
  const auto fill = [&](int versions) {
    StoreAll({"a.txt.bak", "a.txt/child", "a.txt~", "b"});
    for (int i = 1; i < versions; ++i) Store("a.txt", "");
    return Store("a.txt", "");
  };
  SetOpt("exact_delete", "True");
  EXPECT_EQ(Delete(fill(2500)), SUCCESS);
  EXPECT_EQ(service->Count(kDelete), 2500U);
  EXPECT_EQ(service->Count(kList), 3U);
  EXPECT_EQ(Stored(), (Texts{"a.txt.bak", "a.txt/child", "a.txt~", "b"}));
  SetOpt("exact_delete", "no");
  EXPECT_EQ(Delete(fill(2)), SUCCESS);
  EXPECT_EQ(Stored(), Texts{"b"});
}

TEST_F(DeletionTest, FoldersGoWhollyAndBucketsOnlyEmpty) {
  StoreAll({"d/.bzEmpty", "d/e/f", "dd"});
  EXPECT_EQ(DeleteDirectory(bucket), FAILED);
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), SUCCESS);
  EXPECT_EQ(DeleteDirectory(bucket + "/dd"), SUCCESS);  // a prefix "dd/": nothing there
  EXPECT_EQ(DeleteDirectory("/"), FAILED);
  EXPECT_EQ(Stored(), Texts{"dd"});
  EXPECT_EQ(Delete(Records(bucket).at(0).id), SUCCESS);
  EXPECT_EQ(DeleteDirectory(bucket), SUCCESS);
  EXPECT_TRUE(List("").empty());
}

TEST_F(DeletionTest, FailuresStopItAndListingFailuresDiffer) {
  StoreAll({"d/1", "d/2"});
  const std::string file = Store("d/3", "");
  Fail(kDelete, 503, 1, 1);
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), FAILED);
  Fail(kList, 503);
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), FAILED);
  Fail(kList, 503);
  EXPECT_EQ(Delete(file), SUCCESS);  // nothing was listed, so nothing failed
  EXPECT_EQ(Stored(), (Texts{"d/2", "d/3"}));
  EXPECT_EQ(drive->Delete(nullptr, nullptr), FAILED);
  EXPECT_EQ(drive->DeleteDirectory(nullptr, nullptr), FAILED);
}

TEST_F(DeletionTest, UnchangedFilesGoAndChangedOnesStayWhole) {
  SetOpt("exact_delete", "true");
  SetOpt("delete_if_unchanged", "TRUE");
  const std::string old = Store("a", "old"), current = Store("a", "new");
  const std::string hidden = Store("h", "1");
  Hide("h");
  for (Text changed : {old, hidden}) EXPECT_EQ(Delete(changed), SHARING_VIOLATION);
  EXPECT_EQ(service->Count(kDelete), 0U);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] Delete >> The newest version is ["));
  Fail(kList, 503);
  EXPECT_EQ(Delete(current), FAILED);
  Fail(kDelete, 503, 1, 1);
  EXPECT_EQ(Delete(current), FAILED);
  EXPECT_EQ(Versions("a"), Texts{"new"});     // the old one went first
  store().StartLarge(bucket, {.name = "a"});  // no version yet
  EXPECT_EQ(Delete("/" + current), SUCCESS);
  EXPECT_TRUE(Versions("a").empty());
  EXPECT_EQ(Delete(current), SUCCESS);  // gone already
  SetOpt("exact_delete", "no");         // alone the option does nothing
  EXPECT_EQ(Delete(hidden), SUCCESS);
  EXPECT_TRUE(Versions("h").empty());
}

TEST_F(DeletionTest, NewDirectoriesAreBucketsOrMarkers) {
  _FS_FILE_V2 record;
  const auto create = [&](Text parent, Text name) {
    record = RecordOf(name);
    return drive->CreateDirectory(parent.c_str(), &record, nullptr);
  };
  EXPECT_EQ(create(bucket + "/2019", "ü x"), SUCCESS);
  EXPECT_EQ(record.id, bucket + "/2019/ü x");
  EXPECT_EQ(record.type, FS_DIRECTORY);
  EXPECT_FALSE(record.first_time.empty());
  EXPECT_EQ(Stored(), Texts{"2019/ü x/.bzEmpty"});
  EXPECT_EQ(create("", "bucket-two"), SUCCESS);
  EXPECT_EQ(store().GetBucket(record.id).name, "bucket-two");
  EXPECT_NE(service->requests().back().body.find("allPrivate"), std::string::npos);
  EXPECT_EQ(create("", "bucket-two"), FAILED);
  EXPECT_TRUE(record.id.empty());
  EXPECT_EQ(drive->CreateDirectory(nullptr, nullptr, nullptr), FAILED);
  EXPECT_EQ(drive->CreateDirectory(bucket.c_str(), nullptr, nullptr), FAILED);
}

}  // namespace
