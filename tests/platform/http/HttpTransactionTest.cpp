// How requests run, end, are given up and go away with what they belong to.

#include <chrono>
#include <signal.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "sqm/platform/system/MainThreadAdapter.h"

#include "tests/platform/http/FakeResolver.h"
#include "tests/platform/http/HttpFixture.h"

namespace {

using namespace sqm::tests;
using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Then = Answer::Then;
using When = Answer::When;

const Told kOk{std::string(kCompleted), 200, "ok"};
const Told kFailed{std::string(kError)};
const Told kGivenUp{std::string(kAborted)};

const Answer kNoAnswer{""};
const Answer kNotRead{"", Then::stopReading, When::afterHead};

constexpr const char* kNoAddress = "no address";

class HttpTransaction : public HttpFixture {};

TEST_F(HttpTransaction, StatusAndContentAreThoseOfTheCompletedResponse) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
  EXPECT_EQ(caller->transaction->httpResponseContent(), "");
  caller->send(server.url());
  runUntilTold(*caller, 1);
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 200);
  EXPECT_EQ(caller->transaction->httpResponseContent(), "ok");
}

TEST_F(HttpTransaction, AnOlderResponseIsForgottenWhenARequestStarts) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  runUntilTold(*caller, 1);
  caller->send(kNoAddress);
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
  EXPECT_EQ(caller->transaction->httpResponseContent(), "");
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, ElementsAre(kOk, kFailed));
}

TEST_F(HttpTransaction, AnotherRequestMayStartInsideTheHandler) {
  const LoopbackServer server({response("200 OK", "ok"), response("404 Not Found", "gone")});
  const auto caller = newCaller();
  caller->whenTold = [&] {
    if (caller->told.size() > 1) return;
    caller->transaction->sendHttpRequest(server.url(), sqm::kHttpMethodPost, "again");
    EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
  };
  caller->send(server.url());
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, ElementsAre(kOk, Told{std::string(kCompleted), 404, "gone"}));
}

TEST_F(HttpTransaction, ASecondRequestIsSentBesideTheOneThatRuns) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(silent.url());
  ASSERT_TRUE(silent.waitForHeads(1));
  caller->send(server.url());
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kOk));
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, ElementsAre(kOk, kGivenUp));
}

TEST_F(HttpTransaction, AFailureDoesNotShowTheResponseOfARequestBesideIt) {
  startClient({.totalLimit = 200ms});
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(silent.url());
  caller->send(server.url());
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, ElementsAre(kOk, Told{std::string(kTimeOut)}));
}

TEST_F(HttpTransaction, TheClientKnowsHowManyRequestsAreUnderWay) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto first = newCaller();
  auto second = newCaller();
  EXPECT_EQ(client->requestsUnderWay(), 0U);
  std::size_t insideHandler = 0;
  first->whenTold = [&] { insideHandler = client->requestsUnderWay(); };
  first->send(server.url());
  second->send(silent.url());
  second->send(silent.url());
  EXPECT_EQ(client->requestsUnderWay(), 3U);
  runUntilTold(*first, 1);
  EXPECT_EQ(insideHandler, 2U);
  second.reset();
  EXPECT_EQ(client->requestsUnderWay(), 0U);
}

TEST_F(HttpTransaction, NotificationsNameTheTransactionThatSent) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto first = newCaller();
  const auto second = newCaller();
  first->send(server.url());
  runUntilTold(*first, 1);
  EXPECT_THAT(second->told, IsEmpty());
}

TEST_F(HttpTransaction, RequestsInARowShareOneConnection) {
  constexpr std::size_t kRequests = 1000;
  // With headers that, all together, are longer than the limit for one answer.
  const LoopbackServer server(
      Answer{"HTTP/1.1 200 OK\r\nContent-Length: 2\r\nX-Padding: " + std::string(512, 'x') + "\r\n\r\nok"});
  const auto caller = newCaller();
  caller->whenTold = [&] {
    if (caller->told.size() < kRequests) {
      caller->transaction->sendHttpRequest(server.url(), sqm::kHttpMethodPost, std::to_string(caller->told.size()));
    }
  };
  caller->send(server.url(), "0");
  runUntilTold(*caller, kRequests);
  EXPECT_THAT(caller->told, Each(kOk));
  EXPECT_EQ(server.connections(), 1U);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), kRequests);
  for (std::size_t number = 0; number < kRequests; ++number) EXPECT_EQ(requests[number].body, std::to_string(number));
}

