#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/system/MainThreadAdapter.h"
#include "sqm/platform/system/RunLoop.h"

#include "tests/support/Patience.h"

namespace {

using sqm::MainThread;
using sqm::platform::MainThreadAdapter;
using sqm::platform::RunLoop;
using std::chrono::milliseconds;
using testing::ElementsAre;

TEST(RunLoop, PostNeverRunsTheTaskItself) {
  RunLoop loop;
  bool ran = false;
  loop.post([&] { ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_TRUE(ran);
}

TEST(RunLoop, PollRunsTheQueuedTasksInOrder) {
  RunLoop loop;
  std::vector<int> order;
  for (const int number : {1, 2, 3}) loop.post([&, number] { order.push_back(number); });
  EXPECT_EQ(loop.poll(), 3U);
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(RunLoop, PollOfAnEmptyQueueRunsNothing) { EXPECT_EQ(RunLoop().poll(), 0U); }

TEST(RunLoop, PollLeavesTasksPostedMeanwhileForTheNextCall) {
  RunLoop loop;
  int rounds = 0;
  std::function<void()> again = [&] {
    ++rounds;
    loop.post(again);
  };
  loop.post(again);
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_EQ(rounds, 1);
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_EQ(rounds, 2);
}

TEST(RunLoop, PollInsideATaskRunsOnlyTheTasksThatWereQueued) {
  RunLoop loop;
  std::vector<std::string> order;
  std::size_t inner = 0;
  loop.post([&] {
    order.emplace_back("first");
    loop.post([&] { order.emplace_back("posted meanwhile"); });
    inner = loop.poll();
  });
  loop.post([&] { order.emplace_back("second"); });
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_EQ(inner, 2U);
  EXPECT_THAT(order, ElementsAre("first", "second", "posted meanwhile"));
}

TEST(RunLoop, AnExceptionPropagatesFromPollAndTheRestStays) {
  RunLoop loop;
  bool ran = false;
  loop.post([] { throw std::runtime_error("task"); });
  loop.post([&] { ran = true; });
  EXPECT_THROW(loop.poll(), std::runtime_error);
  EXPECT_FALSE(ran);
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_TRUE(ran);
}

TEST(RunLoop, AnExceptionPropagatesFromRunAndTheRestStays) {
  RunLoop loop;
  loop.post([] { throw std::runtime_error("task"); });
  loop.post([&] { loop.stop(); });
  EXPECT_THROW(loop.run(), std::runtime_error);
  loop.run();
  EXPECT_EQ(loop.poll(), 0U);
}

TEST(RunLoop, AnExceptionPropagatesFromRunUntilAndTheRestStays) {
  RunLoop loop;
  bool ran = false;
  loop.post([] { throw std::runtime_error("task"); });
  loop.post([&] { ran = true; });
  EXPECT_THROW(loop.runUntil([&] { return ran; }, kPatience), std::runtime_error);
  EXPECT_TRUE(loop.runUntil([&] { return ran; }, kPatience));
}

TEST(RunLoop, RunRunsTasksOfOtherThreadsUntilStop) {
  constexpr int kThreads = 4;
  constexpr int kTasksEach = 500;
  RunLoop loop;
  int ran = 0;
  std::vector<std::thread> posters;
  posters.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    posters.emplace_back([&] {
      for (int task = 0; task < kTasksEach; ++task) {
        loop.post([&] {
          if (++ran == kThreads * kTasksEach) loop.stop();
        });
      }
    });
  }
  loop.run();
  EXPECT_EQ(ran, kThreads * kTasksEach);
  for (std::thread& poster : posters) poster.join();
}

TEST(RunLoop, StopLeavesTheRestOfTheQueue) {
  RunLoop loop;
  bool ran = false;
  loop.post([&] { loop.stop(); });
  loop.post([&] { ran = true; });
  loop.run();
  EXPECT_FALSE(ran);
  EXPECT_EQ(loop.poll(), 1U);
}

TEST(RunLoop, StopBeforeRunEndsThatRunAlone) {
  RunLoop loop;
  bool ran = false;
  loop.stop();
  loop.post([&] {
    ran = true;
    loop.stop();
  });
  loop.run();
  EXPECT_FALSE(ran);
  loop.run();
  EXPECT_TRUE(ran);
}

TEST(RunLoop, StopFromAnotherThreadWakesARunThatWaits) {
  RunLoop loop;
  std::thread stopper([&] { loop.stop(); });
  loop.run();
  stopper.join();
}

TEST(RunLoop, RunUntilRunsNothingWhenItIsDoneAlready) {
  RunLoop loop;
  loop.post([] { FAIL(); });
  EXPECT_TRUE(loop.runUntil([] { return true; }, milliseconds(0)));
}

TEST(RunLoop, RunUntilChecksAfterEveryTask) {
  RunLoop loop;
  int ran = 0;
  for (int task = 0; task < 5; ++task) loop.post([&] { ++ran; });
  EXPECT_TRUE(loop.runUntil([&] { return ran == 2; }, kPatience));
  EXPECT_EQ(ran, 2);
  EXPECT_EQ(loop.poll(), 3U);
}

TEST(RunLoop, RunUntilIsWokenByATaskOfAnotherThread) {
  RunLoop loop;
  bool ran = false;
  std::thread poster([&] { loop.post([&] { ran = true; }); });
  EXPECT_TRUE(loop.runUntil([&] { return ran; }, milliseconds::max()));
  poster.join();
}

TEST(RunLoop, RunUntilReturnsAtItsTimeout) {
  for (const milliseconds timeout : {milliseconds(0), milliseconds(-1), milliseconds::min(), milliseconds(5)}) {
    EXPECT_FALSE(RunLoop().runUntil([] { return false; }, timeout)) << timeout.count();
  }
}

TEST(RunLoop, RunUntilReturnsAtItsTimeoutThoughTasksNeverEnd) {
  RunLoop loop;
  std::function<void()> again = [&] { loop.post(again); };
  loop.post(again);
  EXPECT_FALSE(loop.runUntil([] { return false; }, milliseconds(5)));
}

TEST(RunLoop, RunUntilInsideATaskRunsTheTasksBehindIt) {
  RunLoop loop;
  bool inner = false;
  bool done = false;
  loop.post([&] {
    EXPECT_TRUE(loop.runUntil([&] { return inner; }, kPatience));
    done = true;
  });
  loop.post([&] { inner = true; });
  EXPECT_TRUE(loop.runUntil([&] { return done; }, kPatience));
}

TEST(RunLoop, TheDestructorsOfATasksCapturesMayPost) {
  RunLoop loop;
  bool ran = false;
  {
    std::shared_ptr<void> owned(nullptr, [&](void*) { loop.post([&] { ran = true; }); });
    loop.post([owned = std::move(owned)] {});
  }
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_TRUE(ran);
}

TEST(RunLoop, TasksThatHaveNotRunAreDestroyedWithTheLoop) {
  const auto owned = std::make_shared<int>(0);
  {
    RunLoop loop;
    loop.post([owned] { FAIL(); });
    EXPECT_EQ(owned.use_count(), 2);
  }
  EXPECT_EQ(owned.use_count(), 1);
}

TEST(MainThreadAdapter, PassesTasksToTheEventLoopOfTheHost) {
  std::vector<MainThread::Task> hostLoop;
  MainThreadAdapter adapter([&](MainThread::Task task) { hostLoop.push_back(std::move(task)); });
  bool ran = false;
  static_cast<MainThread&>(adapter).post([&] { ran = true; });
  ASSERT_EQ(hostLoop.size(), 1U);
  EXPECT_FALSE(ran);
  hostLoop.front()();
  EXPECT_TRUE(ran);
}

TEST(RunLoop, ATaskForLaterRunsWhenItsTimeHasCome) {
  RunLoop loop;
  bool ran = false;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(loop.postAfter(milliseconds(20), [&] { ran = true; }));
  EXPECT_TRUE(loop.runUntil([&] { return ran; }, kPatience));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(20)) << "not before";
}

TEST(RunLoop, TasksForLaterRunInTheOrderOfTheirTimes) {
  RunLoop loop;
  std::vector<int> order;
  for (const int delay : {30, 10, 20}) loop.postAfter(milliseconds(delay), [&, delay] { order.push_back(delay); });
  loop.post([&] { order.push_back(0); });
  EXPECT_TRUE(loop.runUntil([&] { return order.size() == 4; }, kPatience));
  EXPECT_THAT(order, ElementsAre(0, 10, 20, 30));
}

TEST(RunLoop, ATaskForLaterWakesARunningLoop) {
  RunLoop loop;
  std::thread other([&] { loop.postAfter(milliseconds(1), [&] { loop.stop(); }); });
  loop.run();
  other.join();
}

TEST(RunLoop, ATaskWithoutDelayIsDueAtOnce) {
  RunLoop loop;
  int ran = 0;
  for (const milliseconds delay : {milliseconds(0), milliseconds(-1), milliseconds::min()}) {
    loop.postAfter(delay, [&] { ++ran; });
  }
  EXPECT_EQ(loop.poll(), 3U);
  EXPECT_EQ(ran, 3);
}

TEST(RunLoop, IsIdleWithATaskForLater) {
  RunLoop loop;
  bool ran = false;
  for (const milliseconds delay : {milliseconds(std::chrono::hours(1)), milliseconds::max()}) {
    loop.postAfter(delay, [&] { ran = true; });
  }
  EXPECT_TRUE(loop.runUntilIdle([] { return true; }, kPatience));
  EXPECT_EQ(loop.poll(), 0U);
  EXPECT_FALSE(loop.runUntil([] { return false; }, milliseconds(1)));
  EXPECT_FALSE(ran);
}

bool isReadable(int descriptor, milliseconds timeout = milliseconds(0)) {
  pollfd wait = {descriptor, POLLIN, 0};
  return poll(&wait, 1, static_cast<int>(timeout.count())) == 1;
}

TEST(RunLoop, WakeDescriptorIsReadableWhileTasksWait) {
  RunLoop loop;
  loop.post([] {});
  const int descriptor = loop.wakeDescriptor();
  ASSERT_GE(descriptor, 0);
  EXPECT_EQ(loop.wakeDescriptor(), descriptor);
  EXPECT_TRUE(isReadable(descriptor)) << "for a task that was posted before, too";
  loop.post([&] { loop.post([] {}); });
  EXPECT_EQ(loop.poll(), 2U);
  EXPECT_TRUE(isReadable(descriptor)) << "for the task that was posted meanwhile";
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_FALSE(isReadable(descriptor));
}

TEST(RunLoop, WakeDescriptorIsReadableWhenATimeHasCome) {
  RunLoop loop;
  const int descriptor = loop.wakeDescriptor();
  loop.postAfter(milliseconds::max(), [] {});
  loop.postAfter(milliseconds(std::chrono::hours(1)), [] {});
  EXPECT_FALSE(isReadable(descriptor));
  loop.postAfter(milliseconds(1), [] {});
  EXPECT_TRUE(isReadable(descriptor, kPatience));
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_FALSE(isReadable(descriptor));
}

TEST(RunLoop, WakeDescriptorStaysReadableForWhatAnExceptionLeft) {
  RunLoop loop;
  const int descriptor = loop.wakeDescriptor();
  loop.post([] { throw std::runtime_error("task"); });
  loop.post([] {});
  EXPECT_THROW(loop.poll(), std::runtime_error);
  EXPECT_TRUE(isReadable(descriptor));
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_FALSE(isReadable(descriptor));
}

TEST(RunLoop, WakeDescriptorIsNotReadableAfterOtherFunctionsHaveRunTheTasks) {
  RunLoop loop;
  const int descriptor = loop.wakeDescriptor();
  bool ran = false;
  loop.postAfter(milliseconds(1), [&] { ran = true; });
  EXPECT_TRUE(loop.runUntil([&] { return ran; }, kPatience));
  EXPECT_FALSE(isReadable(descriptor));
}

TEST(MainThreadAdapter, PassesTasksForLaterToTheSecondFunction) {
  std::vector<milliseconds> delays;
  MainThreadAdapter adapter([](const MainThread::Task&) {},
                            [&](milliseconds delay, const MainThread::Task& task) {
                              delays.push_back(delay);
                              task();
                            });
  bool ran = false;
  EXPECT_TRUE(adapter.postAfter(milliseconds(5), [&] { ran = true; }));
  EXPECT_THAT(delays, ElementsAre(milliseconds(5)));
  EXPECT_TRUE(ran);
}

TEST(MainThreadAdapter, WithoutTheSecondFunctionThereAreNoTimers) {
  const auto destroyed = std::make_shared<int>();
  MainThreadAdapter adapter([](const MainThread::Task&) { FAIL(); });
  EXPECT_FALSE(adapter.postAfter(milliseconds(0), [destroyed] {}));
  EXPECT_EQ(destroyed.use_count(), 1);
}

}  // namespace
