#include "util/time_format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>

namespace {

constexpr const char* kMiddleEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

void SetZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

}  // namespace

TEST(TimeFormatTest, RecordTimesAreUtcInEveryZone) {
  SetZone(kMiddleEurope);
  EXPECT_EQ(TimeToRFC3339(951782400), "2000-02-29T00:00:00.000Z");
  EXPECT_EQ(TimeToRFC3339(-1), "1969-12-31T23:59:59.000Z");
  EXPECT_EQ(TimeToRFC3339(LONG_MAX), "292277026596-12-04T15:30:07.000Z");
  EXPECT_EQ(TimeToRFC3339(LONG_MIN), "-292277022657-01-27T08:29:52.000Z");
  tm local{};
  local.tm_year = 115;
  local.tm_mday = 32;
  EXPECT_EQ(TMToUTCRFC3339(&local), "2015-01-31T23:00:00.000Z");
  EXPECT_EQ(TMToRFC3339(&local), "2015-02-01T00:00:00.000Z");
  EXPECT_EQ(AdjustOffsetForServerTime(0), "1970-01-01T02:00:00.000Z");
  const std::string now = GetSystemTimeRfc3339();
  EXPECT_THAT(now, testing::MatchesRegex("[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}"));
  EXPECT_LE(std::labs(RFC3339ToLocalTM(now.c_str()) - std::time(nullptr)), 5);
}

TEST(TimeFormatTest, TextsAreReadInTheZoneTheNameSays) {
  const std::tuple<const char*, const char*, long, long, const char*> rows[] = {
      {"XXX-1", "1970-01-01T10:00:00.5+07:00", 32400, 36000, "1970-01-01T08:00:00.000Z"},
      {kMiddleEurope, "2015-07-01T10:00:00Z", 1435741200, 1435744800, "2015-07-01T07:00:00.000Z"},
      {"UTC0", "2015-10-03", 1443830400, 1443830400, "2015-10-03T00:00:00.000Z"},
  };
  for (const auto& [zone, text, local, utc, adjusted] : rows) {
    SetZone(zone);
    EXPECT_EQ(RFC3339ToTM(text), local) << text;
    EXPECT_EQ(RFC3339ToLocalTM(text), utc) << text;
    EXPECT_EQ(AdjustServerTimeOffset(text), adjusted) << text;
  }
  EXPECT_NE(AdjustServerTimeOffset("-2147483648-2147483647"), "");
}
