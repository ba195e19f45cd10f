// The outcome of a request as a value, which the client's observer receives.

#include <chrono>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/http/ExchangeFixture.h"
#include "tests/platform/http/LoopbackSocket.h"

namespace {

using namespace sqm::tests;
using namespace std::chrono_literals;
using sqm::platform::HttpOutcome;
using Then = Answer::Then;
using When = Answer::When;

class HttpExchange : public ExchangeFixture {
 protected:
  Exchange exchangeWith(const Answer& answer) {
    const LoopbackServer server(answer);
    return exchangeAt(server.url());
  }

  Exchange exchangeWithHeader(const std::string& header) {
    return exchangeWith({"HTTP/1.1 503 Busy\r\n" + header + "\r\nContent-Length: 0\r\n\r\n"});
  }
};

TEST_F(HttpExchange, OfACompletedRequestHasTheResponse) {
  watchClient();
  const LoopbackServer server(Answer{
      "HTTP/1.1 201 Created\r\nContent-Type: text/plain; charset=utf-8\r\nRetry-After: 120\r\nContent-Length: 6\r\n\r\n"
      "stored"});
  const Exchange exchange = exchangeAt(server.url("/a?b=c"), "12345");
  EXPECT_EQ(exchange.outcome, HttpOutcome::completed);
  EXPECT_EQ(exchange.address, server.url("/a?b=c"));
  EXPECT_EQ(exchange.status, 201);
  EXPECT_EQ(exchange.contentType, "text/plain; charset=utf-8");
  EXPECT_EQ(exchange.retryAfter, 120s);
  EXPECT_EQ(exchange.bytesSent, 5U);
  EXPECT_EQ(exchange.bytesReceived, 6U);
  EXPECT_EQ(exchange.reason, "");
  EXPECT_GE(exchange.elapsed, 0ms);
  EXPECT_TRUE(exchange.isSuccess());
  EXPECT_EQ(textOf(exchange), "status 201");
}

TEST_F(HttpExchange, ADateToRetryAfterIsAPauseToo) {
  watchClient();
  EXPECT_EQ(exchangeWithHeader("X-Other: 1").retryAfter, 0s);
  EXPECT_EQ(exchangeWithHeader("Retry-After: Fri, 01 Jan 2010 00:00:00 GMT").retryAfter, 0s) << "in the past";
  EXPECT_EQ(exchangeWithHeader("Retry-After: soon").retryAfter, 0s);
  const std::time_t then = std::time(nullptr) + 3600;
  std::tm utc{};
  ::gmtime_r(&then, &utc);
  char date[64];
  std::strftime(date, sizeof date, "%a, %d %b %Y %H:%M:%S GMT", &utc);
  const auto pause = exchangeWithHeader(std::string("Retry-After: ") + date).retryAfter;
  EXPECT_GT(pause, 3000s);
  EXPECT_LE(pause, 3600s);
}

TEST_F(HttpExchange, OnlyAStatusOfThe200sIsASuccess) {
  watchClient();
  const std::pair<const char*, bool> kCases[] = {{"200 OK", true},       {"204 No Content", true}, {"299 Other", true},
                                                 {"300 Choices", false}, {"404 Not Found", false}, {"500 Oops", false},
                                                 {"199 Interim", false}};
  for (const auto& [status, isSuccess] : kCases) {
    const Exchange exchange = exchangeWith({std::string("HTTP/1.1 ") + status + "\r\nContent-Length: 0\r\n\r\n",
                                            isSuccess ? Then::keepOpen : Then::close});
    EXPECT_EQ(exchange.isSuccess(), isSuccess) << status;
  }
}

TEST_F(HttpExchange, CountsTheBytesBeyondTheLimitOfTheBody) {
  watchClient({.bodyLimit = 10});
  EXPECT_EQ(exchangeWith(response("200 OK", std::string(100'000, 'x'))).bytesReceived, 100'000U);
}

TEST_F(HttpExchange, OfAFailureHasNoResponse) {
  watchClient();
  const LoopbackServer server(Answer{
      "HTTP/1.1 200 OK\r\nRetry-After: 5\r\nContent-Type: text/plain\r\nContent-Length: 9\r\n\r\npart", Then::close});
  const Exchange exchange = exchangeAt(server.url());
  EXPECT_EQ(exchange.outcome, HttpOutcome::failed);
  EXPECT_EQ(exchange.address, server.url());
  EXPECT_NE(exchange.reason, "");
  EXPECT_EQ(exchange.status, 0);
  EXPECT_EQ(exchange.contentType, "");
  EXPECT_EQ(exchange.retryAfter, 0s);
  EXPECT_EQ(exchange.bytesSent, 4U);
  EXPECT_EQ(exchange.bytesReceived, 0U);
  EXPECT_FALSE(exchange.isSuccess());
  EXPECT_EQ(textOf(exchange), "error: " + exchange.reason);
}

TEST_F(HttpExchange, NamesTheReasonWhyNothingWasSent) {
  watchClient();
  Exchange exchange = exchangeAt(std::nullopt);
  EXPECT_EQ(textOf(exchange), "error: there is no address");
  EXPECT_EQ(exchange.address, "");
  exchange = exchangeAt("ftp://127.0.0.1/");
  EXPECT_EQ(textOf(exchange), "error: the address is malformed, or not of http or https");
  EXPECT_EQ(exchange.bytesSent, 0U);
}

TEST_F(HttpExchange, NeverHasTheCredentialsOfTheAddress) {
  watchClient();
  const Descriptor socket = boundSocket();  // does not listen
  const std::string host = "127.0.0.1:" + std::to_string(portOf(socket)) + "/";
  const Exchange exchange = exchangeAt("http://user:secret@" + host);
  EXPECT_EQ(exchange.address, "http://" + host);
  EXPECT_THAT(exchange.reason, testing::Not(testing::HasSubstr("secret")));
}

TEST_F(HttpExchange, OfATimeOutHasItsOutcomeAndReason) {
  watchClient({.totalLimit = 50ms});
  const Exchange exchange = exchangeWith({""});
  EXPECT_EQ(exchange.outcome, HttpOutcome::timedOut);
  EXPECT_GE(exchange.elapsed, 50ms);
  EXPECT_EQ(exchange.status, 0);
  EXPECT_EQ(textOf(exchange), "time-out: " + exchange.reason);
}

TEST_F(HttpExchange, OfAnAbortHasNothingOfAResponseThatCrossedIt) {
  watchClient();
  const LoopbackServer server(response("200 OK", "stored"));
  Caller caller(*client, notifications);
  caller.send(server.url());
  ASSERT_TRUE(mainThread.waitForPosts(1));
  caller.transaction->abortTransaction();
  ASSERT_TRUE(loop.runUntil([&] { return !caller.outcomes.empty(); }, kPatience));
  ASSERT_EQ(exchanges.size(), 1U);
  EXPECT_EQ(exchanges[0].outcome, HttpOutcome::aborted);
  EXPECT_EQ(exchanges[0].address, server.url());
  EXPECT_EQ(exchanges[0].status, 0);
  EXPECT_EQ(exchanges[0].bytesSent, 4U);
  EXPECT_EQ(exchanges[0].bytesReceived, 0U);
  EXPECT_EQ(textOf(exchanges[0]), "aborted");
}

TEST_F(HttpExchange, IsReportedBeforeItsNotification) {
  watchClient();
  const LoopbackServer server(response("200 OK"));
  Caller caller(*client, notifications);
  std::size_t reported = 0;
  caller.onOutcome = [&] { reported = exchanges.size(); };
  caller.send(server.url());
  ASSERT_TRUE(loop.runUntil([&] { return !caller.outcomes.empty(); }, kPatience));
  EXPECT_EQ(reported, 1U);
}

TEST_F(HttpExchange, IsReportedForEveryTransactionButNotAfterItsDestruction) {
  watchClient();
  const LoopbackServer server(response("200 OK"));
  const LoopbackServer silent(Answer{""});
  Caller first(*client, notifications);
  Caller second(*client, notifications);
  Caller destroyed(*client, notifications);
  destroyed.send(silent.url());
  ASSERT_TRUE(silent.waitForHeads(1));
  destroyed.transaction.reset();
  first.send(server.url("/first"));
  second.send(server.url("/second"));
  ASSERT_TRUE(loop.runUntil([&] { return !first.outcomes.empty() && !second.outcomes.empty(); }, kPatience));
  std::vector<std::string> addresses;
  for (const Exchange& exchange : exchanges) addresses.push_back(exchange.address);
  EXPECT_THAT(addresses, testing::UnorderedElementsAre(server.url("/first"), server.url("/second")));
}

TEST_F(HttpExchange, HasTheHeadersThatTheClientKeeps) {
  watchClient({.keptHeaders = {"x-proof", "X-Missing"}});
  const Exchange exchange =
      exchangeWith({"HTTP/1.1 103 Early Hints\r\nX-Missing: interim\r\n\r\n"
                    "HTTP/1.1 200 OK\r\nX-Proof: one\r\nX-Proof: two\r\nX-Other: 1\r\nContent-Length: 0\r\n\r\n"});
  ASSERT_EQ(exchange.headers.size(), 1U);
  EXPECT_EQ(exchange.headers[0].name, "x-proof");
  EXPECT_EQ(exchange.headers[0].value, "one");
  watchClient();
  EXPECT_TRUE(exchangeWithHeader("X-Proof: one").headers.empty());
}

TEST_F(HttpExchange, AHandlerCanTakeTheRequestOfItsNotification) {
  watchClient({.keptHeaders = {"X-Proof"}});
  const LoopbackServer server(Answer{"HTTP/1.1 200 OK\r\nX-Proof: 1\r\nRetry-After: 7\r\nContent-Length: 0\r\n\r\n"});
  Caller caller(*client, notifications);
  std::string url = server.url();
  const std::string shown = url;
  url.insert(url.find("//") + 2, "ada:secret@");
  caller.onOutcome = [&] {
    const sqm::EndedRequest request = caller.transaction->endedRequest();
    EXPECT_EQ(request.url, url);
    EXPECT_EQ(request.shownAs, shown);
    EXPECT_EQ(request.bytes, 5U);
    EXPECT_EQ(request.retryAfter, 7s);
    EXPECT_EQ(caller.transaction->httpResponseHeader("X-Proof"), "1");
    EXPECT_EQ(caller.transaction->httpResponseHeader("X-Other"), std::nullopt);
    EXPECT_EQ(caller.transaction->takeRequestBody(), "12345");
  };
  caller.send(url, "12345");
  EXPECT_TRUE(loop.runUntil([&] { return !caller.outcomes.empty(); }, kPatience));
  EXPECT_EQ(caller.transaction->endedRequest().url, "") << "after its handlers";
  EXPECT_EQ(caller.transaction->takeRequestBody(), std::nullopt);
  EXPECT_EQ(caller.transaction->httpResponseHeader("X-Proof"), std::nullopt);

  caller.onOutcome = [&] {
    EXPECT_EQ(caller.transaction->endedRequest().reason, "there is no address");
    EXPECT_EQ(caller.transaction->endedRequest().bytes, 4U);
    caller.transaction.reset();
  };
  caller.outcomes.clear();
  caller.send(std::nullopt, "body");
  EXPECT_TRUE(loop.runUntil([&] { return !caller.outcomes.empty(); }, kPatience));
  EXPECT_EQ(caller.transaction, nullptr);
}

}  // namespace
