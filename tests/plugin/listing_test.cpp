#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/drive_test.h"

namespace {

using nlohmann::json;
using Names = std::vector<std::string>;

class ListingTest : public DriveTest {
 protected:
  void AnswerWith(const std::string& call, const std::string& body) {
    service->AddFault({.call = call, .status = 200, .body = body});
  }
};

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

long PeakKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
  }
  return 0;
}

}  // namespace

TEST_F(ListingTest, RootListsBucketsWhateverItsSpelling) {
  EXPECT_TRUE(List("").empty());
  const std::string one = NewBucket("bucket-one");
  NewBucket("bucket-two");
  for (const char* root : {"", "/", "//"}) {
    EXPECT_EQ(List(root), (Names{"bucket-one/", "bucket-two/"})) << root;
  }
  const auto bucket = Records("")[0];
  EXPECT_EQ(bucket.id, one);
  EXPECT_EQ(bucket.size, 0U);
  EXPECT_EQ(bucket.first_time.size(), std::string("2017-07-14T02:40:00.000").size());
  EXPECT_EQ(bucket.first_time, bucket.third_time);
  const auto body = json::parse(service->requests().back().body);
  EXPECT_EQ(body["bucketTypes"], json::array({"all"}));
  EXPECT_EQ(body["accountId"], service->account_id());
}

TEST_F(ListingTest, FoldersAndFilesAreRelativeAndMarkersHidden) {
  const std::string bucket = NewBucket();
  Store(bucket, "a.txt", "12345");
  Store(bucket, "photos/.bzEmpty", "");
  const std::string file = Store(bucket, "photos/2019/ü b.jpg", "123");
  Store(bucket, "photos/2019/raw/x", "1");
  for (const std::string& id : {bucket, "/" + bucket, "//" + bucket + "/"}) {
    EXPECT_EQ(List(id), (Names{"a.txt", "photos/"})) << id;
  }
  EXPECT_EQ(List(bucket + "/photos"), Names{"2019/"});
  EXPECT_EQ(List(bucket + "//photos"), Names{"2019/"});
  const auto records = Records(bucket + "/photos/2019");
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].id, bucket + "/photos/2019/raw");
  EXPECT_EQ(records[0].type, FS_DIRECTORY);
  EXPECT_EQ(records[1].id, file);
  EXPECT_EQ(records[1].name, "ü b.jpg");
  EXPECT_EQ(records[1].type, FS_FILE);
  EXPECT_EQ(records[1].size, 3U);
  EXPECT_TRUE(List(bucket + "/nothing").empty());
}

TEST_F(ListingTest, TimesAreTheUploadsInWholeSeconds) {
  const std::string bucket = NewBucket();
  AnswerWith("b2_list_file_names",
             R"({"files":[{"fileName":"f","action":"upload","fileId":"i","contentLength":7,)"
             R"("uploadTimestamp":1500000000123}],"nextFileName":null})");
  const auto record = Records(bucket).at(0);
  EXPECT_EQ(record.first_time, "2017-07-14T02:40:00.000Z");
  EXPECT_EQ(record.second_time, record.first_time);
  EXPECT_EQ(record.third_time, record.first_time);
}

TEST_F(ListingTest, PagesUntilTheCursorEnds) {
  const std::string bucket = NewBucket();
  const std::string file = R"({"action":"upload","fileId":"i","contentLength":1,)"
                           R"("uploadTimestamp":1,"fileName":")";
  AnswerWith("b2_list_file_names", R"({"files":[)" + file + R"(a"}],"nextFileName":"b"})");
  AnswerWith("b2_list_file_names", R"({"files":[],"nextFileName":"c"})");
  AnswerWith("b2_list_file_names", R"({"files":[)" + file + R"(c"}]})");
  EXPECT_EQ(List(bucket), (Names{"a", "c"}));
  Names cursors;
  for (const auto& request : service->requests()) {
    if (request.call != "b2_list_file_names") continue;
    const auto body = json::parse(request.body);
    cursors.push_back(body["startFileName"]);
    EXPECT_EQ(body["maxFileCount"], 1000);
    EXPECT_EQ(body["delimiter"], "/");
    EXPECT_EQ(body["prefix"], "");
  }
  EXPECT_EQ(cursors, (Names{"", "b", "c"}));
}

