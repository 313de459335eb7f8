#include "b2/file_records.h"

#include <utility>

#include "protocol/aerror.h"
#include "util/strings.h"
#include "util/time_format.h"

JsonObject Required(JsonObject& answer, const char* key) {
  try {
    return answer.GetObject(key);
  } catch (AERROR) {
    throw AERROR::FAILED;
  }
}

void SetTimes(_FS_FILE_V2& record, const std::string& time) {
  record.first_time = time;
  record.second_time = time;
  record.third_time = time;
}

void SetUploadTime(_FS_FILE_V2& record, JsonObject& answer) {
  const long long milliseconds = Required(answer, "uploadTimestamp");
  SetTimes(record, TimeToRFC3339(static_cast<long>(milliseconds / 1000)));
}

std::uint64_t ContentLength(JsonObject& answer) {
  return static_cast<std::uint64_t>(static_cast<long long>(Required(answer, "contentLength")));
}

std::string BareSha1(const std::string& sha1) {
  const auto pieces = split_delim(sha1, ":");
  return pieces.size() >= 2 && pieces[0] == "unverified" ? pieces[1] : sha1;
}

std::string ItemId(const std::string& container, const std::string& rest) {
  std::string id;
  id.reserve(container.size() + 1 + rest.size());
  return id.append(container).append("/").append(rest);
}

_FS_FILE_V2 DirectoryRecord(std::string id, std::string name) {
  _FS_FILE_V2 record;
  record.id = std::move(id);
  record.type = FS_DIRECTORY;
  record.name = std::move(name);
  SetTimes(record, GetSystemTimeRfc3339());
  return record;
}

void AddTo(IFileList& list, const _FS_FILE_V2& record) {
  if (const AERROR refused = list.AddFile(&record); refused != AERROR::SUCCESS) throw refused;
}
