#include "b2/upload_urls.h"

#include <gtest/gtest.h>

#include "b2/part_board.h"

namespace {

using std::chrono::hours;
using Clock = UploadTarget::Clock;

TEST(UploadUrlsTest, LendsTheNewestOnceAndNoneThatIsOld) {
  UploadUrls urls;
  const auto now = Clock::now();
  for (const int age : {2, 1, 19, 3}) urls.Keep("b", {std::to_string(age), "", now - hours(age)});
  urls.Keep("other", {"x", "", now});
  for (const char* url : {"1", "2", "3"}) EXPECT_EQ(urls.Take("b", now)->url, url);
  EXPECT_FALSE(urls.Take("b", now + hours(1)));
  EXPECT_FALSE(urls.Take("b", now));
  for (int i = 0; i < 99; ++i)
    urls.Keep("b", {std::to_string(i), "", now + std::chrono::seconds(i)});
  for (int i = 98; i > 98 - static_cast<int>(UploadUrls::kMost); --i) {
    EXPECT_EQ(urls.Take("b", now)->url, std::to_string(i));
  }
  EXPECT_FALSE(urls.Take("b", now));
  urls.Clear();
  EXPECT_FALSE(urls.Take("other", now));
}

TEST(PartPlanTest, PartsCoverTheFileAndAreNeverTooMany) {
  constexpr long long kTerabyte = 1'000'000'000'000;
  const std::tuple<long long, long long, int, long long> rows[] = {
      {11, 5, 3, 1},
      {10, 5, 2, 5},
      {10'000, 1, 10'000, 1},
      {10'001, 1, 5001, 1},
      {10 * kTerabyte, 100'000'000, 10'000, 1'000'000'000}};
  for (const auto& [size, wanted, count, last] : rows) {
    const PartPlan plan = PartPlan::Of(size, wanted);
    EXPECT_EQ(plan.Count(), count) << size;
    const Part part = plan.At(count);
    EXPECT_EQ(part.length, last) << size;
    EXPECT_EQ(part.start + part.length, size);
  }
}

}  // namespace
