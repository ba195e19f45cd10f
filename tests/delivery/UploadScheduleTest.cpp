// The upload schedule on a host in memory, whose time the test moves.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/delivery/Outcomes.h"
#include "sqm/delivery/UploadSchedule.h"
#include "sqm/testing/FakeHost.h"

namespace {

using namespace std::chrono_literals;
using sqm::delivery::Delivery;
using sqm::delivery::Outcome;
using sqm::delivery::ScheduleOptions;
using sqm::delivery::UploadSchedule;

constexpr ScheduleOptions kOptions = {.period = 30min, .smallestPause = 10s};
const std::string kFile = "/home/tester/application/UploadSchedule.txt";

class Schedule : public ::testing::Test {
 protected:
  Schedule() {
    fakes.clock.set(std::chrono::sys_days(std::chrono::year(2026) / 11 / 21));
    restart();
  }

  void restart(const ScheduleOptions& options = kOptions) {
    transaction.reset();
    schedule.emplace(fakes.host, options, [this] { return random; });
    factory.emplace(fakes.http, fakes.notificationCenter, nullptr, sqm::delivery::OutcomeRules{},
                    [this](const Delivery& delivery) { schedule->exchangeEnded(delivery); });
    transaction = factory->makeTransaction();
  }

  /// A target that sends one request.
  UploadSchedule::Target sending(const std::string& name) {
    return {[this, name] {
      started.push_back(name);
      transaction->sendHttpRequest("http://collect/", sqm::kHttpMethodPost, "body");
    }};
  }

  /// Begins with one target, and ends its first upload with this status.
  void begin(int status = 200) {
    schedule->addTarget(sending("target"));
    schedule->start();
    complete(status);
  }

  void complete(int status) {
    fakes.http.complete(status);
    fakes.mainThread.runAll();
  }

  /// Lets time pass, on the clock and for the timers.
  void pass(std::chrono::milliseconds time) {
    fakes.mainThread.runAll();
    const auto end = fakes.clock.now + time;
    while (const auto next = fakes.mainThread.nextLater()) {
      if (fakes.clock.now + *next > end) break;
      fakes.clock.advance(*next);
      fakes.mainThread.pass(*next);
    }
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(end - fakes.clock.now);
    fakes.mainThread.pass(rest);
    fakes.clock.advance(rest);
  }

