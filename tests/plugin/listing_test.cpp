#include <functional>
#include <nlohmann/json.hpp>

#include "tests/support/drive_test.h"
#include "tests/support/memory.h"

namespace {

using nlohmann::json;
using Names = std::vector<std::string>;

constexpr const char* kListNames = "b2_list_file_names";

using ListingTest = DriveTest;

// Counts, and checks the order of generated names.
class CountingList final : public IFileList {
 public:
  AERROR AddFile(const _FS_FILE_V2* file) override {
    ordered = ordered && last < file->name;
    last = file->name;
    ++count;
    return answer;
  }

  std::string last;
  std::size_t count = 0;
  bool ordered = true;
  AERROR answer = AERROR::SUCCESS;
};

}  // namespace

TEST_F(ListingTest, RootListsBucketsWhateverItsSpelling) {
  NewBucket("bucket-two");
  for (const char* root : {"", "/", "//"}) {
    EXPECT_EQ(List(root), (Names{"bucket-one/", "bucket-two/"})) << root;
  }
  const auto record = Records("")[0];
  EXPECT_EQ(record.id, bucket);
  EXPECT_EQ(record.size, 0U);
  EXPECT_EQ(record.first_time.size(), std::string("2017-07-14T02:40:00.000").size());
  EXPECT_EQ(record.first_time, record.third_time);
  const json body{{"accountId", service->account_id()}, {"bucketTypes", json::array({"all"})}};
  EXPECT_EQ(json::parse(service->requests().back().body), body);
}

TEST_F(ListingTest, FoldersAndFilesAreRelativeAndMarkersHidden) {
  Store(bucket, "a.txt", "12345");
  Store(bucket, "photos/.bzEmpty", "");
  const std::string file = Store(bucket, "photos/2019/ü b.jpg", "123");
  Store(bucket, "photos/2019/raw/x", "1");
  for (const std::string& id : {bucket, "/" + bucket, "//" + bucket + "/"}) {
    EXPECT_EQ(List(id), (Names{"a.txt", "photos/"})) << id;
  }
  EXPECT_EQ(List(bucket + "//photos"), Names{"2019/"});
  EXPECT_EQ(List(bucket + "/photos/2019"), (Names{"raw/", "ü b.jpg"}));
  const auto records = Records(bucket + "/photos/2019");
  EXPECT_EQ(records.at(0).id, bucket + "/photos/2019/raw");
  EXPECT_EQ(records.at(1).id, file);
  EXPECT_EQ(records.at(1).size, 3U);
  EXPECT_TRUE(List(bucket + "/nothing").empty());
}

TEST_F(ListingTest, PagesUntilTheCursorEndsAndTimesAreWholeSeconds) {
  const std::string file = R"({"action":"upload","fileId":"i","contentLength":1,)"
                           R"("uploadTimestamp":1500000000123,"fileName":")";
  AnswerWith(kListNames, R"({"files":[)" + file + R"(a"}],"nextFileName":"b"})");
  AnswerWith(kListNames, R"({"files":[],"nextFileName":"c"})");
  AnswerWith(kListNames, R"({"files":[)" + file + R"(c"}]})");
  const auto records = Records(bucket);
  ASSERT_EQ(records.size(), 2U);
  for (const _FS_FILE_V2& record : records) {
    for (const auto& time : {record.first_time, record.second_time, record.third_time}) {
      EXPECT_EQ(time, "2017-07-14T02:40:00.000Z");
    }
  }
  Names cursors;
  for (const auto& request : service->requests()) {
    if (request.call != kListNames) continue;
    const auto body = json::parse(request.body);
    cursors.push_back(body["startFileName"]);
    EXPECT_EQ(body["maxFileCount"], 1000);
    EXPECT_EQ(body["delimiter"], "/");
    EXPECT_EQ(body["prefix"], "");
  }
  EXPECT_EQ(cursors, (Names{"", "b", "c"}));
}

TEST_F(ListingTest, StrictlyEndlessListingsFail) {
  const auto page = [](int number, const std::string& next) {
    const std::string name = "n" + std::to_string(number);
    return R"({"files":[{"action":"upload","fileId":"i","contentLength":1,"uploadTimestamp":1,)"
           R"("fileName":")" +
           name + R"("}],"nextFileName":")" + next + R"(","nextFileId":"i"})";
  };
  const auto cursor = [](int number) { return std::string("c").append(std::to_string(number)); };
  const auto empty = [&](int number) {
    return R"({"files":[],"nextFileName":")" + cursor(number) + R"("})";
  };
  SetOpt("strict_answers", "true");
  SetOpt("exact_delete", "true");
  for (const auto& [call, list] : std::vector<std::pair<std::string, std::function<AERROR()>>>{
           {kListNames,
            [&] {
              CountingList list;
              return drive->GetFileList(bucket.c_str(), &list, nullptr);
            }},
           {"b2_list_file_versions", [&] { return DeleteDirectory(bucket + "/d"); }}}) {
    const auto pages = [&, call = call](int count, const std::function<std::string(int)>& body) {
      for (int i = 0; i < count; ++i) {
        service->AddFault({.call = call, .status = 200, .body = body(i)});
      }
      log.Take();
    };
    // From its fourth page on it goes round over seven.
    for (const auto& [tail, circle] : {std::pair{0, 1}, {0, 2}, {3, 7}}) {
      const std::size_t before = service->Count(call);
      pages(200, [&, tail = tail, circle = circle](int i) {
        return page(i, cursor(i < tail ? i : tail + (i - tail) % circle));
      });
      EXPECT_EQ(list(), AERROR::FAILED) << call << circle;
      EXPECT_LT(service->Count(call) - before, 30U) << call << circle;
      EXPECT_TRUE(log.Contains(" >> The listing does not advance")) << call << circle;
      service->ClearFaults();
    }
    pages(100, empty);
    EXPECT_EQ(list(), AERROR::FAILED) << call;
    service->ClearFaults();
    pages(99, empty);
    EXPECT_EQ(list(), AERROR::SUCCESS) << call;
  }
}

