#include "util/time_format.h"

#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <limits>

#include "util/strings.h"

namespace {

constexpr long kSecondsPerDay = 86400;
constexpr int kStandardTime = 0;
constexpr int kSystemDecides = -1;

// A calendar time. Unlike in tm, the year has room for every count of seconds and the month starts
// at 1.
struct Calendar {
  long year;
  int month;
  int day;
  int hour;
  int minute;
  int second;
};

// UTC by arithmetic: gmtime_r takes the lock around the time-zone data, and a listing formats
// thousands of times on several threads. Days are counted from 1 March of a year divisible by 400,
// so that the leap day is the last of its year and of its era of 400 years.
Calendar ToUtc(long t) {
  constexpr long kDaysPerEra = 146097;
  constexpr long kDaysFromEraStartTo1970 = 719468;
  const long second_of_day = (t % kSecondsPerDay + kSecondsPerDay) % kSecondsPerDay;
  const long days = t / kSecondsPerDay - (t % kSecondsPerDay < 0 ? 1 : 0) + kDaysFromEraStartTo1970;
  const long era = (days >= 0 ? days : days - (kDaysPerEra - 1)) / kDaysPerEra;
  const long day_of_era = days - era * kDaysPerEra;
  const long year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const long day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const long month_from_march = (5 * day_of_year + 2) / 153;
  const long month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
  return {year_of_era + era * 400 + (month <= 2 ? 1 : 0),
          static_cast<int>(month),
          static_cast<int>(day_of_year - (153 * month_from_march + 2) / 5 + 1),
          static_cast<int>(second_of_day / 3600),
          static_cast<int>(second_of_day / 60 % 60),
          static_cast<int>(second_of_day % 60)};
}

// `value` from 0 to 99 as two digits.
void PutTwoDigits(char* at, int value) {
  at[0] = static_cast<char>('0' + value / 10);
  at[1] = static_cast<char>('0' + value % 10);
}

bool HasTwoDigits(int value) { return value >= 0 && value <= 99; }

// Every field is in its usual range, unlike in a tm that a caller filled in.
bool IsUsual(const Calendar& time) {
  return time.year >= 0 && time.year <= 9999 && HasTwoDigits(time.month) &&
         HasTwoDigits(time.day) && HasTwoDigits(time.hour) && HasTwoDigits(time.minute) &&
         HasTwoDigits(time.second);
}

// By hand, because a listing formats as many times as it has names and printf takes twenty times as
// long.
std::string FormatUsual(const Calendar& time) {
  char text[] = "0000-00-00T00:00:00";
  PutTwoDigits(text, static_cast<int>(time.year / 100));
  PutTwoDigits(text + 2, static_cast<int>(time.year % 100));
  PutTwoDigits(text + 5, time.month);
  PutTwoDigits(text + 8, time.day);
  PutTwoDigits(text + 11, time.hour);
  PutTwoDigits(text + 14, time.minute);
  PutTwoDigits(text + 17, time.second);
  return {text, sizeof text - 1};
}

std::string Format(const Calendar& time) {
  if (IsUsual(time)) return FormatUsual(time);
  char text[128];
  const int length = std::snprintf(text, sizeof text, "%04ld-%02d-%02dT%02d:%02d:%02d", time.year,
                                   time.month, time.day, time.hour, time.minute, time.second);
  return {text, static_cast<std::size_t>(length)};
}

std::string RecordTime(const Calendar& time) { return Format(time) + ".000Z"; }

tm ReadFields(const char* text, int daylight_saving) {
  int year = 0;
  int month = 0;
  tm fields{};
  std::sscanf(text, "%d-%d-%dT%d:%d:%d", &year, &month, &fields.tm_mday, &fields.tm_hour,
              &fields.tm_min, &fields.tm_sec);
  constexpr int kLeast = std::numeric_limits<int>::min();
  fields.tm_year = std::max(year, kLeast + 1900) - 1900;
  fields.tm_mon = std::max(month, kLeast + 1) - 1;
  fields.tm_isdst = daylight_saving;
  return fields;
}

// Seconds that local time is ahead of UTC at `instant`: the instant less its UTC reading taken for
// a local time.
long ZoneOffset(long instant, int daylight_saving) {
  const time_t t = instant;
  tm reading{};
  if (gmtime_r(&t, &reading) == nullptr) return 0;
  reading.tm_isdst = daylight_saving;
  return instant - mktime(&reading);
}

long SaturatedSum(long a, long b) {
  long sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return a < 0 ? std::numeric_limits<long>::min() : std::numeric_limits<long>::max();
}

}  // namespace

std::string TMToRFC3339(tm* time) {
  return RecordTime({time->tm_year + 1900L, static_cast<int>(time->tm_mon + 1L), time->tm_mday,
                     time->tm_hour, time->tm_min, time->tm_sec});
}

// To local time and back to seconds ends at `t` again, so both conversions are left out.
std::string TimeToRFC3339(long t) { return RecordTime(ToUtc(t)); }

std::string TimeToUTCRFC3339(long t) { return TimeToRFC3339(t); }

std::string NoAdjustOffsetForServerTime(long t) { return TimeToRFC3339(t); }

std::string TMToUTCRFC3339(tm* time) { return TimeToRFC3339(mktime(time)); }

long RFC3339ToTM(const char* text) {
  tm fields = ReadFields(text, kStandardTime);
  return mktime(&fields);
}

long RFC3339ToLocalTM(const char* text) {
  const long local = RFC3339ToTM(text);
  return SaturatedSum(local, ZoneOffset(local, kStandardTime));
}

std::string AdjustServerTimeOffset(const char* text) {
  const long local = RFC3339ToTM(text);
  return TimeToRFC3339(SaturatedSum(local, -ZoneOffset(local, kSystemDecides)));
}

std::string NoAdjustServerTimeOffset(const char* text) { return text; }

std::string AdjustOffsetForServerTime(long t) {
  tm reference = ReadFields("2015-10-03T00:00:00", kSystemDecides);
  return TimeToRFC3339(SaturatedSum(t, ZoneOffset(mktime(&reference), kSystemDecides)));
}

std::string GetSystemTimeRfc3339() {
  timeval now{};
  gettimeofday(&now, nullptr);
  const int milliseconds = static_cast<int>(now.tv_usec / 1000);
  return Format(ToUtc(now.tv_sec)) + string_format(".%03d", milliseconds);
}