TEST_F(HttpTransaction, TransactionsShareTheirConnections) {
  const LoopbackServer server(response("200 OK", "ok"));
  for (int times = 0; times < 3; ++times) {
    const auto caller = newCaller();
    caller->send(server.url());
    runUntilTold(*caller, 1);
  }
  EXPECT_EQ(server.connections(), 1U);
}

TEST_F(HttpTransaction, ThousandsAtOnceWaitForTheirTurnOnFewConnections) {
  constexpr std::size_t kRequests = 2000;
  startClient({.connectionBound = 4});
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  for (std::size_t number = 0; number < kRequests; ++number) caller->send(server.url(), std::to_string(number));
  runUntilTold(*caller, kRequests);
  EXPECT_THAT(caller->told, Each(kOk));
  EXPECT_LE(server.connections(), 4U);
  std::vector<bool> came(kRequests);
  for (const ReceivedRequest& request : server.requests()) came.at(std::stoul(request.body)) = true;
  EXPECT_THAT(came, Each(true));
}

TEST_F(HttpTransaction, KeptAliveConnectionsCountAmongTheBound) {
  startClient({.connectionBound = 1});
  const LoopbackServer first(response("200 OK", "ok"));
  const LoopbackServer second(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(first.url());
  runUntilTold(*caller, 1);
  caller->send(second.url());
  runUntilTold(*caller, 2);
  EXPECT_TRUE(first.waitForClosed(1));
}

TEST_F(HttpTransaction, ABoundOfNoConnectionMeansOne) {
  startClient({.connectionBound = 0});
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kOk));
}

TEST_F(HttpTransaction, AConnectionThatWasIdleForLongIsNotUsedAgain) {
  startClient({.idleLimit = std::chrono::seconds(1)});
  const LoopbackServer server(response("200 OK"));
  const auto caller = newCaller();
  caller->send(server.url());
  runUntilTold(*caller, 1);
  caller->send(server.url());
  runUntilTold(*caller, 2);
  loop.runUntil([] { return false; }, std::chrono::milliseconds(2100));  // whole seconds count
  caller->send(server.url());
  runUntilTold(*caller, 3);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[1].connection, 0U);
  EXPECT_EQ(requests[2].connection, 1U);
}

TEST_F(HttpTransaction, ARequestIsSentAgainWhenItsKeptAliveConnectionDiesUnanswered) {
  const LoopbackServer server({response("200 OK", "ok"), {"", Then::close}, response("200 OK", "ok")});
  const auto caller = newCaller();
  caller->send(server.url(), "first");
  runUntilTold(*caller, 1);
  caller->send(server.url(), "second");
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, ElementsAre(kOk, kOk));
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[1].body, "second");
  EXPECT_EQ(requests[2].body, "second");
}

TEST_F(HttpTransaction, AbortEndsAWaitForTheAnswer) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  EXPECT_THAT(caller->told, IsEmpty());
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  EXPECT_TRUE(server.waitForClosed(1));
}

TEST_F(HttpTransaction, AbortEndsAnUpload) {
  const LoopbackServer server(kNotRead);
  const auto caller = newCaller();
  caller->send(server.url(), std::string(64 * 1024 * 1024, 'x'));
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
}

TEST_F(HttpTransaction, AbortEndsADownload) {
  startClient({.bodyLimit = static_cast<std::size_t>(-1)});
  const LoopbackServer server(Answer{"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\npart"});
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  EXPECT_EQ(caller->transaction->httpResponseContent(), "");
}

TEST_F(HttpTransaction, AbortEndsANameLookUp) {
  const auto caller = newCaller();
  caller->send(std::string("http://") + kBlockedName + "/");
  ASSERT_TRUE(waitForBlockedLookUp());
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_TRUE(lookUpIsBlocked());
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  releaseBlockedLookUps();
}

