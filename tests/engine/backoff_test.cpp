#include "engine/backoff.h"

#include <gtest/gtest.h>

TEST(BackoffTest, HoldsCountBetweenFiveAndSixteenAndKnowsItsCodes) {
  for (const auto& [asked, allowed] : {std::pair{3, 5}, {5, 5}, {9, 9}, {40, 16}, {-1, 5}}) {
    EXPECT_EQ(ExponentialBackoff({429}, asked).GetLeft(), allowed) << asked;
  }
  ExponentialBackoff standard;
  EXPECT_TRUE(standard.IsBackoffCode(429));
  EXPECT_FALSE(standard.IsBackoffCode(503));
  EXPECT_FALSE(NoBackoff().IsBackoffCode(429));
  EXPECT_EQ(NoBackoff().Backoff(), AERROR::FAILED);
  EXPECT_EQ(standard.Backoff(), AERROR::RETRY);
  EXPECT_EQ(standard.GetLeft(), 4);
  EXPECT_TRUE(standard.IsAvaliable());
}
