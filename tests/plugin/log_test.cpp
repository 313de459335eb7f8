#include <regex>

#include "tests/support/drive_test.h"

namespace {

class LogTest : public DriveTest {
 protected:
  // The session's lines with what differs from run to run replaced.
  std::vector<std::string> Lines() {
    std::vector<std::string> lines = log.Take();
    for (std::string& line : lines) {
      line = std::regex_replace(line, std::regex("[0-9]+ms"), "Nms");
      line = std::regex_replace(line, std::regex("4_z[0-9a-z_]+"), "FILE");
      line = std::regex_replace(line, std::regex(bucket), "BUCKET");
      line = std::regex_replace(line, std::regex("(b2_upload_file/)[^ (]+"), "$1URL");
      line = std::regex_replace(line, std::regex("\\([0-9]+\\) - "), "(B) - ");
    }
    return lines;
  }

  std::string Decompressed(const std::string& hex) const {
    using Decompress = std::string (*)(const std::string&);
    return plugin.Get<Decompress>(
        "_Z17decompress_stringRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE")(hex);
  }

  std::string bucket = NewBucket();
};

std::string Base64(const std::string& bytes) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  unsigned bits = 0;
  int count = 0;
  for (const char byte : bytes) {
    bits = bits << 8 | static_cast<unsigned char>(byte);
    for (count += 8; count >= 6;) text += kDigits[bits >> (count -= 6) & 63];
  }
  return text;  // whole digits only: enough to search for
}

using Session = std::vector<std::string>;

}  // namespace

TEST_F(LogTest, WholeSessionReadsAsItsTable) {
  const std::string api = "HTTPS POST >> ";
  const std::string url = " : https://api001.backblazeb2.com/b2api/v1/";
  const std::string done = " >> ON HTTP RANGE 200(200) : AERROR::SUCCESS(0x00000000)";
  EXPECT_EQ(Lines(), (Session{"2 [PROTOCOL  ] Process >> HTTPS GET >> 200 : "
                              "https://api.backblazeb2.com/b2api/v1/b2_authorize_account(B) - Nms",
                              "1 [PROTOCOL  ] Process" + done}));

  const std::string file = Store(bucket, "f", "0123456789");
  List("");
  EXPECT_EQ(Lines(), (Session{"1 [PROTOCOL  ] GetFileList id: []",
                              "2 [PROTOCOL  ] GetFileList_BucketList >> " + api + "200" + url +
                                  "b2_list_buckets(B) - Nms",
                              "1 [PROTOCOL  ] GetFileList_BucketList" + done}));
  ReadAll(file, 5);
  EXPECT_EQ(Lines(), (Session{"1 [PROTOCOL  ] Read [BUCKET/FILE] offset 0, length 5",
                              "2 [PROTOCOL  ] Read >> HTTPS GET >> 206" + url +
                                  "b2_download_file_by_id?fileId=FILE(B) - Nms",
                              "1 [PROTOCOL  ] Read >> ON HTTP RANGE 200(206) : "
                              "AERROR::SUCCESS(0x00000000)"}));
  FetchedBytes refusing;
  refusing.answer = AERROR::FAILED;
  Store(bucket, "big", std::string(2'000'000, 'x'));
  EXPECT_EQ(Read(Records(bucket).at(0).id, 0, 2'000'000, refusing), AERROR::READ_CANCELED);
  EXPECT_EQ(Lines().back(),
            "1 [PROTOCOL  ] Read >> Failed writing received data to disk/application(23) treat as "
            "AERROR::READ_CANCELED");

  EXPECT_EQ(Upload(bucket, "new", "contents"), AERROR::SUCCESS);
  EXPECT_EQ(
      Lines(),
      (Session{"1 [PROTOCOL  ] Upload id [BUCKET], name [new]",
               "2 [PROTOCOL  ] GetUploadUrl >> " + api + "200" + url + "b2_get_upload_url(B) - Nms",
               "1 [PROTOCOL  ] GetUploadUrl" + done,
               "2 [PROTOCOL  ] UploadUsingPost >> " + api +
                   "200 : https://pod-000-1001-00.backblazeb2.com/b2api/v1/b2_upload_file/"
                   "URL(B) - Nms",
               "1 [PROTOCOL  ] UploadUsingPost" + done}));

  _FS_FILE_V2 record = NewFile("f", 0);
  record.id = file;
  Fail("b2_delete_file_version", 429);
  EXPECT_EQ(drive->Delete(&record, nullptr), AERROR::SUCCESS);
  EXPECT_EQ(Lines(), (Session{"1 [PROTOCOL  ] Delete filename [f], id [BUCKET/FILE]",
                              "1 [PROTOCOL  ] _GetFileInfo id [BUCKET/FILE]",
                              "2 [PROTOCOL  ] _GetFileInfo >> " + api + "200" + url +
                                  "b2_get_file_info(B) - Nms",
                              "1 [PROTOCOL  ] _GetFileInfo" + done,
                              "2 [PROTOCOL  ] GetFileList_ObjectVersions >> " + api + "200" + url +
                                  "b2_list_file_versions(B) - Nms",
                              "1 [PROTOCOL  ] GetFileList_ObjectVersions" + done,
                              "2 [PROTOCOL  ] DeleteVersion >> " + api + "429" + url +
                                  "b2_delete_file_version(B) - Nms",
                              "2 [PROTOCOL  ] DeleteVersion >> 5 time(s) backoff left",
                              "1 [PROTOCOL  ] DeleteVersion >> Backoff done. Retry",
                              "2 [PROTOCOL  ] DeleteVersion >> " + api + "200" + url +
                                  "b2_delete_file_version(B) - Nms",
                              "1 [PROTOCOL  ] DeleteVersion" + done}));

  service->AddFault({.call = "b2_list_file_names", .status = 200, .body = "no JSON"});
  Records(bucket, AERROR::FAILED);
  EXPECT_EQ(Lines().back(),
            "8 [PROTOCOL  ] GetFileList_ObjectList >> ON HTTP RANGE 200(200) : "
            "AERROR::FAILED(0x00000001)");
}

