// The measures of the service page, against values that can be computed by hand or stand in the literature.

#include <chrono>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "tools/collector/service/Measures.h"
#include "tools/collector/service/MeasuresJson.h"
#include "tools/collector/service/TimeSteps.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;
using Durations = std::vector<std::chrono::milliseconds>;

Durations seconds(int from, int to) {
  Durations all;
  for (int each = to; each >= from; --each) all.emplace_back(each * 1000);
  return all;
}

TEST(Share, HasTheIntervalOfWilson) {
  // Newcombe, "Two-sided confidence intervals for the single proportion", 1998, table I, method 3.
  const struct {
    double part;
    std::int64_t whole;
    double low, high;
  } rows[] = {{81, 263, 0.2553, 0.3662}, {15, 148, 0.0624, 0.1605}, {0, 20, 0.0000, 0.1611}, {1, 29, 0.0061, 0.1718}};
  for (const auto& row : rows) {
    const auto share = shareOf(row.part, row.whole);
    ASSERT_TRUE(share);
    EXPECT_DOUBLE_EQ(share->value, row.part / static_cast<double>(row.whole));
    EXPECT_NEAR(share->low, row.low, 0.00005) << row.part;
    EXPECT_NEAR(share->high, row.high, 0.00005) << row.part;
  }
}

TEST(Share, StaysBetweenNothingAndAll) {
  EXPECT_EQ(shareOf(0, 3)->low, 0);
  EXPECT_EQ(shareOf(3, 3)->high, 1);
  EXPECT_LT(shareOf(3, 3)->low, 1);
  EXPECT_FALSE(shareOf(0, 0));
}

TEST(EffectiveSize, OfIndependentEventsIsTheirNumber) {
  EXPECT_EQ(effectiveSize({}), 0);
  EXPECT_EQ(effectiveSize(std::vector<Group>(100, {.part = 1, .whole = 1})), 100);
  EXPECT_EQ(effectiveSize({{.part = 5, .whole = 10}, {.part = 5, .whole = 10}}), 20);
}

TEST(EffectiveSize, OfGroupsWhoseEventsAreAlikeIsTheNumberOfGroups) {
  std::vector<Group> groups(90, {.part = 8, .whole = 8});
  groups.resize(100, {.part = 0, .whole = 8});
  EXPECT_EQ(effectiveSize(groups), 100);
}

TEST(EffectiveSize, IsSmallWhenOneGroupHasMostEvents) {
  std::vector<Group> groups(99, {.part = 1, .whole = 1});
  groups.push_back({.part = 0, .whole = 99});
  EXPECT_EQ(effectiveSize(groups), 4);  // 198 x 49.5 / (49.5^2 + 99 / 4)
}

TEST(Percentiles, AreValuesThatOccurred) {
  const Percentiles found = percentilesOf(seconds(1, 100));
  EXPECT_EQ(found.count, 100U);
  EXPECT_EQ(found.p50, 50s);
  EXPECT_EQ(found.p95, 95s);
  EXPECT_EQ(found.p99, 99s);
}

TEST(Percentiles, OfFewValuesAreAmongThem) {
  EXPECT_EQ(percentilesOf({7s}).p50, 7s);
  EXPECT_EQ(percentilesOf({7s}).p99, 7s);
  const Percentiles of3 = percentilesOf({3s, 1s, 2s});
  EXPECT_EQ(of3.p50, 2s);
  EXPECT_EQ(of3.p95, 3s);
  EXPECT_EQ(percentilesOf({}).count, 0U);
}

TEST(ApdexIndex, WeighsToleratingByHalf) {
  // 4 s is satisfied, 16 s is tolerating, more is frustrated.
  const Apdex apdex = apdexOf({1s, 4s, 4001ms, 16s, 16001ms}, 3, 4s);
  EXPECT_EQ(apdex.satisfied, 2);
  EXPECT_EQ(apdex.tolerating, 2);
  EXPECT_EQ(apdex.frustrated, 4);
  EXPECT_DOUBLE_EQ(*apdex.value(), 3.0 / 8);
  EXPECT_FALSE(apdexOf({}, 0, 4s).value());
  EXPECT_DOUBLE_EQ(*apdexOf({}, 1, 4s).value(), 0);
}

TEST(Ranges, CountEachDurationOnce) {
  constexpr std::chrono::minutes kBounds[] = {1min, 10min};
  EXPECT_EQ(rangesJson({0s, 60s, 60001ms, 600s, 601s, 24h}, kBounds).dump(),
            R"([{"upTo":60.0,"count":2},{"upTo":600.0,"count":2},{"upTo":null,"count":2}])");
}

TEST(TextCounts, ShowTheMostFrequentAndTheOthersTogether) {
  TextCounts counts(2);
  for (const char* text : {"b", "a", "c", "a", "b", "a", "d"}) counts.add(text, text[0] == 'c' ? 1 : 0);
  EXPECT_EQ(counts.json(2).dump(),
            R"({"frequent":[{"text":"a","count":3,"overTime":[3,0]},{"text":"b","count":2,"overTime":[2,0]}],)"
            R"("others":{"kinds":2,"count":2,"overTime":[1,1]}})");
  EXPECT_EQ(TextCounts(1).json(2).dump(), R"({"frequent":[],"others":{"kinds":0,"count":0,"overTime":[0]}})");
}

constexpr TimeSteps::Time kNoon = std::chrono::sys_days(std::chrono::year(2026) / 11 / 21) + 12h;

TEST(TimeSteps, AreWholeAndAtMostSixty) {
  const struct {
    std::chrono::milliseconds length, step;
  } rows[] = {{1ms, 1min},   {59min, 1min},   {1h, 2min},          {24h, 30min},
              {7 * 24h, 6h}, {30 * 24h, 24h}, {365 * 24h, 7 * 24h}};
  for (const auto& row : rows) {
    const TimeSteps steps(kNoon - row.length, kNoon);
    EXPECT_EQ(steps.step(), row.step) << row.length.count();
    EXPECT_LE(steps.count(), 60U);
    EXPECT_EQ(steps.beginOf(0).time_since_epoch() % row.step, 0ms);
    EXPECT_LE(steps.beginOf(0), kNoon - row.length);
    EXPECT_GE(steps.beginOf(steps.count()), kNoon);
  }
}

TEST(TimeSteps, DivideAWindowOfCenturies) {
  const TimeSteps steps(TimeSteps::Time(0ms), kNoon + std::chrono::hours(24 * 365 * 100));
  EXPECT_LE(steps.count(), 61U);
  EXPECT_EQ(steps.of(kNoon), steps.of(kNoon + 1ms));
}

TEST(TimeSteps, ContainEachTimeOfTheWindow) {
  const TimeSteps steps(kNoon - 24h, kNoon);
  EXPECT_EQ(steps.of(kNoon - 24h), 0U);
  EXPECT_EQ(steps.of(kNoon - 1ms), steps.count() - 1);
  EXPECT_EQ(steps.of(kNoon - 23h), 2U);
  EXPECT_EQ(steps.of(kNoon - 48h), 0U);
  EXPECT_EQ(steps.of(kNoon + 48h), steps.count() - 1);
}

}  // namespace
