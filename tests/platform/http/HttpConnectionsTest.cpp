// How requests share connections.

#include <chrono>
#include <string>
#include <vector>

#include "tests/platform/http/HttpFixture.h"

namespace {

using namespace sqm::tests;
using testing::Each;
using testing::ElementsAre;
using Then = Answer::Then;

const Outcome kOk{std::string(kCompleted), 200, "ok"};

class HttpConnections : public HttpFixture {};

TEST_F(HttpConnections, RequestsInARowShareOneConnection) {
  constexpr std::size_t kRequests = 1000;
  // The headers of all responses together are longer than the limit for one.
  const LoopbackServer server(
      Answer{"HTTP/1.1 200 OK\r\nContent-Length: 2\r\nX-Padding: " + std::string(512, 'x') + "\r\n\r\nok"});
  const auto caller = newCaller();
  caller->onOutcome = [&] {
    if (caller->outcomes.size() < kRequests) {
      caller->transaction->sendHttpRequest(server.url(), sqm::kHttpMethodPost, std::to_string(caller->outcomes.size()));
    }
  };
  caller->send(server.url(), "0");
  runUntilOutcomes(*caller, kRequests);
  EXPECT_THAT(caller->outcomes, Each(kOk));
  EXPECT_EQ(server.connections(), 1U);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), kRequests);
  for (std::size_t number = 0; number < kRequests; ++number) EXPECT_EQ(requests[number].body, std::to_string(number));
}

TEST_F(HttpConnections, TransactionsShareTheirConnections) {
  const LoopbackServer server(response("200 OK", "ok"));
  for (int times = 0; times < 3; ++times) {
    const auto caller = newCaller();
    caller->send(server.url());
    runUntilOutcomes(*caller, 1);
  }
  EXPECT_EQ(server.connections(), 1U);
}

TEST_F(HttpConnections, ThousandsOfRequestsShareFewConnections) {
  constexpr std::size_t kRequests = 2000;
  startClient({.connectionBound = 4});
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  for (std::size_t number = 0; number < kRequests; ++number) caller->send(server.url(), std::to_string(number));
  runUntilOutcomes(*caller, kRequests);
  EXPECT_THAT(caller->outcomes, Each(kOk));
  EXPECT_LE(server.connections(), 4U);
  std::vector<bool> came(kRequests);
  for (const ReceivedRequest& request : server.requests()) came.at(std::stoul(request.body)) = true;
  EXPECT_THAT(came, Each(true));
}

TEST_F(HttpConnections, KeptAliveConnectionsCountAmongTheBound) {
  startClient({.connectionBound = 1});
  const LoopbackServer first(response("200 OK", "ok"));
  const LoopbackServer second(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(first.url());
  runUntilOutcomes(*caller, 1);
  caller->send(second.url());
  runUntilOutcomes(*caller, 2);
  EXPECT_TRUE(first.waitForClosed(1));
}

TEST_F(HttpConnections, ABoundOfNoConnectionMeansOne) {
  startClient({.connectionBound = 0});
  const LoopbackServer server(response("200 OK", "ok"));
  const auto caller = newCaller();
  caller->send(server.url());
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk));
}

TEST_F(HttpConnections, AConnectionThatWasIdleForLongIsNotUsedAgain) {
  startClient({.idleLimit = std::chrono::seconds(1)});
  const LoopbackServer server(response("200 OK"));
  const auto caller = newCaller();
  caller->send(server.url());
  runUntilOutcomes(*caller, 1);
  loop.runUntil([] { return false; }, std::chrono::milliseconds(2100));  // libcurl counts whole seconds
  caller->send(server.url());
  runUntilOutcomes(*caller, 2);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[1].connection, 1U);
}

TEST_F(HttpConnections, ARequestIsSentAgainWhenItsKeptAliveConnectionDiesUnanswered) {
  const LoopbackServer server({response("200 OK", "ok"), {"", Then::close}, response("200 OK", "ok")});
  const auto caller = newCaller();
  caller->send(server.url(), "first");
  runUntilOutcomes(*caller, 1);
  caller->send(server.url(), "second");
  runUntilOutcomes(*caller, 2);
  EXPECT_THAT(caller->outcomes, ElementsAre(kOk, kOk));
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[1].body, "second");
  EXPECT_EQ(requests[2].body, "second");
}

}  // namespace
