#include "b2/upload_urls.h"

#include <gtest/gtest.h>

#include <array>

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
  // Bytes of the file and of a part that is wanted; parts, and bytes of the last.
  constexpr std::array<long long, 4> kRows[] = {{11, 5, 3, 1},
                                                {10, 5, 2, 5},
                                                {10'001, 1, 5001, 1},
                                                {9'999'999'999'999, 1, 10'000, 999'999'999}};
  for (const auto& [size, wanted, count, last] : kRows) {
    const PartPlan plan = PartPlan::Of(size, wanted);
    EXPECT_EQ(plan.Count(), count) << size;
    EXPECT_EQ(plan.At(plan.Count()).length, last) << size;
    EXPECT_EQ(plan.At(plan.Count()).start + last, size);
  }
}

}  // namespace
