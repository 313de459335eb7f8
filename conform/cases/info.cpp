#include <tuple>

#include "conform/cases.h"
#include "conform/drive.h"

// GetFileInfo and CreateDirectory.
namespace conform {
namespace {

void LooksUp() {
  Drive drive;
  const std::string bucket = drive.service.bucket(), file = drive.Put("photos/a.jpg", "123");
  drive.Put("marked/deep/er/.bzEmpty", "");
  const std::string deep = bucket + "/marked/deep/er";
  const std::tuple<std::string, FS_FILE_TYPE, AERROR, std::string, std::string> rows[] = {
      {"", FS_NONE, SUCCESS, "", ""},
      {bucket, FS_NONE, SUCCESS, "bucket-one", bucket},
      {"no-such-bucket", FS_NONE, FAILED, "kept", "id"},
      {"//", FS_NONE, FAILED, "kept", "id"},
      {deep, FS_DIRECTORY, SUCCESS, "deep/er", deep},
      // Files alone do not make a folder that can be looked up.
      {bucket + "/photos", FS_DIRECTORY, FAILED, "kept", "id"},
      {file, FS_FILE, SUCCESS, "kept", "id"},
      {bucket + "/4_z_no_such_file", FS_FILE, FAILED, "kept", "id"}};
  for (const auto& [id, type, code, name, found] : rows) {
    _FS_FILE_V2 record = RecordOf("kept", 0, "id");
    Equal("GetFileInfo " + id, drive.Info(id, type, record), code);
    Equal("name of " + id, record.name, name);
    Equal("identifier of " + id, record.id, found);
    Equal("size of " + id, record.size, id == file ? 3 : 0);
  }
  _FS_FILE_V2 record;
  Equal("no identifier", drive.object->GetFileInfo(nullptr, &record, nullptr), FAILED);
  Equal("no record", drive.object->GetFileInfo(file.c_str(), nullptr, nullptr), FAILED);
}

void ReadsAnswers() {
  Drive drive;
  const std::string file = drive.Put("f", "123");
  _FS_FILE_V2 record;
  drive.service.AnswerWith("b2_get_file_info",
                           R"({"contentLength":5000000000,"uploadTimestamp":1500000000999})");
  Equal("GetFileInfo", drive.Info(file, FS_FILE, record), SUCCESS);
  Equal("size", record.size, 5'000'000'000);
  Equal("time", record.second_time, "2017-07-14T02:40:00.000Z");
  for (const char* bad : {R"({"contentLength":1})", "[]", ""}) {
    drive.service.AnswerWith("b2_get_file_info", bad);
    Equal(std::string("answered with ") + bad, drive.Info(file, FS_FILE, record), FAILED);
  }
}

void MakesDirectories() {
  Drive drive;
  const std::string bucket = drive.service.bucket();
  _FS_FILE_V2 record;
  Equal("a folder", drive.CreateDirectory(bucket + "/2019", "\xC3\xBC x", &record), SUCCESS);
  Equal("its identifier", record.id, bucket + "/2019/\xC3\xBC x");
  Equal("its type", +record.type, +FS_DIRECTORY);
  True("its time", !record.first_time.empty());
  Equal("what is stored", drive.service.Names(), Texts{"2019/\xC3\xBC x/.bzEmpty"});
  Equal("the listing", drive.Names(bucket + "/2019"), Texts{"\xC3\xBC x/"});
  Equal("looked up", drive.Info(record.id, FS_DIRECTORY, record), SUCCESS);
  Equal("a bucket", drive.CreateDirectory("", "bucket-two", &record), SUCCESS);
  True("its identifier", !record.id.empty() && record.id != bucket);
  const auto requests = drive.service.Requests();
  Equal("is private",
        Json::parse(requests.back().at("body").get<std::string>()).value("bucketType", ""),
        "allPrivate");
  Equal("the root", drive.Names(""), Texts{"bucket-one/", "bucket-two/"});
  Equal("once more", drive.CreateDirectory("", "bucket-two"), FAILED);
  Equal("of nothing", drive.object->CreateDirectory(bucket.c_str(), nullptr, nullptr), FAILED);
  Equal("in nothing", drive.object->CreateDirectory(nullptr, nullptr, nullptr), FAILED);
}

}  // namespace

std::vector<Case> InfoCases() {
  return {{"info.kinds", LooksUp},
          {"info.answers", ReadsAnswers},
          {"info.new_directories", MakesDirectories}};
}

}  // namespace conform
