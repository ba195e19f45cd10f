#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/delivery/StoredTimes.h"

namespace sqm::delivery {
namespace {

using Stored = StoredTimes::Run;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(StoredTimes, TextsOfOneSecondTakeOneEntry) {
  StoredTimes times;
  times.append(10);
  times.append(10);
  times.append(11, 3);
  EXPECT_THAT(times.runs(), ElementsAre(Stored{10, 2}, Stored{11, 3}));
}

TEST(StoredTimes, TheOldestAreRemovedFirst) {
  StoredTimes times;
  times.append(10, 2);
  times.append(11, 3);
  times.removeFirst(3);
  EXPECT_THAT(times.runs(), ElementsAre(Stored{11, 2}));
  times.removeFirst(100);
  EXPECT_THAT(times.runs(), IsEmpty());
}

TEST(StoredTimes, CountsWhatWasStoredBefore) {
  StoredTimes times;
  times.append(10, 2);
  times.append(12, 3);
  EXPECT_EQ(times.countBefore(10), 0U);
  EXPECT_EQ(times.countBefore(11), 2U);
  EXPECT_EQ(times.countBefore(12), 2U);
  EXPECT_EQ(times.countBefore(13), 5U);
}

TEST(StoredTimes, TextsThatAreNotKnownAreOfNow) {
  StoredTimes times;
  times.append(10, 2);
  times.fit(5, 20);
  EXPECT_THAT(times.runs(), ElementsAre(Stored{10, 2}, Stored{20, 3}));
}

TEST(StoredTimes, OfMoreTextsThanThereAreTheOldestAreForgotten) {
  StoredTimes times;
  times.append(10, 2);
  times.append(12, 3);
  times.fit(2, 20);
  EXPECT_THAT(times.runs(), ElementsAre(Stored{12, 2}));
}

TEST(StoredTimes, AClockThatWasSetBackMakesNoTextsOfTheFuture) {
  StoredTimes times;
  times.append(1000, 2);
  times.fit(2, 20);
  EXPECT_THAT(times.runs(), ElementsAre(Stored{20, 2}));
}

TEST(StoredTimes, OfManySecondsNeighboursAreTakenTogetherWithTheLaterTime) {
  StoredTimes times;
  const auto all = static_cast<std::int64_t>(StoredTimes::kMostRuns) + 1;
  for (std::int64_t time = 0; time < all; ++time) times.append(time);
  EXPECT_LE(times.runs().size(), StoredTimes::kMostRuns);
  EXPECT_EQ(times.runs().front(), (Stored{1, 2}));
  EXPECT_EQ(times.runs().back(), (Stored{all - 1, 1}));
  EXPECT_EQ(times.countBefore(all), static_cast<std::uint64_t>(all));
}

}  // namespace
}  // namespace sqm::delivery