TEST_F(LogTest, CallsWithoutAnAttemptLogTheirArguments) {
  _FS_FILE_V2 record = NewFile("n", 0);
  record.id = "i";
  log.Take();
  drive->Rename("a", "b", &record, nullptr);
  drive->Move("a", "b", &record, nullptr);
  drive->MoveDir("a", "b", &record, nullptr);
  drive->Upload(nullptr, nullptr, nullptr, &record, UPLOAD_DEFAULT, nullptr);
  EXPECT_EQ(Lines(), (Session{"1 [PROTOCOL  ] Rename id [a], target [b], filename [n]",
                              "1 [PROTOCOL  ] Move id [a], target [b] file->filename[n]",
                              "1 [PROTOCOL  ] MoveDir id [a], target [b] file->filename[n]",
                              "1 [PROTOCOL  ] Upload id [(null)], name [n]"}));
  Fail("b2_delete_bucket", 400);
  Fail("b2_create_bucket", 400);
  record.id = bucket;
  drive->DeleteDirectory(&record, nullptr);
  drive->CreateDirectory("", &record, nullptr);
  const Session lines = Lines();
  EXPECT_EQ(lines.at(0), "1 [PROTOCOL  ] DeleteDirectory filename [n], id [BUCKET]");
  EXPECT_EQ(lines.at(1), "1 [PROTOCOL  ] DeleteBucket id [BUCKET]");
  EXPECT_EQ(lines.at(3), "8 [PROTOCOL  ] DeleteBucket >> HTTP 400");
  EXPECT_EQ(lines.at(4), "1 [PROTOCOL  ] CreateDirectory bucket_id [n], object_name []");
}

TEST_F(LogTest, NoSettingShowsTheKey) {
  log.trace = true;
  SetOpt("verbose", "on");
  EXPECT_EQ(Connect(), AERROR::SUCCESS);
  EXPECT_EQ(Upload(bucket, "f", "contents"), AERROR::SUCCESS);
  const std::string file = Records(bucket).at(0).id;
  ReadAll(file, 8);
  _FS_FILE_V2 record;
  record.id = file;
  drive->Delete(&record, nullptr);

  const std::string key = service->key();
  const Session secrets = {key, Base64(key), Base64(service->account_id() + ":" + key)};
  int decoded = 0;
  for (const std::string& line : log.Take()) {
    const std::size_t hex = line.find(" >> \n");
    const std::string body = hex == std::string::npos ? "" : Decompressed(line.substr(hex + 5));
    decoded += body.find("\n\n{") != std::string::npos ? 1 : 0;
    for (const std::string& secret : secrets) {
      EXPECT_EQ(line.find(secret), std::string::npos) << line;
      EXPECT_EQ(body.find(secret), std::string::npos) << body;
    }
  }
  EXPECT_GE(decoded, 6);
}
