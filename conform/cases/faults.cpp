#include <algorithm>
#include <regex>

#include "conform/cases.h"
#include "conform/drive.h"
#include "protocol/log_lines.h"

// What each call's failures become: one code, and lines that tell the rest.
namespace conform {
namespace {

struct Operation {
  const char* call;
  const char* query;
  AERROR (*run)(Drive& drive);
  bool reads_answer = true;  // an answer of 200 that does not read is a failure
};

AERROR ListBuckets(Drive& drive) {
  List list;
  return drive.GetList("", list);
}
AERROR ListFiles(Drive& drive) {
  List list;
  return drive.GetList(drive.service.bucket(), list);
}
AERROR GetInfo(Drive& drive) {
  _FS_FILE_V2 record;
  return drive.Info(drive.Id(drive.service.Versions("f").at(0)), FS_FILE, record);
}
AERROR ReadFile(Drive& drive) {
  Fetched fetched;
  return drive.Read(drive.Id(drive.service.Versions("f").at(0)), 0, 4, fetched);
}
AERROR MakeBucket(Drive& drive) { return drive.CreateDirectory("", "bucket-two"); }
AERROR MakeFolder(Drive& drive) { return drive.CreateDirectory(drive.service.bucket(), "new"); }
AERROR DeleteBucket(Drive& drive) {
  static int buckets = 0;
  return drive.DeleteDirectory(
      drive.service.MakeBucket("more-buckets-" + std::to_string(++buckets)));
}
AERROR DeleteFolder(Drive& drive) {
  drive.Put("d/f", "1");
  return drive.DeleteDirectory(drive.Id("d"));
}
AERROR PutSmall(Drive& drive) { return drive.Upload("small", "contents"); }
AERROR PutLarge(Drive& drive) { return drive.Upload("large", Bytes(250'000)); }

const Operation kOperations[] = {
    {"b2_list_buckets", query::kListBuckets, ListBuckets},
    {"b2_list_file_names", query::kListObjects, ListFiles},
    {"b2_get_file_info", query::kFileInfo, GetInfo},
    {"b2_download_file_by_id", query::kRead, ReadFile, false},
    {"b2_create_bucket", query::kCreateBucket, MakeBucket},
    {"b2_get_upload_url", query::kUploadUrl, MakeFolder},
    {"b2_delete_bucket", query::kDeleteBucket, DeleteBucket, false},
    {"b2_list_file_versions", query::kListVersions, DeleteFolder},
    {"b2_delete_file_version", query::kDeleteVersion, DeleteFolder, false},
    {"b2_get_upload_url", query::kUploadUrl, PutSmall},
    {"b2_start_large_file", query::kStartLargeFile, PutLarge},
    {"b2_get_upload_part_url", query::kUploadPartUrl, PutLarge}};

bool HasMatch(const std::vector<Line>& lines, int level, Text pattern) {
  const std::regex wanted(pattern);
  return std::ranges::any_of(lines, [&](const Line& line) {
    return line.level == level && std::regex_match(line.text, wanted);
  });
}

void FailsBy(Drive& drive, const Operation& operation, Json fault, Text line) {
  fault["call"] = operation.call;
  drive.service.Fault(fault);
  drive.log.Take();
  Equal(fault.dump(), operation.run(drive), FAILED);
  True("the line of level 8: " + line + ", " + fault.dump(),
       HasMatch(drive.log.Take(), LOGLEVEL_ERROR, line));
  drive.service.Heal();
}

void Fails(const Operation& operation) {
  Drive drive(kSmallParts);
  drive.Put("f", "contents");
  const std::string name = std::string("\\[PROTOCOL  \\] ") + operation.query + " >> ";
  for (const int status : {400, 401, 403, 404, 408, 409, 500, 503}) {
    FailsBy(drive, operation, {{"status", status}}, name + "HTTP " + std::to_string(status));
  }
  FailsBy(drive, operation, {{"cutAfter", 0}}, name + ".+\\([0-9]+\\)");
  if (operation.reads_answer) {
    for (const char* body : {"", "no JSON", "[]", "{}"}) {
      FailsBy(drive, operation, {{"status", 200}, {"body", body}},
              name + "ON HTTP RANGE 200\\(200\\) : AERROR::FAILED\\(0x00000001\\)");
    }
  }
  drive.service.Fail(operation.call, 429);
  Equal("answered with 429 once", operation.run(drive), SUCCESS);
}

}  // namespace

std::vector<Case> FaultsCases() {
  std::vector<Case> cases;
  for (const Operation& operation : kOperations) {
    std::string name = "faults." + std::string(operation.query);
    if (std::ranges::find(cases, name, &Case::name) != cases.end()) name += "_of_file";
    cases.push_back({name, [&operation] { Fails(operation); }});
  }
  return cases;
}

}  // namespace conform
