// The samples of a database's facts.

#include <algorithm>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "tools/collector/storage/Samples.h"

namespace {

using namespace collector;

TEST(Sample, IsMadeOfTheDigestOfTheClientOrElseOfTheSessionOrElseOfTheId) {
  EXPECT_EQ(sampleOf("abc", "def", 1), 0xBA7) << "SHA-256 of abc, FIPS 180-4";
  EXPECT_EQ(sampleOf("", "abc", 1), 0xBA7);
  EXPECT_EQ(sampleOf("", "", 7), sampleOf("7", "", 1));
}

TEST(Sample, HasItsPartOfTheClients) {
  std::map<std::int64_t, int> clients;
  for (int client = 0; client < 100'000; ++client) {
    const std::int64_t sample = sampleOf("client-" + std::to_string(client), "", 0);
    for (const std::int64_t oneIn : kSamples) clients[oneIn] += sample < 4096 / oneIn ? 1 : 0;
  }
  EXPECT_EQ(clients[1], 100'000);
  EXPECT_NEAR(clients[8], 12'500, 3 * 105);  // three standard deviations of a binomial distribution
  EXPECT_NEAR(clients[64], 1562, 3 * 39);
  EXPECT_NEAR(clients[512], 195, 3 * 14);
  EXPECT_NEAR(clients[4096], 24, 3 * 5);
}

/// The sample that is chosen, and the samples that were counted for it.
struct Choice {
  ChosenSample sample;
  std::vector<std::int64_t> counted;
};

/// That for a database with so many facts, of which a report may have 1000.
Choice choiceFor(std::int64_t facts) {
  Choice choice;
  choice.sample = chooseSample(1000, [&](std::int64_t oneIn) {
    choice.counted.push_back(oneIn);
    return std::min<std::int64_t>(facts / oneIn, 1001);
  });
  return choice;
}

TEST(ChosenSample, IsTheLargestThatIsWithinTheLimit) {
  const struct {
    std::int64_t facts, oneIn, inSample;
  } cases[] = {
      {0, 1, 0},       {1000, 1, 1000},    {1001, 8, 125},          {8000, 8, 1000},
      {8008, 64, 125}, {64'064, 512, 125}, {4'096'000, 4096, 1000},
  };
  for (const auto& [facts, oneIn, inSample] : cases) {
    const ChosenSample chosen = choiceFor(facts).sample;
    EXPECT_EQ(chosen.oneIn, oneIn) << facts;
    EXPECT_EQ(chosen.facts, inSample) << facts;
    EXPECT_TRUE(chosen.isWithin) << facts;
  }
}

TEST(ChosenSample, IsTheSmallestWhenNoneIsWithinTheLimit) {
  const Choice choice = choiceFor(4'100'096);
  EXPECT_EQ(choice.sample.oneIn, 4096);
  EXPECT_FALSE(choice.sample.isWithin);
}

TEST(ChosenSample, IsFoundWithoutACountOfThoseThatHaveFarMore) {
  EXPECT_EQ(choiceFor(64'000).counted, (std::vector<std::int64_t>{4096, 512, 64}));
  EXPECT_EQ(choiceFor(64'000 / 4).counted, (std::vector<std::int64_t>{4096, 512, 64, 8})) << "2000, which is not far";
  EXPECT_EQ(choiceFor(1'000'000'000).counted, (std::vector<std::int64_t>{4096}));
}

}  // namespace
