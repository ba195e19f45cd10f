// The end of a standard host: what `shutDown` sends, saves and reports.

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/system/MainThreadAdapter.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/queue/QFRecordUploader.h"

#include "tests/platform/http/HttpFixture.h"
#include "tests/platform/http/LoopbackServer.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/Patience.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace sqm::tests;
using namespace std::chrono_literals;
using sqm::UploadTarget;
using sqm::delivery::Recording;
using sqm::platform::StandardHost;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

const Answer kOk = response("200 OK");
const Answer kSilence{""};

/// A host, with a journal and only 2xx as delivered, and its manager.
class ShutDown : public ::testing::Test {
 protected:
  ShutDown() {
    forgetProxies();
    options.homeDirectory = home.path();
    options.resourceDirectory = home.path();
    options.recording = Recording::survivesCrash;
    options.accept = sqm::delivery::Accept::only2xx;
  }

  void start(const LoopbackServer& server) {
    manager.reset();
    host = std::make_unique<StandardHost>(options);
    ASSERT_TRUE(host->makeFolders());
    manager = std::make_unique<sqm::SQMManager>(*host);
    manager->SetSQMClientURL(server.url());
    manager->SetSQMConnectionURL(server.url());
    manager->setDeviceType(1);
  }

  void startScheduled(const LoopbackServer& server) {
    options.schedule = sqm::delivery::ScheduleOptions{};
    start(server);
    host->schedule()->addTarget(manager->uploadTarget());
  }

  /// Without field names a record is short, and each is the same.
  void record(int times = 1) {
    sqm::SQMSessionParams params;
    params.setStringValue("now", 6);
    for (; times > 0; --times) manager->sqmCreateStartRecord(&params);
  }

  StandardHost::Remainder shutDown(std::chrono::milliseconds timeout = kPatience) {
    return host->shutDown(timeout, {manager->uploadTarget()});
  }

  /// The records that the next process has.
  std::size_t recordsOnDisk() {
    manager.reset();
    host.reset();
    options.schedule.reset();
    StandardHost next(options);
    return sqm::SQMManager(next).uploadTarget().waiting();
  }

  const TemporaryFolder home;
  StandardHost::Options options;
  std::unique_ptr<StandardHost> host;
  std::unique_ptr<sqm::SQMManager> manager;
};

TEST_F(ShutDown, SendsAndSavesWhatWaits) {
  const LoopbackServer server(kOk);
  start(server);
  record(2);
  const auto left = shutDown();
  EXPECT_FALSE(left.isCutOff);
  EXPECT_TRUE(left.isEmpty());
  EXPECT_THAT(left.waiting, ElementsAre(0U));
  EXPECT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(recordsOnDisk(), 0U);
}

TEST_F(ShutDown, SendsNothingWhereNothingWaits) {
  const LoopbackServer server(kOk);
  startScheduled(server);
  const auto left = shutDown();
  EXPECT_FALSE(left.isCutOff);
  EXPECT_THAT(left.waiting, ElementsAre(0U, 0U)) << "of the schedule, and of the call";
  EXPECT_EQ(server.connections(), 0U);
}

TEST_F(ShutDown, WaitsForTheUploadThatRunsAndSendsWhatWasStoredSince) {
  const LoopbackServer server(kOk);
  for (const bool isScheduled : {false, true}) {
    if (isScheduled) {
      startScheduled(server);
    } else {
      start(server);
    }
    const std::size_t before = server.requests().size();
    record();
    if (isScheduled) {
      host->schedule()->start();
    } else {
      manager->uploadSQM();
    }
    ASSERT_EQ(host->httpTransactions->requestsUnderWay(), 1U);
    record(2);
    const auto left = isScheduled ? host->shutDown(kPatience) : shutDown();
    EXPECT_FALSE(left.isCutOff);
    EXPECT_TRUE(left.isEmpty());
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), before + 2);
    EXPECT_LT(requests[before].body.size(), requests[before + 1].body.size()) << "one record, and then two";
    EXPECT_EQ(recordsOnDisk(), 0U);
  }
}