TEST_F(HttpTransaction, AbortRightAfterTheSendIsToldOnce) {
  const LoopbackServer server(response("200 OK", "ok"));
  for (int times = 0; times < 200; ++times) {
    const auto caller = newCaller();
    caller->send(server.url());
    caller->transaction->abortTransaction();
    runUntilTold(*caller, 1);
    EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  }
}

TEST_F(HttpTransaction, AbortHasTheLastWordOverAResponseThatNobodyWasToldOf) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(mainThread.waitForPosts(1));
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
}

TEST_F(HttpTransaction, AbortOfARequestToABadAddressIsToldOnce) {
  const auto caller = newCaller();
  caller->send(kNoAddress);
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
}

TEST_F(HttpTransaction, AbortIsToldForEveryRequestThatRunsOrWaits) {
  startClient({.connectionBound = 2});
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  const auto bystander = newCaller();
  for (int times = 0; times < 5; ++times) caller->send(server.url());
  bystander->send(server.url());
  ASSERT_TRUE(server.waitForHeads(2));
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 5);
  EXPECT_THAT(caller->told, Each(kGivenUp));
  EXPECT_THAT(bystander->told, IsEmpty());
}

TEST_F(HttpTransaction, AbortTwiceIsToldOnce) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  caller->send(server.url());
  caller->transaction->abortTransaction();
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
}

TEST_F(HttpTransaction, AbortWithNothingRunningDoesNothing) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->transaction->abortTransaction();
  runUntilQuiet();
  EXPECT_THAT(caller->told, IsEmpty());
  caller->send(server.url());
  runUntilTold(*caller, 1);
  caller->transaction->abortTransaction();
  runUntilQuiet();
  EXPECT_THAT(caller->told, ElementsAre(kOk));
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 200);
}

TEST_F(HttpTransaction, ATransactionSendsAgainAfterAnAbort) {
  const LoopbackServer server({kNoAnswer, response("200 OK", "ok")});
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  caller->send(server.url());
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, testing::UnorderedElementsAre(kGivenUp, kOk));
}

TEST_F(HttpTransaction, AbortInsideTheHandlerEndsTheOthers) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->whenTold = [&] { caller->transaction->abortTransaction(); };
  caller->send(silent.url());
  caller->send(server.url());
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, ElementsAre(kOk, kGivenUp));
}

TEST_F(HttpTransaction, DestructionGivesUpWhatRunsSilently) {
  for (const Answer& answer : {kNoAnswer, kNotRead}) {
    const LoopbackServer server(answer);
    const auto caller = newCaller();
    caller->send(server.url(), std::string(8 * 1024 * 1024, 'x'));
    ASSERT_TRUE(server.waitForHeads(1));
    caller->transaction.reset();
    runUntilQuiet();
    EXPECT_THAT(caller->told, IsEmpty());
  }
}

TEST_F(HttpTransaction, DestructionClosesTheConnectionOfWhatRan) {
  const LoopbackServer server(kNoAnswer);
  auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller.reset();
  EXPECT_TRUE(server.waitForClosed(1));
}

TEST_F(HttpTransaction, DestructionSilencesAResponseThatNobodyWasToldOf) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(mainThread.waitForPosts(1));
  caller->transaction.reset();
  runUntilQuiet();
  EXPECT_THAT(caller->told, IsEmpty());
}

TEST_F(HttpTransaction, MayBeDestroyedInsideItsHandler) {
  const LoopbackServer server(response("200 OK", "ok"));
  const LoopbackServer silent(kNoAnswer);
  const auto caller = newCaller();
  caller->whenTold = [&] { caller->transaction.reset(); };
  caller->send(silent.url());
  caller->send(server.url());
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kOk));
}

TEST_F(HttpTransaction, TheClientMayGoFirst) {
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
  EXPECT_THAT(caller->told, IsEmpty());
  EXPECT_THAT(idle->told, IsEmpty());
  EXPECT_EQ(idle->transaction->httpResponseStatusCode(), 0);
}

TEST_F(HttpTransaction, NoServiceIsAskedForAnythingOnceTheClientIsGone) {
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
  EXPECT_THAT(caller.told, IsEmpty());
}

