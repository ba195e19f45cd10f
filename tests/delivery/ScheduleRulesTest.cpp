// The rules of the upload schedule, as a function of state, event and time.

#include <algorithm>
#include <chrono>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/delivery/ScheduleRules.h"

namespace {

using namespace sqm::delivery;
using namespace std::chrono_literals;
using sqm::Date;
using Kind = ScheduleEvent::Kind;
using std::chrono::seconds;

constexpr Date kNow = std::chrono::sys_days(std::chrono::year(2026) / 11 / 21) + 10h;
constexpr ScheduleOptions kOptions = {.period = 30min, .smallestPause = 10s};
constexpr ScheduleEvent kTimer = {};
constexpr ScheduleEvent kStarted = {.kind = Kind::started};
constexpr ScheduleEvent kNowAsked = {.kind = Kind::uploadNow};
constexpr ScheduleEvent kLast = {.kind = Kind::uploadLast};
constexpr ScheduleEvent kNetwork = {.kind = Kind::networkChanged};
constexpr ScheduleEvent kSuccess = {.kind = Kind::ended};

constexpr ScheduleEvent failure(seconds retryAfter = 0s) {
  return {.kind = Kind::ended, .hasFailed = true, .retryAfter = retryAfter};
}

/// A schedule, and a clock that only the test moves.
struct Schedule {
  ScheduleDecision after(const ScheduleEvent& event, double random = 0.5) {
    ScheduleDecision decision = decide(state, event, now, random, options);
    state = decision.state;
    return decision;
  }

  /// Starts an upload and ends it.
  ScheduleDecision upload(const ScheduleEvent& end, double random = 0.5) {
    if (!state.isUploading) {
      now = std::max(now, state.next->at);
      EXPECT_TRUE(after(kTimer).startsUpload);
    }
    return after(end, random);
  }

