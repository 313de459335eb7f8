#include "b2/file_details.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "b2/file_records.h"
#include "base/numbers.h"
#include "protocol/log.h"
#include "util/mime_types.h"
#include "util/time_format.h"

namespace {

constexpr std::string_view kType = "type=";
constexpr std::string_view kInfo = "info.";
constexpr std::size_t kMostPairs = 10;
constexpr std::size_t kLongestKey = 50;
constexpr std::size_t kSha1Digits = 40;

// Thrown here only.
struct NotTaken {
  std::string text;
};

[[noreturn]] void Refuse(std::string_view text) { throw NotTaken{std::string(text)}; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsKeyCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
         std::string_view("-_.`~!#$%^&*'|+").find(c) != std::string_view::npos;
}

bool IsReserved(std::string_view key) {
  constexpr std::string_view kTaken[] = {
      "b2-content-disposition", "b2-content-language", "b2-expires",
      "b2-cache-control",       "b2-content-encoding", "b2-content-type"};
  return key.starts_with("b2-") && std::ranges::find(kTaken, key) == std::end(kTaken);
}

std::string CheckedKey(std::string_view text) {
  std::string key(text);
  std::ranges::transform(key, key.begin(), Lower);
  const bool fits = !key.empty() && key.size() <= kLongestKey &&
                    std::ranges::all_of(key, IsKeyCharacter) && !IsReserved(key);
  if (!fits) Refuse(key);
  return key;
}

std::string CheckedType(std::string_view text) {
  const auto is_plain = [](char c) { return c >= ' ' && c <= '~'; };
  if (text.empty() || !std::ranges::all_of(text, is_plain)) Refuse(text);
  return std::string(text);
}

void ReadText(std::string_view text, FileAttributes& attributes) {
  if (text.starts_with(kType)) {
    attributes.content_type = CheckedType(text.substr(kType.size()));
  } else if (text.starts_with(kInfo)) {
    text.remove_prefix(kInfo.size());
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) Refuse(text);
    attributes.info[CheckedKey(text.substr(0, equals))] = text.substr(equals + 1);
  }
}

// Of a record's time; none where it has no date.
std::optional<long long> Milliseconds(const std::string& time) {
  int year = 0, month = 0, day = 0, hours = 0, minutes = 0, seconds = 0, used = 0;
  std::sscanf(time.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &year, &month, &day, &hours, &minutes,
              &seconds, &used);
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (used == 0 || !date.ok()) return std::nullopt;
  // By hand: the C library's conversions of a time take a lock and look at the time zone.
  const std::chrono::seconds whole = std::chrono::sys_days(date).time_since_epoch() +
                                     std::chrono::hours(hours) + std::chrono::minutes(minutes) +
                                     std::chrono::seconds(seconds);
  const double fraction = std::strtod(time.c_str() + used, nullptr);  // ".417Z"
  const bool counts = fraction > 0 && fraction < 1;
  return whole.count() * 1000LL + (counts ? std::llround(fraction * 1000) : 0);
}

std::string RecordTime(long long milliseconds) {
  const long long part = (milliseconds % 1000 + 1000) % 1000;
  std::string time = TimeToRFC3339(static_cast<long>((milliseconds - part) / 1000));
  char digits[8];
  std::snprintf(digits, sizeof digits, "%03d", static_cast<int>(part));
  return time.replace(time.size() - 4, 3, digits, 3);
}

std::string InfoOf(JsonObject& answer, const char* key) {
  if (!answer.HasObject("fileInfo")) return "";
  JsonObject info = answer["fileInfo"];
  return info.HasObject(key) ? static_cast<std::string>(info[key]) : "";
}

void AddText(_FS_FILE_V2& record, const std::string& key, const std::string& value) {
  if (!value.empty()) record.texts.push_back(key + "=" + value);
}

void SetTexts(_FS_FILE_V2& record, JsonObject& answer) {
  record.texts.clear();
  AddText(record, "sha1", Sha1Of(answer));
  AddText(record, "type", answer["contentType"]);
  AddText(record, "action", answer["action"]);
  if (!answer.HasObject("fileInfo")) return;
  JsonObject info = answer["fileInfo"];
  if (!info.IsValid()) return;
  for (const std::string& key : info.GetKeys()) {
    record.texts.push_back("info." + key + "=" + static_cast<std::string>(info[key.c_str()]));
  }
}

FileAttributes ReadAttributes(const Options& options, const _FS_FILE_V2& record,
                              const std::string& name, std::size_t own) {
  FileAttributes attributes{get_mime_type_from_ext(name), {}};
  if (options.file_details) {
    for (const std::string& text : record.texts) ReadText(text, attributes);
  }
  if (options.keep_times) {
    const auto time = Milliseconds(record.second_time);
    if (time) attributes.info.try_emplace(kSourceTime, std::to_string(*time));
  }
  if (attributes.info.size() + own > kMostPairs)
    Refuse("more than ten entries of file information");
  return attributes;
}

}  // namespace

std::string Sha1Of(JsonObject& answer) {
  const auto is_digit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
  const std::string stored = answer["contentSha1"];
  for (std::string text : {stored.substr(stored.rfind(':') + 1), InfoOf(answer, "large_file_sha1")})
    if (text.size() == kSha1Digits && std::ranges::all_of(text, is_digit)) return text;
  return "";
}

AERROR GetAttributes(const Options& options, const _FS_FILE_V2& record, const std::string& name,
                     FileAttributes& attributes, int own) {
  try {
    attributes = ReadAttributes(options, record, name, static_cast<std::size_t>(own));
    return AERROR::SUCCESS;
  } catch (const NotTaken& refused) {
    __LOG__A(logger, LOGLEVEL_ERROR, "[PROTOCOL  ] %s >> The service takes no [%s]", "FileDetails",
             refused.text.c_str());
    return AERROR::INVALID_PARAMETER;
  }
}

JsonObject InfoMembers(const FileAttributes& attributes) {
  JsonObject members = JsonObject::GetEmptyObject();
  for (const auto& [key, value] : attributes.info) members[key.c_str()] = value;
  return members;
}

void SetStored(const Options& options, _FS_FILE_V2& record, JsonObject& answer) {
  if (options.view == View::kFiles) {
    SetUploadTime(record, answer);
  } else {
    SetTimes(record, RecordTime(Required(answer, "uploadTimestamp")));
  }
  if (options.keep_times) {
    const auto time = base::ParseNumber<long long>(InfoOf(answer, kSourceTime));
    if (time) record.second_time = RecordTime(*time);
  }
  if (options.file_details) {
    SetTexts(record, answer);
  } else if (options.view != View::kFiles) {
    record.texts.clear();
    AddText(record, "action", answer["action"]);
  }
}