TEST_F(ListingTest, BadAnswersFailAndKeepEarlierRecords) {
  const std::string bucket = NewBucket();
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
      "1",
      "[]"};
  for (const char* bad : bad_entries) {
    AnswerWith("b2_list_file_names", "{\"files\":[" + good + "," + bad + "]}");
    EXPECT_EQ(Records(bucket + "/p", AERROR::FAILED).size(), 1U) << bad;
  }
  for (const char* body :
       {"", "no JSON", "{\"files\":", "{}", "[]", "7", "{\"files\":{\"a\":1}}"}) {
    AnswerWith("b2_list_file_names", body);
    EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty()) << body;
    AnswerWith("b2_list_buckets", body);
    EXPECT_TRUE(Records("", AERROR::FAILED).empty()) << body;
  }
  AnswerWith("b2_list_buckets", R"({"buckets":[{"bucketId":"1","bucketName":"one"},{}]})");
  EXPECT_EQ(Records("", AERROR::FAILED).size(), 1U);
  AnswerWith("b2_list_buckets", R"({"buckets":[]})");
  EXPECT_TRUE(Records("").empty());
}

TEST_F(ListingTest, StatusesAndBrokenConnectionsFail) {
  const std::string bucket = NewBucket();
  for (const int status : {400, 401, 403, 404, 408, 500, 503}) {
    Fail("b2_list_file_names", status);
    EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty()) << status;
  }
  service->AddFault({.call = "b2_list_file_names", .cut_after = 5});
  EXPECT_TRUE(Records(bucket, AERROR::FAILED).empty());
  Fail("b2_list_file_names", 429);
  EXPECT_TRUE(Records(bucket).empty());
}

TEST_F(ListingTest, NothingToListOrListTo) {
  FileList list;
  service->ClearRequests();
  EXPECT_EQ(drive->GetFileList(nullptr, &list, nullptr), AERROR::FAILED);
  EXPECT_EQ(drive->GetFileList("", nullptr, nullptr), AERROR::FAILED);
  EXPECT_TRUE(service->requests().empty());

  NewBucket();
  CountingList refusing;
  refusing.answer = AERROR::CANCEL;
  EXPECT_EQ(drive->GetFileList("", &refusing, nullptr), AERROR::FAILED);
  EXPECT_EQ(refusing.count, 1U);
}

TEST_F(ListingTest, HugeFolderListsInOrderInMemoryOfOnePage) {
  const std::string bucket = NewBucket();
  constexpr std::size_t kFiles = 100'000;
  for (std::size_t i = 0; i < kFiles; ++i) Store(bucket, "f" + std::to_string(1'000'000 + i), "");
  service->RecordRequests(false);
  CountingList warm_up;
  service->AddFault({.call = "b2_list_file_names", .skip = 1, .status = 403});
  drive->GetFileList(bucket.c_str(), &warm_up, nullptr);
  const long before = PeakKilobytes();
  CountingList list;
  EXPECT_EQ(drive->GetFileList(bucket.c_str(), &list, nullptr), AERROR::SUCCESS);
  EXPECT_EQ(list.count, kFiles);
  EXPECT_TRUE(list.ordered);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(PeakKilobytes() - before, 4096);
#else
  static_cast<void>(before);
#endif
}

TEST_F(ListingTest, InformationComesByTheKindOfItem) {
  const std::string bucket = NewBucket();
  const std::string file = Store(bucket, "photos/2019/a.jpg", "123");
  Store(bucket, "marked/.bzEmpty", "");
  Store(bucket, "marked/deep/er/.bzEmpty", "");
  struct Row {
    std::string id;
    FS_FILE_TYPE type;
    AERROR result;
    std::string name;
    std::string found_id;
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
  for (const Row& row : rows) {
    _FS_FILE_V2 record;
    record.type = row.type;
    record.name = record.id = "kept";
    EXPECT_EQ(drive->GetFileInfo(row.id.c_str(), &record, nullptr), row.result) << row.id;
    EXPECT_EQ(record.name, row.name) << row.id;
    EXPECT_EQ(record.id, row.found_id) << row.id;
    EXPECT_EQ(record.size, row.id == file ? 3U : 0U);
  }
  _FS_FILE_V2 record;
  EXPECT_EQ(drive->GetFileInfo(nullptr, &record, nullptr), AERROR::FAILED);
  EXPECT_EQ(drive->GetFileInfo(file.c_str(), nullptr, nullptr), AERROR::FAILED);
  AnswerWith("b2_get_file_info", R"({"contentLength":1,"uploadTimestamp":1500000000999})");
  EXPECT_EQ(drive->GetFileInfo(file.c_str(), &record, nullptr), AERROR::SUCCESS);
  EXPECT_EQ(record.second_time, "2017-07-14T02:40:00.000Z");
  AnswerWith("b2_get_file_info", R"({"contentLength":1})");
  EXPECT_EQ(drive->GetFileInfo(file.c_str(), &record, nullptr), AERROR::FAILED);
}
