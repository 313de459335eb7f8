#include <regex>

#include "tests/support/drive_test.h"

namespace {

using testing::EndsWith;

class LogTest : public DriveTest {
 protected:
  // The session's lines with what differs from run to run replaced.
  std::string Lines() {
    std::string lines;
    for (Text line : log.Take()) lines += line + "\n";
    for (const auto& [from, to] :
         std::vector<std::pair<std::string, std::string>>{{"[0-9]+ms", "Nms"},
                                                          {"4_z[0-9a-z_]+", "FILE"},
                                                          {bucket, "BUCKET"},
                                                          {"(b2_upload_file/)[^ (]+", "$1URL"},
                                                          {"\\([0-9]+\\) - ", "(B) - "}}) {
      lines = std::regex_replace(lines, std::regex(from), to);
    }
    return lines;
  }
};

const std::string kApi = "https://api001.backblazeb2.com/b2api/v1/";
const std::string kPod = "https://pod-000-1001-00.backblazeb2.com/b2api/v1/";

std::string Trace(Text text) { return "1 [PROTOCOL  ] " + text + "\n"; }
std::string Error(Text text) { return "8 [PROTOCOL  ] " + text + "\n"; }
// What a request writes, and what the handler of its success does.
std::string Sent(Text what, Text url) {
  return "2 [PROTOCOL  ] " + what + " : " + url + "(B) - Nms\n";
}
std::string Done(Text name, Text status = "200") {
  return Trace(name + " >> ON HTTP RANGE 200(" + status + ") : AERROR::SUCCESS(0x00000000)");
}
std::string Posted(Text name, Text call, Text status) {
  return Sent(name + " >> HTTPS POST >> " + status, kApi + call);
}
std::string Answered(Text name, Text call) { return Posted(name, call, "200") + Done(name); }

TEST_F(LogTest, WholeSessionReadsAsItsTable) {
  EXPECT_EQ(Lines(), Sent("Process >> HTTPS GET >> 200",
                          "https://api.backblazeb2.com/b2api/v1/b2_authorize_account") +
                         Done("Process"));
  const std::string file = Store("f", "0123456789");
  List("");
  EXPECT_EQ(Lines(),
            Trace("GetFileList id: []") + Answered("GetFileList_BucketList", "b2_list_buckets"));
  ReadAll(file, 5);
  EXPECT_EQ(Lines(),
            Trace("Read [BUCKET/FILE] offset 0, length 5") +
                Sent("Read >> HTTPS GET >> 206", kApi + "b2_download_file_by_id?fileId=FILE") +
                Done("Read", "206"));
  FetchedBytes refusing;
  refusing.on_block = [] { throw std::bad_alloc(); };
  EXPECT_EQ(Read(Store("big", std::string(2'000'000, 'x')), 0, 2'000'000, refusing), READ_CANCELED);
  EXPECT_THAT(Lines(), EndsWith(Trace("Read >> Failed writing received data to disk/application(23)"
                                      " treat as AERROR::READ_CANCELED")));
  EXPECT_EQ(Upload(bucket, "new", "contents"), SUCCESS);
  EXPECT_EQ(Lines(), Trace("Upload id [BUCKET], name [new]") +
                         Answered("GetUploadUrl", "b2_get_upload_url") +
                         Sent("UploadUsingPost >> HTTPS POST >> 200", kPod + "b2_upload_file/URL") +
                         Done("UploadUsingPost"));
  _FS_FILE_V2 record = RecordOf("f", 0, file);
  Fail("b2_delete_file_version", 429);
  EXPECT_EQ(drive->Delete(&record, nullptr), SUCCESS);
  EXPECT_EQ(Lines(), Trace("Delete filename [f], id [BUCKET/FILE]") +
                         Trace("_GetFileInfo id [BUCKET/FILE]") +
                         Answered("_GetFileInfo", "b2_get_file_info") +
                         Answered("GetFileList_ObjectVersions", "b2_list_file_versions") +
                         Posted("DeleteVersion", "b2_delete_file_version", "429") +
                         "2 [PROTOCOL  ] DeleteVersion >> 5 time(s) backoff left\n" +
                         Trace("DeleteVersion >> Backoff done. Retry") +
                         Answered("DeleteVersion", "b2_delete_file_version"));
  AnswerWith("b2_list_file_names", "no JSON");
  Records(bucket, FAILED);
  EXPECT_THAT(Lines(), EndsWith(Error("GetFileList_ObjectList >> ON HTTP RANGE 200(200) : "
                                      "AERROR::FAILED(0x00000001)")));
}

TEST_F(LogTest, CallsWithoutAnAttemptLogTheirArguments) {
  _FS_FILE_V2 record = RecordOf("n");
  log.Take();
  drive->Rename("a", "b", &record, nullptr);
  drive->Move("a", "b", &record, nullptr);
  drive->MoveDir("a", "b", &record, nullptr);
  drive->Upload(nullptr, nullptr, nullptr, &record, UPLOAD_DEFAULT, nullptr);
  Fail("b2_delete_bucket", 400);
  Fail("b2_create_bucket", 400);
  DeleteDirectory(bucket);
  drive->CreateDirectory("", &record, nullptr);
  EXPECT_EQ(Lines(), Trace("Rename id [a], target [b], filename [n]") +
                         Trace("Move id [a], target [b] file->filename[n]") +
                         Trace("MoveDir id [a], target [b] file->filename[n]") +
                         Trace("Upload id [(null)], name [n]") +
                         Trace("DeleteDirectory filename [], id [BUCKET]") +
                         Trace("DeleteBucket id [BUCKET]") +
                         Posted("DeleteBucket", "b2_delete_bucket", "400") +
                         Error("DeleteBucket >> HTTP 400") +
                         Trace("CreateDirectory bucket_id [n], object_name []") +
                         Posted("CreateDirectory", "b2_create_bucket", "400") +
                         Error("CreateDirectory >> HTTP 400"));
}

}  // namespace
