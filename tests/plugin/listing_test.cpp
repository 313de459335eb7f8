#include <nlohmann/json.hpp>

#include "tests/support/drive_test.h"
#include "tests/support/memory.h"

namespace {

using nlohmann::json;
using Names = std::vector<std::string>;

constexpr const char* kListNames = "b2_list_file_names";
constexpr const char* kListBuckets = "b2_list_buckets";

class ListingTest : public DriveTest {
 protected:
  // A file's entry; the numbers are JSON.
  static std::string Entry(const std::string& name, const std::string& length = "1",
                           const std::string& timestamp = "1500000000123") {
    return R"({"action":"upload","fileId":"i","contentLength":)" + length +
           R"(,"uploadTimestamp":)" + timestamp + R"(,"fileName":")" + name + "\"}";
  }
  static std::string Page(const std::string& entries, const std::string& next = "") {
    json page{{"files", json::parse("[" + entries + "]")}};
    if (!next.empty()) page["nextFileName"] = next;
    if (!entries.empty()) page["nextFileId"] = "i";
    return page.dump();
  }
  std::size_t FailedRecords(const char* call, const std::string& body, const std::string& id) {
    AnswerWith(call, body);
    return Records(id, AERROR::FAILED).size();
  }
};

class CountingList final : public IFileList {
 public:
  AERROR AddFile(const _FS_FILE_V2*) override {
    ++count;
    return answer;
  }

  std::size_t count = 0;
  AERROR answer = AERROR::SUCCESS;
};

TEST_F(ListingTest, RecordsAreOfBucketsFoldersAndFilesWhateverTheSpelling) {
  NewBucket("bucket-two");
  for (const char* root : {"", "/", "//"}) {
    EXPECT_EQ(List(root), (Names{"bucket-one/", "bucket-two/"})) << root;
  }
  const json body{{"accountId", service->account_id()}, {"bucketTypes", json::array({"all"})}};
  EXPECT_EQ(json::parse(service->requests().back().body), body);
  const auto first = Records("")[0];
  EXPECT_EQ(first.id, bucket);
  EXPECT_EQ(first.size, 0U);
  EXPECT_EQ(first.first_time.size(), std::string("2017-07-14T02:40:00.000").size());

  Store(bucket, "a.txt", "12345");
  const std::string file = Store(bucket, "photos/2019/ü b.jpg", "123");
  Store(bucket, "photos/2019/raw/x", "1");
  EXPECT_EQ(List("//" + bucket + "/"), (Names{"a.txt", "photos/"}));
  EXPECT_EQ(List(bucket + "//photos/2019"), (Names{"raw/", "ü b.jpg"}));
  const auto records = Records(bucket + "/photos/2019");
  EXPECT_EQ(records.at(0).id, bucket + "/photos/2019/raw");
  EXPECT_EQ(records.at(1).id, file);
  EXPECT_EQ(records.at(1).size, 3U);
  EXPECT_TRUE(List(bucket + "/nothing").empty());
}

TEST_F(ListingTest, PagesUntilTheCursorEndsAndTimesAreWholeSeconds) {
  for (const std::string& page : {Page(Entry("a"), "b"), Page("", "c"), Page(Entry("c"))}) {
    AnswerWith(kListNames, page);
  }
  service->ClearRequests();
  const auto records = Records(bucket);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[1].first_time, "2017-07-14T02:40:00.000Z");
  EXPECT_EQ(records[1].second_time + records[1].third_time,
            records[1].first_time + records[1].first_time);
  Names cursors;
  const json every{
      {"bucketId", bucket}, {"maxFileCount", 1000}, {"delimiter", "/"}, {"prefix", ""}};
  for (const auto& request : service->requests()) {
    if (request.call != kListNames) continue;
    auto body = json::parse(request.body);
    cursors.push_back(body["startFileName"]);
    body.erase("startFileName");
    EXPECT_EQ(body, every);
  }
  EXPECT_EQ(cursors, (Names{"", "b", "c"}));
}

TEST_F(ListingTest, StrictlyEndlessListingsFail) {
  SetOpt("strict_answers", "true");
  SetOpt("exact_delete", "true");
  struct Row {
    int pages, circle;  // of so many cursors
    AERROR result;
    std::string entry;
  };
  for (const bool deletes : {false, true}) {
    const char* const call = deletes ? "b2_list_file_versions" : kListNames;
    for (const Row& row : {Row{200, 2, AERROR::FAILED, Entry("n")},
                           {100, 100, AERROR::FAILED, ""},
                           {99, 100, AERROR::SUCCESS, ""}}) {
      for (int i = 0; i < row.pages; ++i) {
        AnswerWith(call, Page(row.entry, "c" + std::to_string(i % row.circle)));
      }
      log.Take();
      service->ClearRequests();
      FileList all;
      EXPECT_EQ(deletes ? DeleteDirectory(bucket + "/d")
                        : drive->GetFileList(bucket.c_str(), &all, nullptr),
                row.result)
          << call << row.pages;
      EXPECT_EQ(log.Contains(" >> The listing does not advance"), row.result == AERROR::FAILED);
      EXPECT_LT(service->requests().size(), row.circle == 2 ? 30U : 101U) << call << row.pages;
      service->ClearFaults();
    }
  }
}