TEST_F(HttpTransaction, TasksThatTheClientLeftBehindDoNothing) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(mainThread.waitForPosts(1));
  client.reset();
  EXPECT_EQ(loop.poll(), 1U);
  EXPECT_THAT(caller->told, IsEmpty());
}

TEST_F(HttpTransaction, TheClientMayBeDestroyedInsideTheHandler) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->whenTold = [&] { client.reset(); };
  caller->send(server.url());
  caller->send(server.url());
  ASSERT_TRUE(loop.runUntil([&] { return !caller->told.empty(); }, kPatience));
  loop.poll();
  EXPECT_THAT(caller->told, ElementsAre(kOk));
}

TEST_F(HttpTransaction, TheClientEndsWhileThousandsWait) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  for (int times = 0; times < 2000; ++times) caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  client.reset();
  EXPECT_THAT(caller->told, IsEmpty());
}

TEST_F(HttpTransaction, TheClientEndsWhileANameLookUpIsBlocked) {
  const auto caller = newCaller();
  caller->send(std::string("http://") + kBlockedName + "/");
  ASSERT_TRUE(waitForBlockedLookUp());
  client.reset();
  EXPECT_TRUE(lookUpIsBlocked());  // it has not been waited for
  releaseBlockedLookUps();
}

TEST_F(HttpTransaction, AMainThreadThatRefusesTasksIsAskedAgain) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  mainThread.refuse(3);
  caller->send(server.url());
  caller->send(kNoAddress);
  runUntilTold(*caller, 2);
  EXPECT_EQ(mainThread.refusalsLeft(), 0);
  EXPECT_THAT(caller->told, testing::UnorderedElementsAre(kOk, kFailed));
}

TEST_F(HttpTransaction, AMainThreadThatRefusesEveryTaskDoesNotKeepTheClientFromEnding) {
  const auto caller = newCaller();
  mainThread.refuse(1'000'000);
  caller->send(kNoAddress);
  client.reset();
  EXPECT_EQ(loop.poll(), 0U);
}

TEST_F(HttpTransaction, AnExceptionOfAHandlerReachesTheRunLoopAndSpoilsNothing) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->whenTold = [] { throw std::runtime_error("handler"); };
  caller->send(server.url());
  EXPECT_THROW(loop.runUntil([] { return false; }, kPatience), std::runtime_error);
  caller->whenTold = [] {};
  caller->send(server.url());
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, ElementsAre(kOk, kOk));
}

TEST_F(HttpTransaction, TheHttpThreadTakesNoSignalsOfTheProcess) {
  sigset_t blocked;
  sigemptyset(&blocked);
  sqm::platform::MainThreadAdapter adapter([&](sqm::MainThread::Task task) {
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);  // called on the HTTP thread
    loop.post(std::move(task));
  });
  sqm::platform::HttpClient other(adapter, notifications, logs);
  Caller caller(other, notifications);
  caller.send(kNoAddress);
  ASSERT_TRUE(loop.runUntil([&] { return !caller.told.empty(); }, kPatience));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGCHLD, SIGPIPE, SIGUSR1}) {
    EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
  }
  for (const int signal : {SIGSEGV, SIGABRT}) EXPECT_EQ(sigismember(&blocked, signal), 0) << signal;

  sigset_t own;
  pthread_sigmask(SIG_BLOCK, nullptr, &own);
  EXPECT_EQ(sigismember(&own, SIGTERM), 0);
}

TEST_F(HttpTransaction, ClientsAreIndependentOfEachOther) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  sqm::platform::HttpClient other(loop, notifications, logs);
  Caller stays(other, notifications);
  const auto goes = newCaller();
  goes->send(silent.url());
  ASSERT_TRUE(silent.waitForHeads(1));
  client.reset();
  stays.send(server.url());
  ASSERT_TRUE(loop.runUntil([&] { return !stays.told.empty(); }, kPatience));
  EXPECT_THAT(stays.told, ElementsAre(kOk));
}

TEST_F(HttpTransaction, AClientThatNeverSentEndsQuietly) {
  client.reset();
  startClient({});
  const auto caller = newCaller();
  client.reset();
  EXPECT_THAT(caller->told, IsEmpty());
}

}  // namespace