  sqm::testing::FakeHost fakes;
  double random = 0.5;
  std::optional<UploadSchedule> schedule;
  std::optional<sqm::delivery::OutcomeTransactions> factory;
  std::unique_ptr<sqm::HttpTransaction> transaction;
  std::vector<std::string> started;
};

TEST_F(Schedule, UploadsWithTheHostAndThenInThePeriod) {
  begin();
  EXPECT_EQ(started.size(), 1U);
  EXPECT_FALSE(schedule->isUploading());
  pass(30min - 1ms);
  EXPECT_EQ(started.size(), 1U);
  pass(1ms);
  EXPECT_EQ(started.size(), 2U);
  EXPECT_TRUE(schedule->isUploading());
  EXPECT_EQ(schedule->uploads(), 2U);
}

TEST_F(Schedule, StartsOneTargetAfterAnotherAlsoAfterAFailure) {
  schedule->addTarget(sending("lists"));
  schedule->addTarget({[this] { started.emplace_back("nothing to send"); }});
  schedule->addTarget(sending("queue"));
  schedule->start();
  fakes.mainThread.runAll();
  EXPECT_EQ(started, (std::vector<std::string>{"lists"}));
  complete(503);
  EXPECT_EQ(started, (std::vector<std::string>{"lists", "nothing to send", "queue"}));
  EXPECT_TRUE(schedule->isUploading());
  complete(200);
  EXPECT_FALSE(schedule->isUploading());
  pass(15s);
  EXPECT_EQ(schedule->uploads(), 2U) << "the upload has failed";
}

TEST_F(Schedule, ATargetEndsWhenItSaysSo) {
  bool isIdle = false;
  schedule->addTarget({[this] { started.emplace_back("slow"); }, [&] { return isIdle; }});
  schedule->addTarget(sending("next"));
  schedule->start();
  pass(10min);
  EXPECT_EQ(started, (std::vector<std::string>{"slow"}));
  isIdle = true;
  pass(1min);
  EXPECT_EQ(started, (std::vector<std::string>{"slow", "next"}));
}

TEST_F(Schedule, ARequestThatATaskStartsBelongsToTheTarget) {
  // As the upload queue does: the next request starts in a task after the answer.
  const auto observed = fakes.notificationCenter.addObserver(
      sqm::TrelkHttpTransactionCompletedNotification, static_cast<const sqm::HttpTransaction*>(transaction.get()),
      [&](const sqm::Notification&) {
        if (fakes.http.requests().size() < 3) {
          fakes.mainThread.post([&] { transaction->sendHttpRequest("http://collect/", sqm::kHttpMethodPost, "next"); });
        }
      });
  schedule->addTarget(sending("queue"));
  schedule->addTarget(sending("after"));
  schedule->start();
  complete(200);
  complete(200);
  EXPECT_EQ(started, (std::vector<std::string>{"queue"}));
  complete(200);
  EXPECT_EQ(started, (std::vector<std::string>{"queue", "after"}));
}

TEST_F(Schedule, AfterFailuresItBacksOff) {
  begin(503);
  for (const auto pause : {15s, 30s, 60s, 120s, 240s}) {
    const std::size_t before = started.size();
    pass(pause - 1s);
    EXPECT_EQ(started.size(), before);
    pass(1s);
    EXPECT_EQ(started.size(), before + 1);
    complete(500);
  }
}

TEST_F(Schedule, HonoursThePauseThatAServerAsksFor) {
  fakes.http.setRetryAfter(3600s);
  random = 0;
  begin(503);
  schedule->uploadNow();
  schedule->networkChanged();
  pass(3599s);
  EXPECT_EQ(schedule->uploads(), 1U);
  pass(1s);
  EXPECT_EQ(schedule->uploads(), 2U);
}

TEST_F(Schedule, AnAnswerThatAsksForARetryIsAFailureAlsoWhereItCountsAsDelivered) {
  schedule->addTarget({[] {}});
  schedule->start();
  schedule->exchangeEnded({.outcome = Outcome::delivered, .status = 503, .retryAfter = 600s});
  fakes.mainThread.runAll();
  pass(599s);
  EXPECT_EQ(schedule->uploads(), 1U);
}

TEST_F(Schedule, UploadsWhenAskedAndWhenTheNetworkReturns) {
  begin();
  pass(10s);
  schedule->uploadNow();
  EXPECT_EQ(schedule->uploads(), 2U);
  fakes.http.fail();
  for (int failure = 0; failure < 8; ++failure) {
    pass(2h);
    fakes.http.fail();
  }
  pass(1s);
  const auto before = schedule->uploads();
  schedule->networkChanged();
  pass(15s);
  EXPECT_EQ(schedule->uploads(), before + 1);
}

TEST_F(Schedule, UploadsALastTimeWhateverThePause) {
  begin();
  schedule->uploadNow();
  EXPECT_EQ(schedule->uploads(), 1U);
  schedule->uploadLast();
  EXPECT_EQ(schedule->uploads(), 2U);
  schedule->uploadLast();
  EXPECT_EQ(schedule->uploads(), 2U) << "one runs";
  complete(200);
  pass(29min);
  EXPECT_EQ(schedule->uploads(), 2U) << "none follows";
}

TEST_F(Schedule, StartsNothingOnceItIsStopped) {
  begin();
  const auto file = fakes.files.content(kFile);
  schedule->stop();
  pass(24h);
  schedule->uploadNow();
  schedule->uploadLast();
  schedule->networkChanged();
  schedule->start();
  pass(24h);
  EXPECT_EQ(schedule->uploads(), 1U);
  EXPECT_EQ(fakes.files.content(kFile), file);
}

TEST_F(Schedule, AnUploadThatRunsWhenItIsStoppedIsNotFinished) {
  schedule->addTarget(sending("first"));
  schedule->addTarget(sending("second"));
  schedule->start();
  schedule->stop();
  complete(200);
  EXPECT_EQ(started, (std::vector<std::string>{"first"}));
  EXPECT_FALSE(fakes.files.exists(kFile)) << "the next process starts it again";
}

TEST_F(Schedule, KeepsTheNextTimeOverARestart) {
  begin();
  EXPECT_TRUE(fakes.files.content(kFile));
  pass(10min);
  restart();
  schedule->addTarget(sending("target"));
  schedule->start();
  pass(20min - 1ms);
  EXPECT_EQ(schedule->uploads(), 0U);
  pass(1ms);
  EXPECT_EQ(schedule->uploads(), 1U);
}

TEST_F(Schedule, AFileWithOtherContentCountsAsNone) {
  for (const char* const content : {"", "no schedule", "SQM upload schedule 2\n"}) {
    fakes.files.put(kFile, content);
    restart();
    schedule->start();
    EXPECT_EQ(schedule->uploads(), 1U) << content;
  }
}

TEST_F(Schedule, AFileThatCannotBeWrittenStopsNothing) {
  fakes.files.refuse(sqm::testing::MemoryFiles::Operation::write, kFile);
  begin();
  pass(30min);
  EXPECT_EQ(schedule->uploads(), 2U);
}

TEST_F(Schedule, AClockThatIsSetBackDoesNotMakeAPauseLonger) {
  begin();
  fakes.clock.advance(-24h);
  pass(30min);
  EXPECT_EQ(schedule->uploads(), 2U);
  complete(200);
  pass(30min);
  EXPECT_EQ(schedule->uploads(), 3U);
}

TEST_F(Schedule, AClockThatIsSetForwardDoesNotMakeAPauseLonger) {
  restart({.period = 6h, .smallestPause = 10s});
  begin();
  pass(1min);
  fakes.clock.advance(24h);
  schedule->uploadNow();
  complete(503);
  pass(15s);
  EXPECT_EQ(schedule->uploads(), 3U) << "the timer of the first period, which is still set, is not waited for";
}

TEST_F(Schedule, ATransactionThatIsDestroyedEndsItsUpload) {
  schedule->addTarget(sending("target"));
  schedule->start();
  fakes.mainThread.runAll();
  transaction.reset();
  pass(1min);
  EXPECT_FALSE(schedule->isUploading());
}

TEST_F(Schedule, SetsFewTimersHoweverOftenItIsAsked) {
  begin();
  for (int times = 0; times < 100; ++times) {
    schedule->uploadNow();
    schedule->networkChanged();
    pass(1ms);
  }
  EXPECT_LE(fakes.mainThread.waitingForLater(), 3U);
}

TEST_F(Schedule, WithoutTimersItUploadsWhenAsked) {
  fakes.mainThread.dropTimers();
  begin();
  pass(1h);
  EXPECT_EQ(schedule->uploads(), 1U);
  schedule->uploadNow();
  EXPECT_EQ(schedule->uploads(), 2U);
}

TEST_F(Schedule, IsSilentOnceItIsDestroyed) {
  begin();
  schedule->uploadNow();
  schedule.reset();
  started.clear();
  EXPECT_NO_THROW(pass(24h));
  EXPECT_TRUE(started.empty());
}

TEST_F(Schedule, HasRandomNumbersOfItsOwn) {
  // Of 64 first pauses not all are equal.
  std::vector<std::chrono::milliseconds> pauses;
  for (int client = 0; client < 64; ++client) {
    sqm::testing::FakeHost host;
    UploadSchedule own(host.host, {.smallestPause = 1s});
    own.start();
    own.exchangeEnded({});
    host.mainThread.runAll();
    pauses.push_back(host.mainThread.nextLater().value());
    EXPECT_LE(pauses.back(), 30s);
  }
  EXPECT_GT(std::set(pauses.begin(), pauses.end()).size(), 1U);
}

}  // namespace
