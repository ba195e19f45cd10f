// How a transaction sends requests and reports their outcomes.

#include <chrono>
#include <signal.h>
#include <stdexcept>
#include <string>
#include <thread>

#include "sqm/platform/system/MainThreadAdapter.h"

#include "tests/platform/http/HttpFixture.h"

namespace {

using namespace sqm::tests;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const Outcome kOk{std::string(kCompleted), 200, "ok"};
const Outcome kFailed{std::string(kError)};
const Outcome kAbort{std::string(kAborted)};
const Answer kNoAnswer{""};
constexpr const char* kNoAddress = "no address";

class HttpTransaction : public HttpFixture {};

TEST_F(HttpTransaction, StatusAndContentAreThoseOfTheCompletedResponse) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
  EXPECT_EQ(caller->transaction->httpResponseContent(), "");
  caller->send(server.url());
  runUntilOutcomes(*caller, 1);
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 200);
  EXPECT_EQ(caller->transaction->httpResponseContent(), "ok");
}

TEST_F(HttpTransaction, AnOlderResponseIsForgottenWhenARequestStarts) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  runUntilOutcomes(*caller, 1);
  caller->send(kNoAddress);
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
  EXPECT_EQ(caller->transaction->httpResponseContent(), "");
  runUntilOutcomes(*caller, 2);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk, kFailed));
}

TEST_F(HttpTransaction, AnotherRequestMayStartInsideTheHandler) {
  const LoopbackServer server({response("200 OK", "ok"), response("404 Not Found", "gone")});
  const auto caller = newCaller();
  caller->onOutcome = [&] {
    if (caller->outcomes.size() > 1) return;
    caller->transaction->sendHttpRequest(server.url(), sqm::kHttpMethodPost, "again");
    EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
  };
  caller->send(server.url());
  runUntilOutcomes(*caller, 2);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk, Outcome{std::string(kCompleted), 404, "gone"}));
}

TEST_F(HttpTransaction, ASecondRequestIsSentBesideTheOneThatRuns) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(silent.url());
  ASSERT_TRUE(silent.waitForHeads(1));
  caller->send(server.url());
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk));
  caller->transaction->abortTransaction();
  runUntilOutcomes(*caller, 2);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk, kAbort));
}

TEST_F(HttpTransaction, AFailureDoesNotShowTheResponseOfARequestBesideIt) {
  auto silent = std::make_unique<LoopbackServer>(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(silent->url());
  caller->send(server.url());
  runUntilOutcomes(*caller, 1);
  silent.reset();
  runUntilOutcomes(*caller, 2);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk, Outcome{std::string(kError)}));
}

TEST_F(HttpTransaction, TheClientCountsTheRequestsUnderWay) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto first = newCaller();
  auto second = newCaller();
  EXPECT_EQ(client->requestsUnderWay(), 0U);
  std::size_t insideHandler = 0;
  first->onOutcome = [&] { insideHandler = client->requestsUnderWay(); };
  first->send(server.url());
  second->send(silent.url());
  second->send(silent.url());
  EXPECT_EQ(client->requestsUnderWay(), 3U);
  runUntilOutcomes(*first, 1);
  EXPECT_EQ(insideHandler, 2U);
  second.reset();
  EXPECT_EQ(client->requestsUnderWay(), 0U);
}

TEST_F(HttpTransaction, AnotherThreadMayMakeAndDestroyTransactionsThatSendNothing) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  constexpr std::size_t kRequests = 50;
  std::thread other([&] {
    for (std::size_t each = 0; each < kRequests; ++each) client->makeTransaction()->startSession("other", "Other.log");
  });
  for (std::size_t each = 0; each < kRequests; ++each) caller->send(server.url());
  other.join();
  EXPECT_EQ(client->requestsUnderWay(), kRequests);
  runUntilOutcomes(*caller, kRequests);
  EXPECT_EQ(client->requestsUnderWay(), 0U);
}

TEST_F(HttpTransaction, NotificationsNameTheTransactionThatSent) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto first = newCaller();
  const auto second = newCaller();
  first->send(server.url());
  runUntilOutcomes(*first, 1);
  EXPECT_THAT(second->outcomes, IsEmpty());
}

TEST_F(HttpTransaction, ATaskThatTheMainThreadRefusesIsPostedAgain) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  mainThread.refuse(3);
  caller->send(server.url());
  caller->send(kNoAddress);
  runUntilOutcomes(*caller, 2);
  EXPECT_EQ(mainThread.refusalsLeft(), 0);
  EXPECT_THAT(caller->outcomes, testing::UnorderedElementsAre(kOk, kFailed));
}

TEST_F(HttpTransaction, AnExceptionOfAHandlerReachesTheRunLoop) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->onOutcome = [] { throw std::runtime_error("handler"); };
  caller->send(server.url());
  EXPECT_THROW(loop.runUntil([] { return false; }, kPatience), std::runtime_error);
  caller->onOutcome = [] {};
  caller->send(server.url());
  runUntilOutcomes(*caller, 2);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk, kOk));
}

TEST_F(HttpTransaction, TheHttpThreadBlocksTheSignalsOfTheProcess) {
  sigset_t blocked;
  sigemptyset(&blocked);
  sqm::platform::MainThreadAdapter adapter([&](sqm::MainThread::Task task) {
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);  // called on the HTTP thread
    loop.post(std::move(task));
  });
  sqm::platform::HttpClient other(adapter, notifications, logs);
  Caller caller(other, notifications);
  caller.send(kNoAddress);
  ASSERT_TRUE(loop.runUntil([&] { return !caller.outcomes.empty(); }, kPatience));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGCHLD, SIGPIPE, SIGUSR1}) {
    EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
  }
  for (const int signal : {SIGSEGV, SIGABRT}) EXPECT_EQ(sigismember(&blocked, signal), 0) << signal;

  sigset_t own;
  pthread_sigmask(SIG_BLOCK, nullptr, &own);
  EXPECT_EQ(sigismember(&own, SIGTERM), 0);
}

}  // namespace
