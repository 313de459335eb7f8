#include "emulator/lane.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace emulator {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr Lane::Time kStart{};
constexpr size_t kBuffer = 100'000;

nanoseconds Since(Lane::Time time) { return time - kStart; }

// Enters as many of `size` bytes, which count up from `*entered`, as the lane takes at a time.
void Fill(Lane& lane, uint64_t size, uint64_t* entered, Lane::Time at) {
  while (*entered < size) {
    const auto space = lane.Space().first(std::min<size_t>(lane.Space().size(), size - *entered));
    if (space.empty()) return;
    for (char& byte : space) byte = static_cast<char>((*entered)++ % 251);
    lane.Enter(space.size(), at);
  }
}

// Takes a few bytes at a time, as they arrive; gives the time of the last.
nanoseconds Carry(Lane& lane, uint64_t size) {
  Lane::Time now = kStart;
  uint64_t entered = 0;
  for (uint64_t taken = 0; taken < size;) {
    Fill(lane, size, &entered, now);
    now = std::max(now, lane.next());
    const auto arrived = lane.Arrived(now).substr(0, 70'001);
    for (const char byte : arrived) EXPECT_EQ(byte, static_cast<char>(taken++ % 251));
    lane.Take(arrived.size());
  }
  EXPECT_EQ(lane.next(), Lane::kNever);
  return Since(now);
}

TEST(LaneTest, TakesTheComputedTime) {
  const struct {
    const char* link;
    int opens_ms;
    uint64_t size;
    int computed_ms;
  } rows[] = {{"50,20", 0, 20, 25},
              {"50,20", 50, 40'000'000, 2075},
              {"150,20", 0, 400'000, 95},
              {"0,20", 0, 2'000'000, 100},
              {"1,0.001", 0, 1000, 1000},
              {"10,1000", 7, 100'000'000, 112},
              {"50,20,200/10", 0, 10'100'000, 730},
              {"50,20,30/0.001", 0, 3'500, 115}};
  for (const auto& row : rows) {
    Lane lane(*ParseLink(row.link), kBuffer, kStart + milliseconds(row.opens_ms));
    const auto off = Carry(lane, row.size) - milliseconds(row.computed_ms);
    EXPECT_LT(std::abs(off.count()), 1'000'000) << row.link;
  }
}

TEST(LaneTest, HoldsTheRoundTripsBytesUntilTheyAreTaken) {
  Lane lane(*ParseLink("100,20"), kBuffer, kStart);
  uint64_t entered = 0;
  Fill(lane, 1 << 30, &entered, kStart);
  EXPECT_GE(entered, 2'000'000U + kBuffer);
  EXPECT_LE(entered, 3'000'000U + kBuffer);
  const size_t some = lane.Arrived(kStart + std::chrono::hours(1)).size();
  lane.Take(some);
  EXPECT_EQ(lane.Space().size(), some);
}

TEST(LaneTest, WhatComesLaterHoldsNothingUp) {
  Lane lane(*ParseLink("100,1"), kBuffer, kStart);
  for (const int at_ms : {0, 3, 5}) lane.Enter(1'000, kStart + milliseconds(at_ms));
  for (const int arrives_ms : {51, 54, 56}) {
    EXPECT_EQ(Since(lane.next()), milliseconds(arrives_ms));
    EXPECT_TRUE(lane.Arrived(lane.next() - nanoseconds(1)).empty());
    lane.Take(lane.Arrived(lane.next()).size());
  }
}

}  // namespace
}  // namespace emulator
