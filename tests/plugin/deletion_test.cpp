#include <nlohmann/json.hpp>

#include "emulator/inspection.h"
#include "tests/support/drive_test.h"

namespace {

using Names = std::vector<std::string>;

class DeletionTest : public DriveTest {
 protected:
  void StoreAll(std::initializer_list<const char*> names) {
    for (const char* name : names) Store(bucket, name, "1");
  }
};

}  // namespace

TEST_F(DeletionTest, FileGoesWithItsVersionsAndLongerNamesUnlessExact) {
  const auto fill = [&] {
    StoreAll({"a.txt.bak", "a.txt/child", "a.txt~", "b"});
    Store(bucket, "a.txt", "old");
    return Store(bucket, "a.txt", "new");
  };
  SetOpt("exact_delete", "True");
  EXPECT_EQ(Delete(fill()), AERROR::SUCCESS);
  EXPECT_EQ(service->Count("b2_delete_file_version"), 2U);
  EXPECT_EQ(Stored(), (Names{"a.txt.bak", "a.txt/child", "a.txt~", "b"}));
  SetOpt("exact_delete", "no");
  EXPECT_EQ(Delete(fill()), AERROR::SUCCESS);
  EXPECT_EQ(Stored(), Names{"b"});
}

TEST_F(DeletionTest, ExactPagingDeletesThousandsOfVersionsOnce) {
  SetOpt("exact_delete", "true");
  std::string file;
  for (int i = 0; i < 2500; ++i) file = Store(bucket, "a", "");
  Store(bucket, "ab", "");
  EXPECT_EQ(Delete(file), AERROR::SUCCESS);
  EXPECT_EQ(service->Count("b2_delete_file_version"), 2500U);
  EXPECT_EQ(service->Count("b2_list_file_versions"), 3U);

  for (int i = 0; i < 1500; ++i) Store(bucket, "dir/x", "");
  EXPECT_EQ(DeleteDirectory(bucket + "/dir"), AERROR::SUCCESS);
  EXPECT_EQ(emulator::AllVersions(service->store(), "bucket-one").size(), 1U);
}

TEST_F(DeletionTest, FoldersGoWhollyAndBucketsOnlyEmpty) {
  StoreAll({"d/.bzEmpty", "d/e/f", "dd"});
  EXPECT_EQ(DeleteDirectory(bucket), AERROR::FAILED);
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), AERROR::SUCCESS);
  EXPECT_EQ(DeleteDirectory(bucket + "/nothing"), AERROR::SUCCESS);
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

TEST_F(DeletionTest, NewDirectoriesAreBucketsOrMarkers) {
  const auto create = [&](const std::string& parent, const std::string& name) {
    _FS_FILE_V2 record = NewFile(name, 0);
    EXPECT_EQ(drive->CreateDirectory(parent.c_str(), &record, nullptr), AERROR::SUCCESS) << name;
    EXPECT_EQ(record.type, FS_DIRECTORY);
    EXPECT_FALSE(record.first_time.empty());
    return record.id;
  };
  EXPECT_EQ(create(bucket, "2019"), bucket + "/2019");
  EXPECT_EQ(create(bucket + "/2019", "ü x"), bucket + "/2019/ü x");
  EXPECT_EQ(Stored(), (Names{"2019/.bzEmpty", "2019/ü x/.bzEmpty"}));

  const std::string second = create("", "bucket-two");
  const auto request = service->requests().back();
  EXPECT_EQ(request.call, "b2_create_bucket");
  EXPECT_EQ(nlohmann::json::parse(request.body)["bucketType"], "allPrivate");
  EXPECT_EQ(service->store().GetBucket(second).name, "bucket-two");

  _FS_FILE_V2 record = NewFile("bucket-two", 0);
  EXPECT_EQ(drive->CreateDirectory("", &record, nullptr), AERROR::FAILED);
  EXPECT_TRUE(record.id.empty());
  EXPECT_EQ(drive->CreateDirectory(nullptr, nullptr, nullptr), AERROR::FAILED);
  EXPECT_EQ(drive->CreateDirectory(bucket.c_str(), nullptr, nullptr), AERROR::FAILED);
}