TEST_F(ListingTest, AnswersAreBoundedInMemory) {
  const std::string padding(std::size_t{64} << 20, ' ');
  AnswerWith(kListNames, padding + R"({"files":[]})");
  EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty());
  AnswerWith(kListNames, padding.substr(1000) + R"({"files":[]})");
  EXPECT_TRUE(Records(bucket).empty());
  const std::string deep(200'000, '[');
  AnswerWith(kListNames, deep);
  EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty());
  AnswerWith(kListNames, R"({"files":)" + deep);
  EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty());
}

TEST_F(ListingTest, BadAnswersFailAndKeepEarlierRecords) {
  Fail(kListNames, 503);
  EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty());
  service->AddFault({.call = kListNames, .cut_after = 5});
  EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty());
  const std::string good = R"({"action":"upload","fileId":"i","contentLength":1,)"
                           R"("uploadTimestamp":1,"fileName":"p/a"})";
  const char* bad_entries[] = {
      R"({"action":"upload","contentLength":1,"uploadTimestamp":1,"fileName":"p/b"})",
      R"({"action":"upload","fileId":"i","uploadTimestamp":1,"fileName":"p/b"})",
      R"({"action":"upload","fileId":"i","contentLength":"x","uploadTimestamp":1,"fileName":"p/b"})",
      R"({"action":"upload","fileId":[],"contentLength":1,"uploadTimestamp":1,"fileName":"p/b"})",
      R"({"action":"upload","fileId":"i","contentLength":1,"fileName":"p/b"})",
      R"({"action":"folder"})",
      R"({"action":"folder","fileName":"p"})",
      "1"};
  for (const char* bad : bad_entries) {
    AnswerWith(kListNames, "{\"files\":[" + good + "," + bad + "]}");
    EXPECT_EQ(Records(bucket + "/p", AERROR::FAILED).size(), 1U) << bad;
  }
  for (const char* body : {"", "{\"files\":", "{}", "[]", "7", "{\"files\":{\"a\":1}}"}) {
    AnswerWith(kListNames, body);
    EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty()) << body;
    AnswerWith("b2_list_buckets", body);
    EXPECT_TRUE(Records("", AERROR::FAILED).empty()) << body;
  }
  AnswerWith("b2_list_buckets", R"({"buckets":[{"bucketId":"1","bucketName":"one"},{}]})");
  EXPECT_EQ(Records("", AERROR::FAILED).size(), 1U);
  AnswerWith("b2_list_buckets", R"({"buckets":[]})");
  EXPECT_TRUE(Records("").empty());
}

TEST_F(ListingTest, NothingToListOrListTo) {
  CountingList refusing;
  refusing.answer = AERROR::CANCEL;
  EXPECT_EQ(drive->GetFileList("", &refusing, nullptr), AERROR::FAILED);
  EXPECT_EQ(refusing.count, 1U);
  EXPECT_EQ(drive->GetFileList(nullptr, &refusing, nullptr), AERROR::FAILED);
  EXPECT_EQ(drive->GetFileList("", nullptr, nullptr), AERROR::FAILED);
  EXPECT_EQ(service->Count("b2_list_buckets"), 1U);
}

TEST_F(ListingTest, HugeFolderListsInOrderInMemoryOfOnePage) {
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
  EXPECT_TRUE(list.ordered);
  if (kMemoryIsMeasurable) {
    EXPECT_LT(MemoryKilobytes("VmHWM") - before, 4096);
  }
}

TEST_F(ListingTest, InformationComesByTheKindOfItem) {
  const std::string file = Store(bucket, "photos/2019/a.jpg", "123");
  Store(bucket, "marked/.bzEmpty", "");
  Store(bucket, "marked/deep/er/.bzEmpty", "");
  struct Row {
    std::string id;
    FS_FILE_TYPE type;
    AERROR result;
    std::string name, found_id;
  };
  const Row rows[] = {
      {"", FS_NONE, AERROR::SUCCESS, "", ""},
      {bucket, FS_NONE, AERROR::SUCCESS, "bucket-one", bucket},
      {"no-such-bucket", FS_NONE, AERROR::FAILED, "kept", "kept"},
      {"//", FS_NONE, AERROR::FAILED, "kept", "kept"},
      {bucket + "/marked", FS_DIRECTORY, AERROR::SUCCESS, "marked", bucket + "/marked"},
      {bucket + "/marked/deep/er", FS_DIRECTORY, AERROR::SUCCESS, "deep/er",
       bucket + "/marked/deep/er"},
      // Files alone do not make a folder that can be looked up.
      {bucket + "/photos", FS_DIRECTORY, AERROR::FAILED, "kept", "kept"},
      {file, FS_FILE, AERROR::SUCCESS, "kept", "kept"},
      {bucket + "/4_z_no_such_file", FS_FILE, AERROR::FAILED, "kept", "kept"},
  };
  _FS_FILE_V2 record;
  for (const Row& row : rows) {
    record = NewFile("kept", 0);
    record.type = row.type;
    record.id = "kept";
    EXPECT_EQ(drive->GetFileInfo(row.id.c_str(), &record, nullptr), row.result) << row.id;
    EXPECT_EQ(record.name, row.name) << row.id;
    EXPECT_EQ(record.id, row.found_id) << row.id;
    EXPECT_EQ(record.size, row.id == file ? 3U : 0U);
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
