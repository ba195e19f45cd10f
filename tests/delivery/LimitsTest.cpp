#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "sqm/delivery/Limits.h"

namespace sqm::delivery {
namespace {

using namespace std::chrono_literals;

const TextArray kFive = {"1", "22", "333", "4444", "55555"};

Surplus surplus(const Limit& limit, std::int64_t now = 0, const StoredTimes& times = {}) {
  return surplusOf(limit, kFive, times, now);
}

TEST(Limits, WithoutOneNothingIsSurplus) { EXPECT_EQ(surplus({}).count, 0U); }

TEST(Limits, ANumberOfRecords) {
  EXPECT_EQ(surplus({.records = 5}).count, 0U);
  EXPECT_EQ(surplus({.records = 3}).count, 2U);
  EXPECT_EQ(surplus({.records = 3}).why, Removal::records);
  EXPECT_EQ(surplus({.records = 0}).count, 5U);
}

TEST(Limits, TheBytesOfTheirTexts) {
  EXPECT_EQ(surplus({.bytes = 15}).count, 0U);
  EXPECT_EQ(surplus({.bytes = 14}).count, 1U);
  EXPECT_EQ(surplus({.bytes = 12}).count, 2U);
  EXPECT_EQ(surplus({.bytes = 12}).why, Removal::bytes);
  EXPECT_EQ(surplus({.bytes = 4}).count, 5U) << "the last record alone has more";
}

TEST(Limits, TheAgeInWholeSeconds) {
  StoredTimes times;
  times.append(100, 2);
  times.append(150, 3);
  EXPECT_EQ(surplus({.age = 60s}, 160, times).count, 0U);
  EXPECT_EQ(surplus({.age = 60s}, 161, times).count, 2U);
  EXPECT_EQ(surplus({.age = 60s}, 161, times).why, Removal::age);
  EXPECT_EQ(surplus({.age = 0s}, 151, times).count, 5U);
  EXPECT_EQ(surplus({.age = std::chrono::seconds::max()}, 161, times).count, 0U);
  EXPECT_EQ(surplus({.age = std::chrono::seconds::min()}, 150, times).count, 2U) << "below zero is zero";
}

TEST(Limits, TheAgeGoesBeforeTheNumberAndTheNumberBeforeTheBytes) {
  StoredTimes times;
  times.append(0, 1);
  times.append(100, 4);
  const Limit all = {.records = 3, .bytes = 5, .age = 50s};
  EXPECT_EQ(surplus(all, 100, times).why, Removal::age);
  EXPECT_EQ(surplus({.records = 3, .bytes = 5}).why, Removal::records);
}

TEST(Limits, OfTheQueueTheBodiesCount) {
  const UploadRequests queue = {{"http://a/", "12345"}, {"http://b/", std::nullopt}, {"http://c/", "1234"}};
  EXPECT_EQ(surplusOf({.bytes = 9}, queue, {}, 0).count, 0U);
  EXPECT_EQ(surplusOf({.bytes = 8}, queue, {}, 0).count, 1U);
  EXPECT_EQ(surplusOf({.bytes = 3}, queue, {}, 0).count, 3U);
  EXPECT_EQ(surplusOf({.records = 1}, queue, {}, 0).count, 2U);
}

TEST(Limits, OfEachAreTheSameForTheListsAndTheQueue) {
  const Limits limits = Limits::ofEach({.records = 7});
  for (const Limit& limit : limits.lists) EXPECT_EQ(limit.records, 7U);
  EXPECT_EQ(limits.queue.records, 7U);
}

}  // namespace
}  // namespace sqm::delivery
