// The outcomes of a server's responses, valid and invalid.

#include <arpa/inet.h>
#include <chrono>
#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "tests/platform/http/FakeResolver.h"
#include "tests/platform/http/HttpFixture.h"
#include "tests/platform/http/LoopbackSocket.h"

namespace {

using namespace sqm::tests;
using namespace std::chrono_literals;
using Then = Answer::Then;
using When = Answer::When;

class HttpOutcome : public HttpFixture {
 protected:
  Outcome outcomeOf(const Answer& answer) {
    const LoopbackServer server(answer);
    return outcomeAt(server.url());
  }

  Outcome outcomeAt(std::optional<std::string_view> url, int method = sqm::kHttpMethodPost) {
    const auto caller = newCaller();
    caller->send(url, "body", method);
    runUntilOutcomes(*caller, 1);
    return caller->outcomes.empty() ? Outcome{} : caller->outcomes.front();
  }

  static Outcome completed(int status, std::string content = {}) {
    return {std::string(kCompleted), status, std::move(content)};
  }

  const Outcome error{std::string(kError)};
  const Outcome timeOut{std::string(kTimeOut)};
};

TEST_F(HttpOutcome, AWholeResponseCompletesWhateverItsStatus) {
  const struct {
    std::string_view what;
    Answer answer;
    Outcome outcome;
  } kCases[] = {
      {"200", response("200 OK", "stored"), completed(200, "stored")},
      {"201", response("201 Created"), completed(201)},
      {"204", {"HTTP/1.1 204 No Content\r\n\r\n"}, completed(204)},
      {"302", {"HTTP/1.1 302 Found\r\nLocation: /other\r\nContent-Length: 0\r\n\r\n"}, completed(302)},
      {"401", response("401 Unauthorized", "who"), completed(401, "who")},
      {"404", response("404 Not Found", "gone"), completed(404, "gone")},
      {"500", response("500 Internal Server Error", "oops"), completed(500, "oops")},
      {"a body that ends with the connection",
       {"HTTP/1.1 200 OK\r\n\r\nall of it", Then::close},
       completed(200, "all of it")},
      {"a body in chunks",
       {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\none\r\n4\r\n two\r\n0\r\n\r\n"},
       completed(200, "one two")},
      {"a body with NULs and bytes that are no UTF-8", response("200 OK", std::string_view("\0\xFF\0", 3)),
       completed(200, std::string("\0\xFF\0", 3))},
      {"HTTP/1.0", {"HTTP/1.0 200 OK\r\n\r\nold", Then::close}, completed(200, "old")},
      {"interim answers before the final one",
       {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"},
       completed(200, "ok")},
      {"an answer before the request is whole",
       {"HTTP/1.1 413 Too Large\r\nContent-Length: 0\r\n\r\n", Then::keepOpen, When::afterHead},
       completed(413)},
  };
  for (const auto& expected : kCases) EXPECT_EQ(outcomeOf(expected.answer), expected.outcome) << expected.what;
}

TEST_F(HttpOutcome, AnIncompleteOrInvalidResponseIsAnError) {
  const struct {
    std::string_view what;
    Answer answer;
  } kCases[] = {
      {"closed at once", {"", Then::close, When::onConnect}},
      {"closed before the answer", {"", Then::close}},
      {"closed inside the status line", {"HTTP/1.1 20", Then::close}},
      {"closed behind the status line", {"HTTP/1.1 200 OK\r\n", Then::close}},
      {"closed inside a header", {"HTTP/1.1 200 OK\r\nContent-Le", Then::close}},
      {"closed behind a header", {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n", Then::close}},
      {"closed behind the headers", {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", Then::close}},
      {"a body shorter than declared", {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabc", Then::close}},
      {"chunks without an end", {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\none\r\n", Then::close}},
      {"chunks that are none", {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzebra\r\n", Then::close}},
      {"an interim answer alone", {"HTTP/1.1 100 Continue\r\n\r\n", Then::close}},
      {"another protocol", {"HTTP/1.1 101 Switching Protocols\r\nUpgrade: other\r\n\r\nhello", Then::close}},
      {"garbage", {std::string("\x16\x03\x01\0\xFF garbage\n", 14), Then::close}},
      {"HTTP/0.9", {"stored\n", Then::close}},
      {"another version", {"HTTP/9.9 200 OK\r\nContent-Length: 0\r\n\r\n"}},
      {"a length that is none", {"HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\n", Then::close}},
      {"one endless header", {"HTTP/1.1 200 OK\r\nX: ", Then::repeat, When::afterRequest, std::string(4096, 'x')}},
      {"endless headers", {"HTTP/1.1 200 OK\r\n", Then::repeat, When::afterRequest, "X-Flood: 0123456789abcdef\r\n"}},
      {"endless interim answers", {"", Then::repeat, When::onConnect, "HTTP/1.1 100 Continue\r\n\r\n"}},
      {"endless trailers",
       {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n", Then::repeat, When::afterRequest,
        "X-Flood: 1\r\n"}},
  };
  for (const auto& expected : kCases) EXPECT_EQ(outcomeOf(expected.answer), error) << expected.what;
}

TEST_F(HttpOutcome, RedirectsAreNotFollowed) {
  for (const char* const status : {"301 Moved", "302 Found", "303 See Other", "307 Temporary", "308 Permanent"}) {
    const LoopbackServer elsewhere(response("200 OK"));
    const LoopbackServer server(Answer{std::string("HTTP/1.1 ") + status + "\r\nLocation: " + elsewhere.url() +
                                       "\r\nContent-Length: 0\r\n\r\n"});
    EXPECT_EQ(outcomeAt(server.url()).status, std::stoi(status));
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(elsewhere.connections(), 0U);
  }
}

TEST_F(HttpOutcome, AddressesThatCannotBeUsedAreErrors) {
  const LoopbackServer server(response("200 OK"));
  const std::string host = "127.0.0.1:" + std::to_string(server.port());
  EXPECT_EQ(outcomeAt(std::nullopt), error);
  for (const std::string& url : std::vector<std::string>{
           "", "collect", "http://", host + "/collect", "file:///etc/hostname", "ftp://" + host + "/collect",
           "gopher://" + host + "/collect", "http://" + host + "/a b", "http://" + host + "/a\r\nX-Smuggled: 1",
           "http://" + host + std::string("/\0b", 3), "http://" + host + "/\x01", "http://127.0.0.1:99999/"}) {
    EXPECT_EQ(outcomeAt(url), error) << url;
  }
  EXPECT_EQ(server.connections(), 0U);
}

TEST_F(HttpOutcome, AMethodThatIsNotPostIsAnError) {
  const LoopbackServer server(response("200 OK"));
  EXPECT_EQ(outcomeAt(server.url(), 0), error);
  EXPECT_EQ(outcomeAt(server.url(), 2), error);
  EXPECT_EQ(server.connections(), 0U);
}

TEST_F(HttpOutcome, ARefusedConnectionIsAnError) {
  const Descriptor socket = boundSocket();  // bound, but not listening
  EXPECT_EQ(outcomeAt("http://127.0.0.1:" + std::to_string(portOf(socket)) + "/"), error);
}

TEST_F(HttpOutcome, AnUnknownHostNameIsAnError) { EXPECT_EQ(outcomeAt("http://unknown.invalid/"), error); }

TEST_F(HttpOutcome, TheTotalLimitEndsAWaitForAnAnswer) {
  startClient({.totalLimit = 50ms});
  EXPECT_EQ(outcomeOf({""}), timeOut);
}

TEST_F(HttpOutcome, TheTotalLimitEndsAnAnswerThatTrickles) {
  startClient({.totalLimit = 50ms});
  EXPECT_EQ(outcomeOf({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\npart"}), timeOut);
}

TEST_F(HttpOutcome, TheConnectLimitEndsANameLookUp) {
  startClient({.connectLimit = 50ms});
  EXPECT_EQ(outcomeAt(std::string("http://") + kBlockedName + "/"), timeOut);
  releaseBlockedLookUps();
}

TEST_F(HttpOutcome, TheStallLimitEndsAWaitForAnAnswer) {
  startClient({.stallLimit = 1s, .totalLimit = 0ms});
  EXPECT_EQ(outcomeOf({""}), timeOut);
}

TEST_F(HttpOutcome, TheStallLimitEndsAnUploadThatTheServerDoesNotRead) {
  startClient({.stallLimit = 1s, .totalLimit = 0ms});
  const LoopbackServer server(Answer{"", Then::stopReading, When::afterHead});
  const auto caller = newCaller();
  caller->send(server.url(), std::string(64 * 1024 * 1024, 'x'));
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, testing::ElementsAre(timeOut));
}

TEST_F(HttpOutcome, LimitsBeyondAllReasonAreNoLimits) {
  using Milliseconds = std::chrono::milliseconds;
  using Seconds = std::chrono::seconds;
  for (const HttpOptions& options :
       {HttpOptions{
            .connectLimit = Milliseconds::max(), .stallLimit = Seconds::max(), .totalLimit = Milliseconds::max()},
        HttpOptions{
            .connectLimit = Milliseconds::min(), .stallLimit = Seconds::min(), .totalLimit = Milliseconds::min()},
        HttpOptions{.bodyLimit = SIZE_MAX, .connectionBound = SIZE_MAX}}) {
    startClient(options);
    EXPECT_EQ(outcomeOf(response("200 OK", "ok")), completed(200, "ok"));
  }
}

TEST_F(HttpOutcome, NoLimitRunsWhileARequestWaitsItsTurn) {
  startClient({.totalLimit = 2s, .connectionBound = 1});
  const LoopbackServer server({{""}, response("200 OK", "second")});
  const auto first = newCaller();
  const auto second = newCaller();
  first->send(server.url());
  second->send(server.url());
  runUntilOutcomes(*second, 1);
  EXPECT_THAT(first->outcomes, testing::ElementsAre(timeOut));
  EXPECT_THAT(second->outcomes, testing::ElementsAre(completed(200, "second")));
}

}  // namespace
