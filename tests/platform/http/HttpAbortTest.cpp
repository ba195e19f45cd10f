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

const Told kOk{std::string(kCompleted), 200, "ok"};
const Told kGivenUp{std::string(kAborted)};
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
  EXPECT_THAT(caller->told, IsEmpty());
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  EXPECT_TRUE(server.waitForClosed(1));
}

TEST_F(HttpAbort, AbortEndsAnUpload) {
  const LoopbackServer server(kNotRead);
  const auto caller = newCaller();
  caller->send(server.url(), std::string(64 * 1024 * 1024, 'x'));
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
}

TEST_F(HttpAbort, AbortEndsADownload) {
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

TEST_F(HttpAbort, AbortEndsANameLookUp) {
  const auto caller = newCaller();
  caller->send(std::string("http://") + kBlockedName + "/");
  ASSERT_TRUE(waitForBlockedLookUp());
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_TRUE(lookUpIsBlocked());
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  releaseBlockedLookUps();
}

TEST_F(HttpAbort, AbortRightAfterTheSendIsToldOnce) {
  const LoopbackServer server(response("200 OK", "ok"));
  for (int times = 0; times < 200; ++times) {
    const auto caller = newCaller();
    caller->send(server.url());
    caller->transaction->abortTransaction();
    runUntilTold(*caller, 1);
    EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  }
}

TEST_F(HttpAbort, AbortHasTheLastWordOverAResponseThatNobodyWasToldOf) {
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(mainThread.waitForPosts(1));
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
  EXPECT_EQ(caller->transaction->httpResponseStatusCode(), 0);
}

TEST_F(HttpAbort, AbortOfARequestToABadAddressIsToldOnce) {
  const auto caller = newCaller();
  caller->send(kNoAddress);
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
  EXPECT_THAT(caller->told, ElementsAre(kGivenUp));
}

TEST_F(HttpAbort, AbortIsToldForEveryRequestThatRunsOrWaits) {
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

TEST_F(HttpAbort, AbortTwiceIsToldOnce) {
  const LoopbackServer server(kNoAnswer);
  const auto caller = newCaller();
  caller->send(server.url());
  caller->transaction->abortTransaction();
  caller->transaction->abortTransaction();
  runUntilTold(*caller, 1);
}

TEST_F(HttpAbort, AbortWithNothingRunningDoesNothing) {
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

TEST_F(HttpAbort, ATransactionSendsAgainAfterAnAbort) {
  const LoopbackServer server({kNoAnswer, response("200 OK", "ok")});
  const auto caller = newCaller();
  caller->send(server.url());
  ASSERT_TRUE(server.waitForHeads(1));
  caller->transaction->abortTransaction();
  caller->send(server.url());
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, testing::UnorderedElementsAre(kGivenUp, kOk));
}

TEST_F(HttpAbort, AbortInsideTheHandlerEndsTheOthers) {
  const LoopbackServer silent(kNoAnswer);
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->whenTold = [&] { caller->transaction->abortTransaction(); };
  caller->send(silent.url());
  caller->send(server.url());
  runUntilTold(*caller, 2);
  EXPECT_THAT(caller->told, ElementsAre(kOk, kGivenUp));
}

}  // namespace
