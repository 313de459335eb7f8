#include "host/cli/time_argument.h"

#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

#include "base/numbers.h"
#include "host/common/errors.h"

namespace b2drive::cli {
namespace {

constexpr char kTimeForms[] = "a time as 2026-01-31 or 2026-01-31T12:00:00Z";

std::optional<timespec> ReadTime(const std::string& text) {
  constexpr std::size_t kYearDigits = 4;
  if (text.find_first_not_of("0123456789") != kYearDigits) return std::nullopt;
  for (const char* format :
       {"%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%d %H:%M", "%Y-%m-%d"}) {
    std::tm parts{};
    const char* end = strptime(text.c_str(), format, &parts);
    if (end == nullptr) continue;
    char* rest = const_cast<char*>(end);
    const double fraction = *end == '.' ? std::strtod(end, &rest) : 0;
    if (*rest == 'Z') ++rest;
    if (*rest != '\0' || fraction >= 1) continue;
    const int day = parts.tm_mday;
    const std::time_t seconds = timegm(&parts);  // of February 31 it makes March 3
    if (parts.tm_mday != day) return std::nullopt;
    return timespec{seconds, static_cast<long>(fraction * 1e9)};
  }
  return std::nullopt;
}

}  // namespace

timespec ParseTime(const std::string& option, const std::string& text) {
  if (const auto time = ReadTime(text)) return *time;
  throw HostError(ExitCode::kUsage, option + " " + text + ": not " + kTimeForms);
}

timespec ParseTimeOrFile(const std::string& option, const std::string& text) {
  struct stat status {};
  if (stat(text.c_str(), &status) == 0) return status.st_mtim;
  if (const auto time = ReadTime(text)) return *time;
  throw HostError(ExitCode::kUsage,
                  option + " " + text + ": neither a local file nor " + kTimeForms);
}

std::chrono::seconds ParseDuration(const std::string& option, const std::string& text) {
  constexpr std::array<std::pair<char, long>, 5> kUnits = {
      {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 7 * 86400}}};
  const std::string_view digits = std::string_view(text).substr(0, text.size() - !text.empty());
  const auto number = base::ParseNumber<unsigned>(digits);
  for (const auto& [unit, seconds] : kUnits) {
    if (number && text.back() == unit) return std::chrono::seconds(*number * seconds);
  }
  throw HostError(ExitCode::kUsage, option + " " + text + ": no duration such as 30m, 12h or 7d");
}

bool IsLater(const timespec& one, const timespec& other) {
  return std::pair(one.tv_sec, one.tv_nsec) > std::pair(other.tv_sec, other.tv_nsec);
}

}  // namespace b2drive::cli
