#include <nlohmann/json.hpp>

#include "tests/support/drive_test.h"
#include "tests/support/memory.h"

namespace {

using nlohmann::json;

constexpr const char* kListNames = "b2_list_file_names";
constexpr const char* kListBuckets = "b2_list_buckets";

// A file's entry; the numbers are JSON.
std::string Entry(Text name, Text length = "1", Text timestamp = "1500000000123") {
  return R"({"action":"upload","fileId":"i","contentLength":)" + length + R"(,"uploadTimestamp":)" +
         timestamp + R"(,"fileName":")" + name + "\"}";
}

std::string Page(Text entries, Text next = "") {
  return R"({"nextFileName":")" + next + (entries.empty() ? "" : R"(","nextFileId":"i)") +
         R"(","files":[)" + entries + "]}";
}

class ListingTest : public DriveTest {
 protected:
  std::size_t FailedRecords(const char* call, Text body, Text id) {
    AnswerWith(call, body);
    return Records(id, FAILED).size();
  }
};

class CountingList final : public IFileList {
 public:
  AERROR AddFile(const _FS_FILE_V2*) override {
    ++count;
    return answer;
  }
  std::size_t count = 0;
  AERROR answer = SUCCESS;
};

TEST_F(ListingTest, RecordsAreOfBucketsFoldersAndFilesWhateverTheSpelling) {
  emulator::EnsureBucket(store(), "bucket-two");
  for (const char* root : {"", "/", "//"}) {
    EXPECT_EQ(List(root), (Texts{"bucket/", "bucket-two/"})) << root;
  }
  const json body{{"accountId", service->account_id()}, {"bucketTypes", json::array({"all"})}};
  EXPECT_EQ(json::parse(service->requests().back().body), body);
  const auto first = Records("")[0];
  EXPECT_EQ(first.id, bucket);
  EXPECT_EQ(first.size, 0U);
  EXPECT_EQ(first.first_time.size(), std::string("2017-07-14T02:40:00.000").size());

  for (const char* name : {"a.txt", "photos/2019/raw/x"}) Store(name, "");
  const std::string file = Store("photos/2019/ü b.jpg", "123");
  EXPECT_EQ(List("//" + bucket + "/"), (Texts{"a.txt", "photos/"}));
  EXPECT_EQ(List(bucket + "//photos/2019"), (Texts{"raw/", "ü b.jpg"}));
  const auto records = Records(bucket + "/photos/2019");
  EXPECT_EQ(records.at(0).id, bucket + "/photos/2019/raw");
  EXPECT_EQ(records.at(1).id, file);
  EXPECT_EQ(records.at(1).size, 3U);
  EXPECT_TRUE(List(bucket + "/nothing").empty());
}

TEST_F(ListingTest, PagesUntilTheCursorEndsAndTimesAreWholeSeconds) {
  EXPECT_TRUE(List(bucket).empty());
  service->ClearRequests();
  for (Text page : {Page(Entry("a"), "b"), Page("", "c"), Page(Entry("c"))}) {
    AnswerWith(kListNames, page);
  }
  const auto records = Records(bucket);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[1].first_time, "2017-07-14T02:40:00.000Z");
  EXPECT_EQ(records[1].second_time + records[1].third_time,
            records[1].first_time + records[1].first_time);
  json body{{"bucketId", bucket}, {"maxFileCount", 1000}, {"delimiter", "/"}, {"prefix", ""}};
  for (std::size_t i = 0; i < 3; ++i) {
    body["startFileName"] = Texts{"", "b", "c"}[i];
    EXPECT_EQ(json::parse(service->requests().at(i).body), body);
  }
}

TEST_F(ListingTest, AFileIsFoundByItsName) {
  const std::string file = Store("d/a b", "123");
  Store("d/a b2", "");
  Store("d/c/x", "");
  Store("top", "1");
  const auto find = [&](Text folder, Text name) {
    _FS_FILE_V2 record;
    record.type = FS_FILE;
    record.name = name;
    const AERROR code = drive->GetFileInfo(folder.c_str(), &record, nullptr);
    return std::pair(code, code == SUCCESS ? record.id + " " + record.first_time : "");
  };
  EXPECT_EQ(find(file, "any").first, SUCCESS);  // by the identifier
  SetOpt("find_by_name", "true");
  const auto listed = Records(bucket + "/d")[0];
  service->ClearRequests();
  EXPECT_EQ(find(bucket + "/d", "a b"), std::pair(SUCCESS, file + " " + listed.first_time));
  EXPECT_EQ(service->requests().size(), 1U);
  EXPECT_EQ(find(bucket, "top").first, SUCCESS);
  for (const char* name : {"a", "c", "a b3", "c/"})
    EXPECT_EQ(find(bucket + "/d", name).first, FILE_NOT_FOUND);
  EXPECT_EQ(find("", "top").first, FAILED);
  EXPECT_EQ(find(file, "").first, SUCCESS);
  for (const char* body : {"", "{}", R"({"files":[1]})", R"({"files":[{"fileName":"top"}]})"}) {
    AnswerWith(kListNames, body);
    EXPECT_EQ(find(bucket, "top").first, FAILED) << body;
  }
}

