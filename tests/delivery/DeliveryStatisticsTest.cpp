#include <random>
#include <string>

#include <gtest/gtest.h>

#include "sqm/delivery/DeliveryStatistics.h"

namespace sqm::delivery {
namespace {

KeptStatistics sample() {
  KeptStatistics kept;
  kept.counts.lists[0] = {.accepted = 12, .delivered = 3, .refused = 1, .waiting = 5, .dropped = {1, 0, 2}};
  kept.counts.lists[4] = {.accepted = 18'446'744'073'709'551'615U, .waiting = 18'446'744'073'709'551'615U};
  kept.counts.queue = {.accepted = 2, .waiting = 2};
  kept.counts.refusedBodies = {3, 0, 1};
  kept.listTimes[0].append(1'795'255'815, 3);
  kept.listTimes[0].append(1'795'255'900, 2);
  kept.queueTimes.append(-5);
  return kept;
}

bool isSame(const KeptStatistics& left, const KeptStatistics& right) {
  for (std::size_t type = 0; type < kRecordTypes.size(); ++type) {
    if (left.listTimes[type].runs() != right.listTimes[type].runs()) return false;
  }
  return left.counts == right.counts && left.queueTimes.runs() == right.queueTimes.runs();
}

TEST(DeliveryStatistics, AreReadAsTheyWereWritten) {
  const auto kept = statisticsOf(savedStatisticsOf(sample()));
  ASSERT_TRUE(kept);
  EXPECT_TRUE(isSame(*kept, sample()));
  EXPECT_TRUE(isSame(statisticsOf(savedStatisticsOf({})).value(), {}));
}

TEST(DeliveryStatistics, TheFormatOfTheFileStays) {
  EXPECT_TRUE(savedStatisticsOf(sample()).starts_with(
      "SQM delivery statistics 1\n"
      "0: accepted 12 delivered 3 refused 1 waiting 5 records 1 bytes 0 age 2 consent 0 unsent 0 deleted 0 lost 0\n"
      "0 stored: 1795255815 3 1795255900 2\n"
      "1: accepted 0 delivered 0"));
}

TEST(DeliveryStatistics, AFileCutAtAnyLengthIsNone) {
  const std::string text = savedStatisticsOf(sample());
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_FALSE(statisticsOf(text.substr(0, length))) << length;
  }
}

TEST(DeliveryStatistics, AFileWithAnyBitFlippedIsNone) {
  const std::string text = savedStatisticsOf(sample());
  for (std::size_t bit = 0; bit < text.size() * 8; ++bit) {
    std::string damaged = text;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
    EXPECT_FALSE(statisticsOf(damaged)) << "bit " << bit;
  }
}

TEST(DeliveryStatistics, RandomBytesAreNone) {
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string text = round % 2 == 0 ? "SQM delivery statistics 1\n" : "";
    for (auto length = random() % 300; length > 0; --length) text += static_cast<char>(random());
    EXPECT_FALSE(statisticsOf(text));
  }
}

TEST(DeliveryStatistics, MoreThanWereKnownCountAsAcceptedAndFewerAsLost) {
  DeliveryCounts counts = {.accepted = 5, .delivered = 2, .waiting = 3};
  counts.fitWaiting(7);
  EXPECT_EQ(counts, (DeliveryCounts{.accepted = 9, .delivered = 2, .waiting = 7}));
  counts.fitWaiting(1);
  EXPECT_EQ(counts.of(DropReason::lost), 6U);
  EXPECT_EQ(counts.allDropped(), 6U);
  EXPECT_EQ(counts.accepted, counts.delivered + counts.allDropped() + counts.waiting);
}

}  // namespace
}  // namespace sqm::delivery
