#include "host/plugin/entry.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace b2drive {
namespace {

constexpr long kMillisecond = 1'000'000;  // nanoseconds

timespec ParseTime(const std::string& text) {
  std::tm parts{};
  const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
  if (rest == nullptr) return {};
  int milliseconds = 0;
  if (std::sscanf(rest, ".%3d", &milliseconds) != 1 || milliseconds < 0) milliseconds = 0;
  return {timegm(&parts), milliseconds * kMillisecond};
}

std::shared_ptr<const FileDetails> ReadDetails(const _FS_FILE_V2& record) {
  if (record.texts.empty()) return nullptr;
  auto details = std::make_shared<FileDetails>();
  for (const std::string& text : record.texts) {
    const std::size_t equals = std::min(text.find('='), text.size() - 1);
    const std::string_view key(text.data(), equals);
    std::string value = text.substr(equals + 1);
    constexpr std::string_view kInfo = "info.";
    if (key == "sha1") details->sha1 = std::move(value);
    if (key == "type") details->type = std::move(value);
    if (key == "action") details->action = std::move(value);
    if (key.starts_with(kInfo))
      details->info.emplace_back(key.substr(kInfo.size()), std::move(value));
  }
  return details;
}

}  // namespace

Entry ToEntry(const _FS_FILE_V2& record) {
  if ((record.type & FS_DIRECTORY) != 0) {
    // The times of folders and buckets are those of the listing itself.
    return {record.name, record.id, true, 0, {}};
  }
  return {record.name,
          record.id,
          false,
          record.size,
          ParseTime(record.second_time),
          ParseTime(record.first_time),
          ReadDetails(record)};
}

_FS_FILE_V2 ToRecord(const Entry& entry) {
  _FS_FILE_V2 record;
  record.name = entry.name;
  record.id = entry.id;
  record.type = entry.folder ? FS_DIRECTORY : FS_FILE;
  record.size = entry.size;
  return record;
}

bool MayBeAlike(const Entry& one, const Entry& other) {
  if (one.folder || other.folder || one.size != other.size) return false;
  if (!one.details || !other.details) return true;
  const std::string& first = one.details->sha1;
  const std::string& second = other.details->sha1;
  return first.empty() || second.empty() || first == second;
}

bool AreAlike(const Entry& one, const Entry& other) {
  return MayBeAlike(one, other) && one.details && other.details && !one.details->sha1.empty() &&
         one.details->sha1 == other.details->sha1 && one.details->type == other.details->type &&
         one.details->info == other.details->info;
}

timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

std::string TimeText(const timespec& time) {
  std::tm parts{};
  char text[64];
  char fraction[24];
  if (gmtime_r(&time.tv_sec, &parts) == nullptr) return "";
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(fraction, sizeof fraction, ".%03ldZ", time.tv_nsec / kMillisecond);
  return std::string(text, length) + fraction;
}

}  // namespace b2drive