TEST_F(ListingTest, StrictlyEndlessListingsFail) {
  SetOpt("strict_answers", "true");
  SetOpt("exact_delete", "true");
  for (const int pages : {100, 99}) {
    for (const char* call : {kListNames, "b2_list_file_versions"}) {
      for (int i = 0; i < pages; ++i) AnswerWith(call, Page("", "c" + std::to_string(i)));
    }
    log.Take();
    const AERROR expected = pages == 100 ? FAILED : SUCCESS;
    EXPECT_TRUE(Records(bucket, expected).empty());
    EXPECT_EQ(DeleteDirectory(bucket + "/d"), expected);
    EXPECT_EQ(log.Count(" >> The listing does not advance"), pages == 100 ? 2 : 0);
    Heal();
  }
}

TEST_F(ListingTest, BadAnswersFailAndKeepEarlierRecords) {
  service->AddFault({.call = kListNames, .cut_after = 5});
  EXPECT_TRUE(Records(bucket, FAILED).empty());
  for (Text bad :
       {std::string("1"), std::string(R"({"action":"folder"})"),
        std::string(R"({"action":"folder","fileName":"p"})"),
        std::string(R"({"action":"upload","fileName":"b","contentLength":1,"uploadTimestamp":1})"),
        Entry("p/b", "[]"), Entry("p/b", "1", "[]")}) {
    const std::string page = Page(Entry("p/a") + "," + bad);
    EXPECT_EQ(FailedRecords(kListNames, page, bucket + "/p"), 1U) << bad;
  }
  for (Text body : {std::string(), std::string("[]"), R"({"files":)" + std::string(200'000, '[')}) {
    EXPECT_EQ(FailedRecords(kListNames, body, bucket), 0U) << body.substr(0, 20);
    EXPECT_EQ(FailedRecords(kListBuckets, body, ""), 0U) << body.substr(0, 20);
  }
  const std::string padding(std::size_t{64} << 20, ' ');  // as much as is taken
  EXPECT_EQ(FailedRecords(kListNames, padding + Page(""), bucket), 0U);
  AnswerWith(kListNames, padding.substr(1000) + Page(""));
  EXPECT_TRUE(Records(bucket).empty());
  const char* one = R"({"buckets":[{"bucketId":"1","bucketName":"one"},{}]})";
  EXPECT_EQ(FailedRecords(kListBuckets, one, ""), 1U);
}

TEST_F(ListingTest, HugeFolderListsInMemoryOfOnePage) {
  CountingList refusing;
  refusing.answer = CANCEL;
  EXPECT_EQ(drive->GetFileList("", &refusing, nullptr), FAILED);
  EXPECT_EQ(drive->GetFileList(nullptr, &refusing, nullptr), FAILED);
  EXPECT_EQ(refusing.count, 1U);
  EXPECT_EQ(drive->GetFileList("", nullptr, nullptr), FAILED);
  constexpr std::size_t kFiles = 100'000;
  for (std::size_t i = 0; i < kFiles; ++i) Put("f" + std::to_string(1'000'000 + i), "");
  service->RecordRequests(false);
  Fail(kListNames, 403, 1, 1);  // ends a first listing after one page
  CountingList warm_up, list;
  drive->GetFileList(bucket.c_str(), &warm_up, nullptr);
  const long before = MemoryKilobytes("VmHWM");
  EXPECT_EQ(drive->GetFileList(bucket.c_str(), &list, nullptr), SUCCESS);
  EXPECT_EQ(list.count, kFiles);
  EXPECT_TRUE(MemoryKilobytes("VmHWM") - before < 4096 || !kMemoryIsMeasurable);
}

TEST_F(ListingTest, InformationComesByTheKindOfItem) {
  const std::string file = Store("photos/2019/a.jpg", "123");
  Store("marked/deep/er/.bzEmpty", "");
  const std::string deep = bucket + "/marked/deep/er";
  const std::tuple<std::string, FS_FILE_TYPE, AERROR, std::string> rows[] = {
      {"", FS_NONE, SUCCESS, ""},
      {bucket, FS_NONE, SUCCESS, "bucket" + bucket},
      {"no-such-bucket", FS_NONE, FAILED, "kept"},
      {"//", FS_NONE, FAILED, "kept"},
      {deep, FS_DIRECTORY, SUCCESS, "deep/er" + deep},
      // Files alone do not make a folder that can be looked up.
      {bucket + "/photos", FS_DIRECTORY, FAILED, "kept"},
      {file, FS_FILE, SUCCESS, "kept"},
      {bucket + "/4_z_no_such_file", FS_FILE, FAILED, "kept"}};
  _FS_FILE_V2 record;
  for (const auto& [id, type, result, found] : rows) {
    record = RecordOf("ke", 0, "pt");
    record.type = type;
    EXPECT_EQ(drive->GetFileInfo(id.c_str(), &record, nullptr), result) << id;
    EXPECT_EQ(record.name + record.id, found) << id;
    EXPECT_EQ(record.size, id == file ? 3U : 0U);
  }
  record.type = FS_FILE;
  EXPECT_EQ(drive->GetFileInfo(nullptr, &record, nullptr), FAILED);
  AnswerWith("b2_get_file_info", R"({"contentLength":1,"uploadTimestamp":1500000000999})");
  EXPECT_EQ(drive->GetFileInfo(file.c_str(), &record, nullptr), SUCCESS);
  EXPECT_EQ(record.second_time, "2017-07-14T02:40:00.000Z");
  AnswerWith("b2_get_file_info", R"({"contentLength":1})");
  EXPECT_EQ(drive->GetFileInfo(file.c_str(), &record, nullptr), FAILED);
}

}  // namespace
