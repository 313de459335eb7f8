#include "host/plugin/entry.h"

namespace b2drive {
namespace {

timespec ParseTime(const std::string& text) {
  std::tm parts{};
  if (strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts) == nullptr) return {};
  return {timegm(&parts), 0};
}

}  // namespace

Entry ToEntry(const _FS_FILE_V2& record) {
  if ((record.type & FS_DIRECTORY) != 0) {
    // The times of folders and buckets are those of the listing itself.
    return {record.name, record.id, true, 0, {}};
  }
  return {record.name, record.id, false, record.size, ParseTime(record.first_time)};
}

_FS_FILE_V2 ToRecord(const Entry& entry) {
  _FS_FILE_V2 record;
  record.name = entry.name;
  record.id = entry.id;
  record.type = entry.folder ? FS_DIRECTORY : FS_FILE;
  record.size = entry.size;
  return record;
}

timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

std::string TimeText(const timespec& time) {
  std::tm parts{};
  char text[64];
  const char* const form = "%Y-%m-%dT%H:%M:%S.000Z";
  if (gmtime_r(&time.tv_sec, &parts) == nullptr) return "";
  return {text, std::strftime(text, sizeof text, form, &parts)};
}

}  // namespace b2drive
