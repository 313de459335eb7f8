#include "engine/backoff.h"

#include <gtest/gtest.h>

TEST(BackoffTest, HoldsCountBetweenFiveAndSixteen) {
  for (const auto& [asked, allowed] : {std::pair{3, 5}, {5, 5}, {9, 9}, {40, 16}, {-1, 5}}) {
    EXPECT_EQ(ExponentialBackoff({429}, asked).GetLeft(), allowed) << asked;
  }
}

TEST(BackoffTest, KnowsItsCodes) {
  ExponentialBackoff standard;
  EXPECT_TRUE(standard.IsBackoffCode(429));
  EXPECT_FALSE(standard.IsBackoffCode(503));
  EXPECT_FALSE(ExponentialBackoff({}, 5).IsBackoffCode(429));
  EXPECT_FALSE(NoBackoff().IsBackoffCode(429));
}

TEST(BackoffTest, FirstWaitTakesOneOfTheFive) {
  ExponentialBackoff policy;
  EXPECT_EQ(policy.Backoff(), AERROR::RETRY);
  EXPECT_EQ(policy.GetLeft(), 4);
  EXPECT_TRUE(policy.IsAvaliable());
  EXPECT_EQ(NoBackoff().Backoff(), AERROR::FAILED);
}
