// What the destruction of transactions and clients ends.

#include <memory>
#include <string>

#include "tests/platform/http/FakeResolver.h"
#include "tests/platform/http/HttpFixture.h"

namespace {

using namespace sqm::tests;
using testing::ElementsAre;
using testing::IsEmpty;
using Then = Answer::Then;
using When = Answer::When;

const Outcome kOk{std::string(kCompleted), 200, "ok"};
const Answer kNoAnswer{""};
const Answer kNotRead{"", Then::stopReading, When::afterHead};
constexpr const char* kNoAddress = "no address";

class HttpLifetime : public HttpFixture {};

TEST_F(HttpLifetime, DestructionEndsRunningRequestsWithoutANotification) {
  for (const Answer& answer : {kNoAnswer, kNotRead}) {
    const LoopbackServer server(answer);
    const auto caller = newCaller();
    caller->send(server.url(), std::string(8 * 1024 * 1024, 'x'));
    ASSERT_TRUE(server.waitForHeads(1));
    caller->transaction.reset();
    runUntilIdle();
    EXPECT_THAT(caller->outcomes, IsEmpty());
  }
}

TEST_F(HttpLifetime, DestructionClosesTheConnectionOfWhatRan) {
  const LoopbackServer server(kNoAnswer);
  auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller.reset();
  EXPECT_TRUE(server.waitForClosed(1));
}

TEST_F(HttpLifetime, DestructionDropsAResponseThatWasNotYetReported) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(mainThread.waitForPosts(1));
  caller->transaction.reset();
  runUntilIdle();
  EXPECT_THAT(caller->outcomes, IsEmpty());
}

TEST_F(HttpLifetime, MayBeDestroyedInsideItsHandler) {
  const LoopbackServer server(response("200 OK", "ok"));
  const LoopbackServer silent(kNoAnswer);
  const auto caller = newCaller();
  caller->onOutcome = [&] { caller->transaction.reset(); };
  caller->send(silent.url());
  caller->send(server.url());
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk));
}

TEST_F(HttpLifetime, TheClientMayBeDestroyedFirst) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  const auto idle = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  client.reset();
  EXPECT_TRUE(server.waitForClosed(1));
  caller->transaction->abortTransaction();
  caller->send(server.url());
  idle->send(server.url());
  idle->transaction->startSession("late", "SQMHttp.log");
  EXPECT_EQ(loop.poll(), 0U);
  EXPECT_THAT(caller->outcomes, IsEmpty());
  EXPECT_THAT(idle->outcomes, IsEmpty());
  EXPECT_EQ(idle->transaction->httpResponseStatusCode(), 0);
}

TEST_F(HttpLifetime, NoServiceIsUsedAfterTheClientIsDestroyed) {
  const LoopbackServer server(kNoAnswer);
  auto ownLogs = std::make_unique<sqm::testing::MemoryLogs>();
  auto ownNotifications = std::make_unique<sqm::NotificationCenter>();
  auto ownLoop = std::make_unique<sqm::platform::RunLoop>();
  auto ownClient = std::make_unique<sqm::platform::HttpClient>(*ownLoop, *ownNotifications, *ownLogs);
  Caller caller(*ownClient, *ownNotifications);
  caller.send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  ownClient.reset();
  ownLoop.reset();
  ownNotifications.reset();
  ownLogs.reset();
  caller.transaction->startSession("late", "SQMHttp.log");
  caller.send(server.url());
  caller.transaction->abortTransaction();
  caller.transaction.reset();
  EXPECT_THAT(caller.outcomes, IsEmpty());
}

TEST_F(HttpLifetime, TasksThatTheClientLeftBehindDoNothing) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(mainThread.waitForPosts(1));
  client.reset();
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_THAT(caller->outcomes, IsEmpty());
}

TEST_F(HttpLifetime, TheClientMayBeDestroyedInsideTheHandler) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->onOutcome = [&] { client.reset(); };
  caller->send(server.url());
  caller->send(server.url());
  ASSERT_TRUE(loop.runUntil([&] { return !caller->outcomes.empty(); }, kPatience));
  loop.poll();
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk));
}

TEST_F(HttpLifetime, TheClientEndsWhileThousandsWait) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  for (int times = 0; times < 2000; ++times) caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  client.reset();
  EXPECT_THAT(caller->outcomes, IsEmpty());
}

TEST_F(HttpLifetime, TheClientEndsWhileANameLookUpIsBlocked) {
  const auto caller = newCaller();
  caller->send(std::string("http://") + kBlockedName + "/");
  ASSERT_TRUE(waitForBlockedLookUp());
  client.reset();
  EXPECT_TRUE(lookUpIsBlocked());  // the client did not wait for it
  releaseBlockedLookUps();
}

TEST_F(HttpLifetime, AClientThatIsStoppedSendsNothing) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  EXPECT_EQ(client->requestsUnderWay(), 1U);
  client->stop();
  EXPECT_TRUE(server.waitForClosed(1));
  EXPECT_EQ(client->requestsUnderWay(), 0U);
  EXPECT_EQ(client->makeTransaction(), nullptr);
  caller->send(server.url());
  caller->transaction->abortTransaction();
  client->stop();
  EXPECT_EQ(loop.poll(), 0U);
  EXPECT_THAT(caller->outcomes, IsEmpty());
  EXPECT_EQ(server.connections(), 1U);
}

TEST_F(HttpLifetime, AMainThreadThatRefusesEveryTaskDoesNotKeepTheClientFromEnding) {
  const auto caller = newCaller();
  mainThread.refuse(1'000'000);
  caller->send(kNoAddress);
  client.reset();
  EXPECT_EQ(loop.poll(), 0U);
}

TEST_F(HttpLifetime, ClientsAreIndependentOfEachOther) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  sqm::platform::HttpClient other(loop, notifications, logs);
  Caller ofOther(other, notifications);
  const auto ofDestroyedClient = newCaller();
  ofDestroyedClient->send(silent.url());
  ASSERT_TRUE(silent.waitForHeads(1));
  client.reset();
  ofOther.send(server.url());
  ASSERT_TRUE(loop.runUntil([&] { return !ofOther.outcomes.empty(); }, kPatience));
  EXPECT_THAT(ofOther.outcomes, ElementsAre(kOk));
}

TEST_F(HttpLifetime, AClientThatNeverSentEndsQuietly) {
  client.reset();
  startClient({});
  const auto caller = newCaller();
  client.reset();
  EXPECT_THAT(caller->outcomes, IsEmpty());
}

}  // namespace