TEST_F(ShutDown, SendsWithinThePausesOfTheSchedule) {
  const LoopbackServer server(kOk);
  startScheduled(server);
  host->schedule()->start();
  ASSERT_TRUE(host->runUntilIdle(kPatience));
  const std::size_t before = server.requests().size();
  record();
  host->schedule()->uploadNow();
  EXPECT_TRUE(host->runUntilIdle(kPatience));
  EXPECT_EQ(server.requests().size(), before) << "within the smallest pause";
  EXPECT_TRUE(host->shutDown(kPatience).isEmpty());
  EXPECT_EQ(server.requests().size(), before + 1);
}

TEST_F(ShutDown, DoesNotSendWithinThePauseThatAServerHasAskedFor) {
  const LoopbackServer server({"HTTP/1.1 503 Busy\r\nRetry-After: 3600\r\nContent-Length: 0\r\n\r\n"});
  startScheduled(server);
  record();
  host->schedule()->start();
  ASSERT_TRUE(host->runLoop().runUntil([&] { return !host->schedule()->isUploading(); }, kPatience));
  ASSERT_EQ(server.requests().size(), 1U);
  const auto left = host->shutDown(kPatience);
  EXPECT_FALSE(left.isCutOff);
  EXPECT_THAT(left.waiting, ElementsAre(1U));
  EXPECT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(recordsOnDisk(), 1U);
}

TEST_F(ShutDown, LosesNothingThatItCutsOff) {
  const LoopbackServer silent(kSilence);
  const LoopbackServer server(kOk);
  start(silent);
  record(2);
  auto left = shutDown(50ms);
  EXPECT_TRUE(left.isCutOff);
  EXPECT_THAT(left.waiting, ElementsAre(2U));
  start(server);
  EXPECT_EQ(manager->uploadTarget().waiting(), 2U);
  left = shutDown();
  EXPECT_TRUE(left.isEmpty());
  EXPECT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(recordsOnDisk(), 0U);
}

TEST_F(ShutDown, StartsNothingWithoutTime) {
  const LoopbackServer server(kOk);
  for (const auto timeout : {0ms, -1ms, std::chrono::milliseconds::min()}) {
    start(server);
    if (manager->uploadTarget().waiting() == 0) record();
    const auto left = shutDown(timeout);
    EXPECT_TRUE(left.isCutOff);
    EXPECT_THAT(left.waiting, ElementsAre(1U));
  }
  EXPECT_EQ(server.connections(), 0U);
  EXPECT_EQ(recordsOnDisk(), 1U);
}

TEST_F(ShutDown, HasAllTheTimeThatItIsGiven) {
  const LoopbackServer server(kOk);
  start(server);
  record();
  EXPECT_TRUE(shutDown(std::chrono::milliseconds::max()).isEmpty());
}

TEST_F(ShutDown, SendsNothingAfterwards) {
  const LoopbackServer server(kOk);
  startScheduled(server);
  record();
  EXPECT_TRUE(host->shutDown(kPatience).isEmpty());
  EXPECT_EQ(server.requests().size(), 1U);
  record();
  manager->uploadSQM();
  EXPECT_TRUE(host->runUntilIdle(0ms));
  EXPECT_EQ(host->httpTransactions->makeTransaction(), nullptr);
  EXPECT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(recordsOnDisk(), 1U) << "what was recorded afterwards is saved";
}

TEST_F(ShutDown, EndsItsSchedule) {
  const LoopbackServer server(kOk);
  startScheduled(server);
  EXPECT_FALSE(host->shutDown(kPatience).isCutOff);
  record();
  host->schedule()->uploadNow();
  EXPECT_EQ(host->schedule()->uploads(), 0U);
}

