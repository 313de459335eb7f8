#include <thread>

#include "tests/support/drive_test.h"

namespace {

using Names = std::vector<std::string>;

class DeletionTest : public DriveTest {
 protected:
  void StoreAll(std::initializer_list<const char*> names) {
    for (const char* name : names) Store(bucket, name, "1");
  }
};

TEST_F(DeletionTest, FileGoesWithItsVersionsAndLongerNamesUnlessExact) {
  const auto fill = [&](int versions) {
    StoreAll({"a.txt.bak", "a.txt/child", "a.txt~", "b"});
    std::string file;
    for (int i = 0; i < versions; ++i) file = Store(bucket, "a.txt", "");
    return file;
  };
  SetOpt("exact_delete", "True");
  EXPECT_EQ(Delete(fill(2500)), AERROR::SUCCESS);
  EXPECT_EQ(service->Count("b2_delete_file_version"), 2500U);
  EXPECT_EQ(service->Count("b2_list_file_versions"), 3U);
  EXPECT_EQ(Stored(), (Names{"a.txt.bak", "a.txt/child", "a.txt~", "b"}));
  SetOpt("exact_delete", "no");
  EXPECT_EQ(Delete(fill(2)), AERROR::SUCCESS);
  EXPECT_EQ(Stored(), Names{"b"});
}

TEST_F(DeletionTest, FoldersGoWhollyAndBucketsOnlyEmpty) {
  StoreAll({"d/.bzEmpty", "d/e/f", "dd"});
  EXPECT_EQ(DeleteDirectory(bucket), AERROR::FAILED);
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), AERROR::SUCCESS);
  EXPECT_EQ(DeleteDirectory(bucket + "/dd"), AERROR::SUCCESS);  // a prefix "dd/": nothing there
  EXPECT_EQ(DeleteDirectory("/"), AERROR::FAILED);
  EXPECT_EQ(Stored(), Names{"dd"});
  EXPECT_EQ(Delete(Records(bucket).at(0).id), AERROR::SUCCESS);
  EXPECT_EQ(DeleteDirectory(bucket), AERROR::SUCCESS);
  EXPECT_TRUE(List("").empty());
}

TEST_F(DeletionTest, FailuresStopItAndListingFailuresDiffer) {
  StoreAll({"d/1", "d/2"});
  const std::string file = Store(bucket, "d/3", "");
  Fail("b2_delete_file_version", 503, 1, 1);
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), AERROR::FAILED);
  Fail("b2_list_file_versions", 503);
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), AERROR::FAILED);
  Fail("b2_list_file_versions", 503);
  EXPECT_EQ(Delete(file), AERROR::SUCCESS);  // nothing was listed, so nothing failed
  EXPECT_EQ(Stored(), (Names{"d/2", "d/3"}));
  EXPECT_EQ(drive->Delete(nullptr, nullptr), AERROR::FAILED);
  EXPECT_EQ(drive->DeleteDirectory(nullptr, nullptr), AERROR::FAILED);
}

TEST_F(DeletionTest, UnchangedFilesGoAndChangedOnesStayWhole) {
  constexpr const char* kDelete = "b2_delete_file_version";
  SetOpt("exact_delete", "true");
  SetOpt("delete_if_unchanged", "TRUE");
  const std::string old = Store(bucket, "a", "old");
  const std::string current = Store(bucket, "a", "new");
  Store(bucket, "ab", "");
  EXPECT_EQ(Delete(old), AERROR::SHARING_VIOLATION);
  EXPECT_EQ(service->Count(kDelete), 0U);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] Delete >> The newest version is ["));
  Fail("b2_list_file_versions", 503);
  EXPECT_EQ(Delete(current), AERROR::FAILED);
  Fail(kDelete, 503, 1, 1);
  EXPECT_EQ(Delete(current), AERROR::FAILED);
  EXPECT_EQ(Text("a"), "new");                         // the old one is gone
  service->store().StartLarge(bucket, {.name = "a"});  // no version yet
  EXPECT_EQ(Delete("/" + current), AERROR::SUCCESS);
  EXPECT_EQ(Stored(), Names{"ab"});
  EXPECT_EQ(Delete(current), AERROR::SUCCESS);  // gone already
  // What another client does between the listing and the deletion is not touched.
  const std::string hidden = Store(bucket, "h", "1");
  service->store().Hide(bucket, "h");
  EXPECT_EQ(Delete(hidden), AERROR::SHARING_VIOLATION);
  const std::string raced = Store(bucket, "r", "1");
  service->AddFault({.call = kDelete, .delay = std::chrono::milliseconds(300)});
  std::thread other([&] {
    while (service->Count(kDelete) < 5) std::this_thread::yield();
    Store(bucket, "r", "2");
  });
  EXPECT_EQ(Delete(raced), AERROR::SUCCESS);
  other.join();
  EXPECT_EQ(Text("r"), "2");
  SetOpt("exact_delete", "no");  // alone the option does nothing
  EXPECT_EQ(Delete(hidden), AERROR::SUCCESS);
  EXPECT_EQ(Stored(), (Names{"ab", "r"}));
}

TEST_F(DeletionTest, NewDirectoriesAreBucketsOrMarkers) {
  _FS_FILE_V2 record;
  const auto create = [&](const std::string& parent, const std::string& name) {
    record = NewFile(name, 0);
    return drive->CreateDirectory(parent.c_str(), &record, nullptr);
  };
  EXPECT_EQ(create(bucket + "/2019", "ü x"), AERROR::SUCCESS);
  EXPECT_EQ(record.id, bucket + "/2019/ü x");
  EXPECT_EQ(record.type, FS_DIRECTORY);
  EXPECT_FALSE(record.first_time.empty());
  EXPECT_EQ(Stored(), Names{"2019/ü x/.bzEmpty"});
  EXPECT_EQ(create("", "bucket-two"), AERROR::SUCCESS);
  EXPECT_EQ(service->store().GetBucket(record.id).name, "bucket-two");
  EXPECT_NE(service->requests().back().body.find("allPrivate"), std::string::npos);
  EXPECT_EQ(create("", "bucket-two"), AERROR::FAILED);
  EXPECT_TRUE(record.id.empty());
  EXPECT_EQ(drive->CreateDirectory(nullptr, nullptr, nullptr), AERROR::FAILED);
  EXPECT_EQ(drive->CreateDirectory(bucket.c_str(), nullptr, nullptr), AERROR::FAILED);
}

}  // namespace