  ScheduleOptions options = kOptions;
  Date now = kNow;
  ScheduleState state = {};
};

/// A schedule that was started and whose first upload runs.
struct Uploading : Schedule {
  Uploading() { EXPECT_TRUE(after(kStarted).startsUpload); }
};

TEST(ScheduleRules, TheFirstUploadStartsWithTheSchedule) {
  Schedule schedule;
  const ScheduleDecision decision = schedule.after(kStarted);
  EXPECT_TRUE(decision.startsUpload);
  EXPECT_TRUE(decision.state.isUploading);
  EXPECT_EQ(decision.wait, std::nullopt);
}

TEST(ScheduleRules, TheFirstUploadStartsLaterWhenTheOptionsSaySo) {
  Schedule schedule{.options = {.firstUpload = 5min}};
  EXPECT_EQ(schedule.after(kStarted).wait, 5min);
  schedule.now += 5min - 1us;
  EXPECT_EQ(schedule.after(kTimer).wait, 1us);
  schedule.now += 1us;
  EXPECT_TRUE(schedule.after(kTimer).startsUpload);
}

TEST(ScheduleRules, NothingStartsBeforeTheScheduleUnlessItIsAskedFor) {
  Schedule schedule;
  EXPECT_FALSE(schedule.after(kTimer).startsUpload);
  EXPECT_FALSE(schedule.after(kNetwork).startsUpload);
  EXPECT_TRUE(schedule.after(kNowAsked).startsUpload);
}

TEST(ScheduleRules, AfterASuccessThePeriodPasses) {
  Uploading schedule;
  schedule.now += 7s;
  EXPECT_EQ(schedule.after(kSuccess).wait, 30min);
  schedule.now += 30min;
  EXPECT_TRUE(schedule.after(kTimer).startsUpload);
}

TEST(ScheduleRules, OneUploadRunsAtATime) {
  Uploading schedule;
  for (const ScheduleEvent& event : {kTimer, kNowAsked, kNetwork, kTimer}) {
    schedule.now += 24h;
    const ScheduleDecision decision = schedule.after(event);
    EXPECT_FALSE(decision.startsUpload);
    EXPECT_EQ(decision.wait, std::nullopt);
  }
}

TEST(ScheduleRules, WhatIsAskedForStartsAtOnceButForTheSmallestPause) {
  Uploading schedule;
  schedule.after(kSuccess);
  EXPECT_EQ(schedule.after(kNowAsked).wait, 10s);
  schedule.now += 10s;
  EXPECT_TRUE(schedule.after(kTimer).startsUpload);
  schedule.after(kSuccess);
  schedule.now += 11s;
  EXPECT_TRUE(schedule.after(kNowAsked).startsUpload);
}

TEST(ScheduleRules, WhatIsAskedForDuringAnUploadFollowsItsSuccess) {
  Uploading schedule;
  schedule.after(kNowAsked);
  EXPECT_EQ(schedule.after(kSuccess).wait, 10s);
  EXPECT_EQ(schedule.upload(kSuccess).wait, 30min) << "once";
  schedule.upload(kSuccess);
  schedule.now = schedule.state.next->at;
  schedule.after(kTimer);
  schedule.after(kNowAsked);
  EXPECT_EQ(schedule.after(failure(), 0.999).wait, 29'970ms) << "a failure has its own pause";
  EXPECT_FALSE(schedule.state.isAsked);
}

TEST(ScheduleRules, TheLastUploadStartsAtOnceAfterASuccess) {
  Schedule neverStarted;
  EXPECT_TRUE(neverStarted.after(kLast).startsUpload);
  Uploading schedule;
  schedule.upload(kSuccess);
  EXPECT_TRUE(schedule.after(kLast).startsUpload) << "within the smallest pause";
}

TEST(ScheduleRules, TheLastUploadWaitsForThePauseAfterAFailure) {
  for (const seconds asked : {0s, 600s}) {
    Uploading schedule;
    schedule.upload(failure(asked));
    const auto pause = std::max(asked, 10s);
    schedule.now += pause - 1us;
    EXPECT_EQ(schedule.after(kLast).wait, 1us);
    schedule.now += 1us;
    EXPECT_TRUE(schedule.after(kLast).startsUpload);
  }
}

TEST(ScheduleRules, ThePauseAfterFailuresIsARandomPartOfADoublingWindow) {
  Uploading schedule;
  schedule.options.smallestPause = 1s;
  for (const seconds window : {30s, 60s, 120s, 240s, 480s, 960s, 1920s, 3840s, 7680s, 15360s, 21600s, 21600s}) {
    const ScheduleState before = schedule.state;
    EXPECT_EQ(schedule.after(failure(), 0.0).wait, 1s) << "the smallest pause";
    schedule.state = before;
    EXPECT_EQ(schedule.after(failure(), 0.5).wait, window / 2);
    schedule.state = before;
    EXPECT_LT(schedule.after(failure(), 1 - 1e-9).wait, window);
    schedule.now = schedule.state.next->at;
    schedule.after(kTimer);
  }
  EXPECT_EQ(schedule.after(kSuccess).wait, 30min);
  EXPECT_EQ(schedule.upload(failure(), 0.5).wait, 15s) << "a success ends the series";
}

TEST(ScheduleRules, TheWindowStaysAtItsLongestHoweverManyFail) {
  Uploading schedule;
  for (int times = 0; times < 100; ++times) schedule.upload(failure());
  EXPECT_EQ(schedule.upload(failure(), 0.5).wait, 3h);
  schedule.state.failures = std::numeric_limits<std::uint32_t>::max() - 1;
  EXPECT_EQ(schedule.upload(failure(), 0.5).wait, 3h);
}

TEST(ScheduleRules, AServerThatAsksForAPauseGetsItWhoeverAsksForAnUpload) {
  Uploading schedule;
  EXPECT_EQ(schedule.after(failure(600s), 0.0).wait, 600s);
  EXPECT_EQ(schedule.after(kNowAsked).wait, 600s);
  EXPECT_EQ(schedule.after(kNetwork).wait, 600s);
  schedule.now += 599s;
  EXPECT_EQ(schedule.after(kNowAsked).wait, 1s);
}

TEST(ScheduleRules, ClientsThatGetTheSamePauseComeBackAtDifferentTimes) {
  for (const double random : {0.0, 0.25, 0.5}) {
    Uploading schedule;
    EXPECT_EQ(schedule.after(failure(600s), random).wait, 600s + random * 30s);
  }
}

TEST(ScheduleRules, APauseThatAServerAsksForHasALimit) {
  for (const seconds asked : {24h + 1s, seconds(1'000'000'000), seconds::max()}) {
    Uploading schedule;
    EXPECT_EQ(schedule.after(failure(asked), 0.0).wait, 24h);
  }
  Uploading schedule;
  EXPECT_EQ(schedule.after(failure(seconds::min()), 0.0).wait, 10s);
}

TEST(ScheduleRules, ANewNetworkEndsTheBackOff) {
  Uploading schedule;
  for (int times = 0; times < 10; ++times) schedule.upload(failure(), 0.9);
  schedule.now += 10s;
  EXPECT_EQ(schedule.after(kNetwork, 0.5).wait, 15s);
  EXPECT_EQ(schedule.after(kNetwork, 0.9).wait, 15s) << "it is never moved away";
}

TEST(ScheduleRules, ANewNetworkChangesNothingAfterASuccess) {
  Uploading schedule;
  schedule.after(kSuccess);
  EXPECT_EQ(schedule.after(kNetwork).wait, 30min);
}

TEST(ScheduleRules, AClockThatIsSetBackNeverMakesAPauseLonger) {
  Uploading schedule;
  schedule.after(kSuccess);
  schedule.now -= 365 * 24h;
  EXPECT_EQ(schedule.after(kTimer).wait, 30min);
  EXPECT_EQ(schedule.upload(failure(), 0.5).wait, 15s);
  schedule.now -= 24h;
  EXPECT_EQ(schedule.after(kNowAsked).wait, 10s) << "the smallest pause, too";
}

TEST(ScheduleRules, AClockThatIsSetForwardStartsTheUpload) {
  Uploading schedule;
  schedule.after(kSuccess);
  schedule.now += 365 * 24h;
  EXPECT_TRUE(schedule.after(kTimer).startsUpload);
}

TEST(ScheduleRules, OptionsOfAnySizeAreUsable) {
  for (const seconds extreme : {seconds::min(), seconds(-1), seconds(0), seconds::max()}) {
    Schedule schedule{.options = {extreme, extreme, extreme, extreme, extreme, extreme}};
    schedule.after(kStarted);
    for (const ScheduleEvent& end : {kSuccess, failure(seconds::max()), failure(), kSuccess}) {
      const auto wait = schedule.upload(end, 0.999).wait;
      ASSERT_TRUE(wait);
      EXPECT_GE(*wait, 1s);
      EXPECT_LE(*wait, std::chrono::years(20));
    }
  }
}

// --- Kept over a restart ------------------------------------------------------------------------------------------

/// A new process with the same file.
Schedule restarted(const Schedule& schedule) {
  Schedule next{.options = schedule.options, .now = schedule.now};
  next.state = scheduleStateOf(savedScheduleOf(schedule.state));
  return next;
}

TEST(ScheduleRules, TheNextTimeIsKeptOverARestart) {
  Uploading schedule;
  schedule.after(kSuccess);
  schedule.now += 10min;
  EXPECT_EQ(restarted(schedule).after(kStarted).wait, 20min);
  schedule.now += 20min;
  EXPECT_TRUE(restarted(schedule).after(kStarted).startsUpload);
}

TEST(ScheduleRules, TheBackOffAndTheServersPauseAreKeptOverARestart) {
  Uploading schedule;
  for (int times = 0; times < 3; ++times) schedule.upload(failure(), 0.5);
  schedule.upload(failure(600s), 0.0);
  Schedule next = restarted(schedule);
  EXPECT_EQ(next.after(kStarted).wait, 600s);
  EXPECT_EQ(next.after(kNowAsked).wait, 600s);
  EXPECT_EQ(next.upload(failure(), 0.5).wait, 240s) << "the fifth failure";
}

TEST(ScheduleRules, ARestartDoesNotComeBeforeTheFirstUploadOfTheOptions) {
  Uploading schedule;
  schedule.after(kSuccess);
  schedule.now += 40min;
  schedule.options.firstUpload = 1min;
  EXPECT_EQ(restarted(schedule).after(kStarted).wait, 1min);
}

TEST(ScheduleRules, AfterARestartAClockThatWasSetBackMakesNoPauseLonger) {
  Uploading schedule;
  schedule.after(kSuccess);
  schedule.now -= 1000 * 24h;
  EXPECT_EQ(restarted(schedule).after(kStarted).wait, 30min);
  EXPECT_EQ(restarted(schedule).after(kNowAsked).wait, 10s);
}

TEST(ScheduleRules, AfterARestartWithAShorterPeriodThatOneHolds) {
  Uploading schedule;
  schedule.after(kSuccess);
  Schedule next = restarted(schedule);
  next.options.period = 5min;
  EXPECT_EQ(next.after(kStarted).wait, 5min);
}

TEST(ScheduleRules, TheTextOfAFileIsTheDocumentedOne) {
  Uploading schedule;
  schedule.after(failure(600s), 0.5);
  EXPECT_EQ(savedScheduleOf(schedule.state),
            "SQM upload schedule 1\n"
            "next: 1795255815\n"
            "next within: 615\n"
            "earliest: 1795255800\n"
            "earliest within: 600\n"
            "failures: 1\n");
}

TEST(ScheduleRules, AnyOtherTextIsNoSchedule) {
  Uploading schedule;
  schedule.after(failure(600s), 0.5);
  const std::string whole = savedScheduleOf(schedule.state);
  ASSERT_NE(scheduleStateOf(whole), ScheduleState{});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(scheduleStateOf(std::string_view(whole).substr(0, length)), ScheduleState{}) << length;
  }
  EXPECT_EQ(scheduleStateOf(whole + "\n"), ScheduleState{});
  for (const char* const number : {"", "x", "-1", "1.5", "1 ", "253402300800", "99999999999999999999"}) {
    std::string other = whole;
    other.replace(other.find("1795255815"), 10, number);
    EXPECT_EQ(scheduleStateOf(other), ScheduleState{}) << number;
  }
  std::string last = whole;
  last.replace(last.find("1795255815"), 10, "253402300799");
  EXPECT_EQ(decide(scheduleStateOf(last), kStarted, kNow, 0.5, kOptions).wait, 615s);
}

}  // namespace