TEST_F(ShutDown, StartsItsTargetsOneAfterAnotherAlsoAfterAFailure) {
  const LoopbackServer server({response("503 Busy"), kOk});
  start(server);
  record();
  std::vector<std::string> calls;
  const UploadTarget target{.start = [&] { calls.push_back("started"); },
                            .isIdle =
                                [&] {
                                  EXPECT_EQ(server.requests().size(), 1U);
                                  return true;
                                },
                            .save = [&] { calls.push_back("saved"); },
                            .waiting = [] { return std::size_t{7}; }};
  const auto left = host->shutDown(kPatience, {manager->uploadTarget(), target});
  EXPECT_FALSE(left.isCutOff);
  EXPECT_THAT(left.waiting, ElementsAre(1U, 7U));
  EXPECT_THAT(calls, ElementsAre("started", "saved"));
}

TEST_F(ShutDown, SavesTheTargetsThatWereNotStarted) {
  const LoopbackServer silent(kSilence);
  start(silent);
  record();
  std::vector<std::string> calls;
  const UploadTarget target{.start = [&] { calls.push_back("started"); }, .save = [&] { calls.push_back("saved"); }};
  EXPECT_TRUE(host->shutDown(50ms, {manager->uploadTarget(), target}).isCutOff);
  EXPECT_THAT(calls, ElementsAre("saved"));
}

TEST_F(ShutDown, MayBeCalledInATaskOfTheLoop) {
  const LoopbackServer server(kOk);
  start(server);
  record();
  StandardHost::Remainder left;
  left.isCutOff = true;
  host->runLoop().post([&] {
    left = shutDown();
    host->runLoop().stop();
  });
  host->runLoop().run();
  EXPECT_FALSE(left.isCutOff);
  EXPECT_TRUE(left.isEmpty());
}

TEST_F(ShutDown, WaitsForNothingOnTheEventLoopOfTheApplication) {
  const LoopbackServer server(kOk);
  sqm::platform::RunLoop ofTheApplication;
  sqm::platform::MainThreadAdapter adapter([&](sqm::MainThread::Task task) { ofTheApplication.post(std::move(task)); });
  options.services.mainThread = &adapter;
  start(server);
  record();
  auto left = shutDown();
  EXPECT_FALSE(left.isCutOff) << "nothing was started";
  EXPECT_THAT(left.waiting, ElementsAre(1U));
  EXPECT_EQ(server.connections(), 0U);

  start(server);
  manager->uploadSQM();
  left = shutDown();
  EXPECT_TRUE(left.isCutOff);
  EXPECT_THAT(left.waiting, ElementsAre(1U));

  start(server);
  manager->uploadSQM();
  EXPECT_TRUE(ofTheApplication.runUntil([&] { return host->httpTransactions->requestsUnderWay() == 0; }, kPatience));
  left = shutDown(0ms);
  EXPECT_FALSE(left.isCutOff);
  EXPECT_TRUE(left.isEmpty()) << "the application has run its loop";
}

TEST_IN_FRESH_PROCESS(ShutDownOfTheQueue, SendsOneRequestAfterAnotherAndKeepsTheRest) {
  const TemporaryFolder home;
  const LoopbackServer server({kOk, kOk, kSilence});
  StandardHost::Options options;
  options.homeDirectory = home.path();
  forgetProxies();
  StandardHost host(options);
  ASSERT_TRUE(host.makeFolders());
  sqm::Host::install(host);
  auto& queue = *sqm::QFRecordUploader::sharedQFRecordUploader();
  for (const char* const body : {"a", "b", "c", "d"}) ASSERT_TRUE(queue.quequeRecord(body, server.url()));
  EXPECT_EQ(queue.uploadTarget().waiting(), 4U);
  // The end comes once the third request, which is not answered, has arrived: the loop looks for it now and then.
  const std::function<void()> look = [&] { host.runLoop().postAfter(5ms, look); };
  look();
  UploadTarget target = queue.uploadTarget();
  target.isIdle = [&] { return server.requests().size() == 3 || queue.isIdle(); };
  const auto left = host.shutDown(kPatience, {target});
  EXPECT_THAT(left.waiting, ElementsAre(2U));
  EXPECT_EQ(queue.recordQueue()->front().uploadData, "c");
}

}  // namespace