TEST_F(ListingTest, AbsurdNumbersArePassedOnOrRefused) {
  const std::tuple<const char*, const char*, std::uint64_t, const char*> rows[] = {
      {"9223372036854775807", "9223372036854775807", INT64_MAX, "292278994-08-17T07:12:55.000Z"},
      {"-1", "-9223372036854775808", UINT64_MAX, "-292275055-05-16T16:47:05.000Z"},
  };
  for (const auto& [length, timestamp, size, time] : rows) {
    AnswerWith(kListNames, Page(Entry("f", length, timestamp)));
    const auto records = Records(bucket);
    EXPECT_EQ(records.at(0).size, size);
    EXPECT_EQ(records.at(0).first_time, time);
  }
  for (const char* length : {"9223372036854775808", "1e300"}) {
    EXPECT_EQ(FailedRecords(kListNames, Page(Entry("f", length)), bucket), 0U) << length;
  }
}

TEST_F(ListingTest, BadAnswersFailAndKeepEarlierRecords) {
  service->AddFault({.call = kListNames, .cut_after = 5});
  EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty());
  const Names bad_entries = {
      "1",
      R"({"action":"folder"})",
      R"({"action":"folder","fileName":"p"})",
      R"({"action":"upload","fileName":"b","contentLength":1,"uploadTimestamp":1})",
      Entry("p/b", "[]"),
      Entry("p/b", "1", "[]")};
  for (const std::string& bad : bad_entries) {
    const std::string page = Page(Entry("p/a") + "," + bad);
    EXPECT_EQ(FailedRecords(kListNames, page, bucket + "/p"), 1U) << bad;
  }
  for (const std::string& body :
       {std::string(), std::string("[]"), R"({"files":)" + std::string(200'000, '[')}) {
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
  refusing.answer = AERROR::CANCEL;
  EXPECT_EQ(drive->GetFileList("", &refusing, nullptr), AERROR::FAILED);
  EXPECT_EQ(drive->GetFileList(nullptr, &refusing, nullptr), AERROR::FAILED);
  EXPECT_EQ(refusing.count, 1U);
  EXPECT_EQ(drive->GetFileList("", nullptr, nullptr), AERROR::FAILED);
  constexpr std::size_t kFiles = 100'000;
  for (std::size_t i = 0; i < kFiles; ++i) Store(bucket, "f" + std::to_string(1'000'000 + i), "");
  service->RecordRequests(false);
  Fail(kListNames, 403, 1, 1);  // ends a first listing after one page
  CountingList warm_up;
  drive->GetFileList(bucket.c_str(), &warm_up, nullptr);
  const long before = MemoryKilobytes("VmHWM");
  CountingList list;
  EXPECT_EQ(drive->GetFileList(bucket.c_str(), &list, nullptr), AERROR::SUCCESS);
  EXPECT_EQ(list.count, kFiles);
  if (kMemoryIsMeasurable) {
    EXPECT_LT(MemoryKilobytes("VmHWM") - before, 4096);
  }
}

TEST_F(ListingTest, InformationComesByTheKindOfItem) {
  const std::string file = Store(bucket, "photos/2019/a.jpg", "123");
  Store(bucket, "marked/deep/er/.bzEmpty", "");
  const std::string deep = bucket + "/marked/deep/er";
  const std::tuple<std::string, FS_FILE_TYPE, AERROR, std::string, std::string> rows[] = {
      {"", FS_NONE, AERROR::SUCCESS, "", ""},
      {bucket, FS_NONE, AERROR::SUCCESS, "bucket-one", bucket},
      {"no-such-bucket", FS_NONE, AERROR::FAILED, "kept", "kept"},
      {"//", FS_NONE, AERROR::FAILED, "kept", "kept"},
      {deep, FS_DIRECTORY, AERROR::SUCCESS, "deep/er", deep},
      // Files alone do not make a folder that can be looked up.
      {bucket + "/photos", FS_DIRECTORY, AERROR::FAILED, "kept", "kept"},
      {file, FS_FILE, AERROR::SUCCESS, "kept", "kept"},
      {bucket + "/4_z_no_such_file", FS_FILE, AERROR::FAILED, "kept", "kept"},
  };
  _FS_FILE_V2 record;
  for (const auto& [id, type, result, name, found_id] : rows) {
    record = NewFile("kept", 0);
    record.type = type;
    record.id = "kept";
    EXPECT_EQ(drive->GetFileInfo(id.c_str(), &record, nullptr), result) << id;
    EXPECT_EQ(record.name + record.id, name + found_id) << id;
    EXPECT_EQ(record.size, id == file ? 3U : 0U);
  }
  record.type = FS_FILE;
  EXPECT_EQ(drive->GetFileInfo(nullptr, &record, nullptr), AERROR::FAILED);
  EXPECT_EQ(drive->GetFileInfo(file.c_str(), nullptr, nullptr), AERROR::FAILED);
  AnswerWith("b2_get_file_info", R"({"contentLength":1,"uploadTimestamp":1500000000999})");
  EXPECT_EQ(drive->GetFileInfo(file.c_str(), &record, nullptr), AERROR::SUCCESS);
  EXPECT_EQ(record.second_time, "2017-07-14T02:40:00.000Z");
  AnswerWith("b2_get_file_info", R"({"contentLength":1})");
  EXPECT_EQ(drive->GetFileInfo(file.c_str(), &record, nullptr), AERROR::FAILED);
}

}  // namespace
