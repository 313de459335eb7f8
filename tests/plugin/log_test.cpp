#include <regex>

#include "tests/support/drive_test.h"

namespace {

class LogTest : public DriveTest {
 protected:
  // The session's lines with what differs from run to run replaced.
  std::vector<std::string> Lines() {
    const std::pair<const char*, const char*> rules[] = {{"[0-9]+ms", "Nms"},
                                                         {"4_z[0-9a-z_]+", "FILE"},
                                                         {bucket.c_str(), "BUCKET"},
                                                         {"(b2_upload_file/)[^ (]+", "$1URL"},
                                                         {"\\([0-9]+\\) - ", "(B) - "}};
    std::vector<std::string> lines = log.Take();
    for (std::string& line : lines) {
      for (const auto& [from, to] : rules) line = std::regex_replace(line, std::regex(from), to);
    }
    return lines;
  }
};

using Session = std::vector<std::string>;

constexpr const char* kApi = "https://api001.backblazeb2.com/b2api/v1/";

// What a request writes, and what the handler of its success does.
std::string Sent(const std::string& what, const std::string& url) {
  return "2 [PROTOCOL  ] " + what + " : " + url + "(B) - Nms";
}
std::string Done(const std::string& name, const std::string& status = "200") {
  return "1 [PROTOCOL  ] " + name + " >> ON HTTP RANGE 200(" + status +
         ") : AERROR::SUCCESS(0x00000000)";
}
std::string Posted(const std::string& name, const std::string& call,
                   const std::string& status = "200") {
  return Sent(name + " >> HTTPS POST >> " + status, kApi + call);
}

TEST_F(LogTest, WholeSessionReadsAsItsTable) {
  EXPECT_EQ(Lines(), (Session{Sent("Process >> HTTPS GET >> 200",
                                   "https://api.backblazeb2.com/b2api/v1/b2_authorize_account"),
                              Done("Process")}));

  const std::string file = Store(bucket, "f", "0123456789");
  List("");
  EXPECT_EQ(Lines(), (Session{"1 [PROTOCOL  ] GetFileList id: []",
                              Posted("GetFileList_BucketList", "b2_list_buckets"),
                              Done("GetFileList_BucketList")}));
  ReadAll(file, 5);
  const std::string download = std::string(kApi) + "b2_download_file_by_id?fileId=FILE";
  EXPECT_EQ(Lines(), (Session{"1 [PROTOCOL  ] Read [BUCKET/FILE] offset 0, length 5",
                              Sent("Read >> HTTPS GET >> 206", download), Done("Read", "206")}));
  FetchedBytes refusing;
  refusing.on_block = [] { throw std::bad_alloc(); };
  EXPECT_EQ(Read(Store(bucket, "big", std::string(2'000'000, 'x')), 0, 2'000'000, refusing),
            AERROR::READ_CANCELED);
  EXPECT_EQ(Lines().back(),
            "1 [PROTOCOL  ] Read >> Failed writing received data to disk/application(23) treat as "
            "AERROR::READ_CANCELED");

  EXPECT_EQ(Upload(bucket, "new", "contents"), AERROR::SUCCESS);
  EXPECT_EQ(Lines(),
            (Session{"1 [PROTOCOL  ] Upload id [BUCKET], name [new]",
                     Posted("GetUploadUrl", "b2_get_upload_url"), Done("GetUploadUrl"),
                     Sent("UploadUsingPost >> HTTPS POST >> 200",
                          "https://pod-000-1001-00.backblazeb2.com/b2api/v1/b2_upload_file/URL"),
                     Done("UploadUsingPost")}));

  _FS_FILE_V2 record = NewFile("f", 0);
  record.id = file;
  Fail("b2_delete_file_version", 429);
  EXPECT_EQ(drive->Delete(&record, nullptr), AERROR::SUCCESS);
  EXPECT_EQ(Lines(),
            (Session{"1 [PROTOCOL  ] Delete filename [f], id [BUCKET/FILE]",
                     "1 [PROTOCOL  ] _GetFileInfo id [BUCKET/FILE]",
                     Posted("_GetFileInfo", "b2_get_file_info"), Done("_GetFileInfo"),
                     Posted("GetFileList_ObjectVersions", "b2_list_file_versions"),
                     Done("GetFileList_ObjectVersions"),
                     Posted("DeleteVersion", "b2_delete_file_version", "429"),
                     "2 [PROTOCOL  ] DeleteVersion >> 5 time(s) backoff left",
                     "1 [PROTOCOL  ] DeleteVersion >> Backoff done. Retry",
                     Posted("DeleteVersion", "b2_delete_file_version"), Done("DeleteVersion")}));

  AnswerWith("b2_list_file_names", "no JSON");
  Records(bucket, AERROR::FAILED);
  EXPECT_EQ(Lines().back(),
            "8 [PROTOCOL  ] GetFileList_ObjectList >> ON HTTP RANGE 200(200) : "
            "AERROR::FAILED(0x00000001)");
}

TEST_F(LogTest, CallsWithoutAnAttemptLogTheirArguments) {
  _FS_FILE_V2 record = NewFile("n", 0);
  log.Take();
  drive->Rename("a", "b", &record, nullptr);
  drive->Move("a", "b", &record, nullptr);
  drive->MoveDir("a", "b", &record, nullptr);
  drive->Upload(nullptr, nullptr, nullptr, &record, UPLOAD_DEFAULT, nullptr);
  Fail("b2_delete_bucket", 400);
  Fail("b2_create_bucket", 400);
  DeleteDirectory(bucket);
  drive->CreateDirectory("", &record, nullptr);
  EXPECT_EQ(Lines(), (Session{"1 [PROTOCOL  ] Rename id [a], target [b], filename [n]",
                              "1 [PROTOCOL  ] Move id [a], target [b] file->filename[n]",
                              "1 [PROTOCOL  ] MoveDir id [a], target [b] file->filename[n]",
                              "1 [PROTOCOL  ] Upload id [(null)], name [n]",
                              "1 [PROTOCOL  ] DeleteDirectory filename [], id [BUCKET]",
                              "1 [PROTOCOL  ] DeleteBucket id [BUCKET]",
                              Posted("DeleteBucket", "b2_delete_bucket", "400"),
                              "8 [PROTOCOL  ] DeleteBucket >> HTTP 400",
                              "1 [PROTOCOL  ] CreateDirectory bucket_id [n], object_name []",
                              Posted("CreateDirectory", "b2_create_bucket", "400"),
                              "8 [PROTOCOL  ] CreateDirectory >> HTTP 400"}));
}

TEST_F(LogTest, NoSettingShowsTheKey) {
  log.trace = true;
  SetOpt("verbose", "on");
  EXPECT_EQ(Connect(), AERROR::SUCCESS);
  const std::string basic = service->requests().back().Header("Authorization").substr(6);
  EXPECT_EQ(Upload(bucket, "f", "contents"), AERROR::SUCCESS);
  const std::string file = Records(bucket).at(0).id;
  ReadAll(file, 8);
  Delete(file);

  const auto decompress = plugin.Get<std::string (*)(const std::string&)>(
      "_Z17decompress_stringRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
  int decoded = 0;
  for (const std::string& line : log.Take()) {
    const std::size_t hex = line.find(" >> \n");
    const std::string body = hex == std::string::npos ? "" : decompress(line.substr(hex + 5));
    decoded += body.find("\n\n{") != std::string::npos ? 1 : 0;
    for (const std::string& secret : {service->key(), basic}) {
      EXPECT_EQ((line + body).find(secret), std::string::npos) << line << body;
    }
  }
  EXPECT_GE(decoded, 6);
}

}  // namespace
