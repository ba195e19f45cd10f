// What an abort ends, and how it is reported.

#include <string>

#include "tests/platform/http/FakeResolver.h"
#include "tests/platform/http/HttpFixture.h"

namespace {

using namespace sqm::tests;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Then = Answer::Then;
using When = Answer::When;

const Outcome kOk{std::string(kCompleted), 200, "ok"};
const Outcome kAbort{std::string(kAborted)};
const Answer kNoAnswer{""};
const Answer kNotRead{"", Then::stopReading, When::afterHead};
constexpr const char* kNoAddress = "no address";

class HttpAbort : public HttpFixture {};

TEST_F(HttpAbort, AbortEndsAWaitForTheAnswer) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  EXPECT_THAT(caller->outcomes, IsEmpty());
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(kAbort));
  EXPECT_TRUE(server.waitForClosed(1));
}

TEST_F(HttpAbort, AbortEndsAnUpload) {
  const LoopbackServer server(kNotRead);
  const auto caller = newCaller();
  caller->send(server.url(), std::string(64 * 1024 * 1024, 'x'));
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(kAbort));
}

TEST_F(HttpAbort, AbortEndsADownload) {
  startClient({.bodyLimit = static_cast<std::size_t>(-1)});
  const LoopbackServer server(Answer{"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\npart"});
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(kAbort));
  EXPECT_EQ(caller->transaction->httpResponseContent(), "");
}

TEST_F(HttpAbort, AbortEndsANameLookUp) {
  const auto caller = newCaller();
  caller->send(std::string("http://") + kBlockedName + "/");
  ASSERT_TRUE(waitForBlockedLookUp());
  caller->transaction->abortTransaction();
  runUntilOutcomes(*caller, 1);
  EXPECT_TRUE(lookUpIsBlocked());
  EXPECT_THAT(caller->outcomes, ElementsAre(kAbort));
  releaseBlockedLookUps();
}

TEST_F(HttpAbort, AbortRightAfterTheSendIsReportedOnce) {
  const LoopbackServer server(response("200 OK", "ok"));
  for (int times = 0; times < 200; ++times) {
    const auto caller = newCaller();
    caller->send(server.url());
    caller->transaction->abortTransaction();
    runUntilOutcomes(*caller, 1);
    EXPECT_THAT(caller->outcomes, ElementsAre(kAbort));
  }
}

TEST_F(HttpAbort, AbortOverridesAResponseThatWasNotYetReported) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(mainThread.waitForPosts(1));
  caller->transaction->abortTransaction();
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(kAbort));
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
}

TEST_F(HttpAbort, AbortOfARequestToABadAddressIsReportedOnce) {
  const auto caller = newCaller();
  caller->send(kNoAddress);
  caller->transaction->abortTransaction();
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(kAbort));
}

TEST_F(HttpAbort, AbortIsReportedForEveryRequestThatRunsOrWaits) {
  startClient({.connectionBound = 2});
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  const auto bystander = newCaller();
  for (int times = 0; times < 5; ++times) caller->send(server.url());
  bystander->send(server.url());
  ASSERT_TRUE(server.waitForHeads(2));
  caller->transaction->abortTransaction();
  runUntilOutcomes(*caller, 5);
  EXPECT_THAT(caller->outcomes, Each(kAbort));
  EXPECT_THAT(bystander->outcomes, IsEmpty());
}

TEST_F(HttpAbort, AbortTwiceIsReportedOnce) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  caller->send(server.url());
  caller->transaction->abortTransaction();
  caller->transaction->abortTransaction();
  runUntilOutcomes(*caller, 1);
}

TEST_F(HttpAbort, AbortWithNothingRunningDoesNothing) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->transaction->abortTransaction();
  runUntilIdle();
  EXPECT_THAT(caller->outcomes, IsEmpty());
  caller->send(server.url());
  runUntilOutcomes(*caller, 1);
  caller->transaction->abortTransaction();
  runUntilIdle();
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk));
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 200);
}

TEST_F(HttpAbort, ATransactionSendsAgainAfterAnAbort) {
  const LoopbackServer server({kNoAnswer, response("200 OK", "ok")});
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  caller->send(server.url());
  runUntilOutcomes(*caller, 2);
  EXPECT_THAT(caller->outcomes, testing::UnorderedElementsAre(kAbort, kOk));
}

TEST_F(HttpAbort, AbortInsideTheHandlerEndsTheOthers) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->onOutcome = [&] { caller->transaction->abortTransaction(); };
  caller->send(silent.url());
  caller->send(server.url());
  runUntilOutcomes(*caller, 2);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk, kAbort));
}

}  // namespace
