// Bodies that are sent with gzip.

#include <random>
#include <string>

#include "tests/platform/files/ShellCommand.h"
#include "tests/platform/http/ExchangeFixture.h"
#include "tests/platform/http/LoopbackSocket.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace sqm::tests;
using sqm::platform::HttpOutcome;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kEncoded = "\r\nContent-Encoding: gzip\r\n";

class HttpGzip : public ExchangeFixture {
 protected:
  ReceivedRequest received(const std::string& body) {
    const LoopbackServer server(response("200 OK"));
    EXPECT_EQ(exchangeAt(server.url(), body).bytesSent, body.size());
    const auto requests = server.requests();
    EXPECT_EQ(requests.size(), 1U);
    return requests.empty() ? ReceivedRequest{} : requests.front();
  }

  std::string unpacked(const std::string& body) const {
    putContent(folder / "body.gz", body);
    return sqm::platform::test::printedBy("gunzip < '" + folder / "body.gz" + "'");
  }

  const TemporaryFolder folder;
};

TEST_F(HttpGzip, ALongBodyIsCompressedAndAShortOneIsNot) {
  watchClient({.gzipFrom = 1000});
  const std::string body = "<?xml?>" + std::string(993, 'x');
  const ReceivedRequest request = received(body);
  EXPECT_THAT(request.head, AllOf(HasSubstr(kEncoded), HasSubstr("\r\nContent-Type: text/xml; charset=utf-8\r\n"),
                                  HasSubstr("\r\nContent-Length: " + std::to_string(request.body.size()) + "\r\n")));
  EXPECT_LT(request.body.size(), body.size());
  EXPECT_EQ(unpacked(request.body), body);

  const ReceivedRequest plain = received(body.substr(1));
  EXPECT_THAT(plain.head, Not(HasSubstr("Content-Encoding")));
  EXPECT_EQ(plain.body, body.substr(1));
}

TEST_F(HttpGzip, ABodyThatDoesNotShrinkIsSentAsItIs) {
  watchClient({.gzipFrom = 1});
  std::minstd_rand random(1);
  std::string noise(5000, '\0');
  for (char& byte : noise) byte = static_cast<char>(random() >> 8);
  for (const std::string& body : {std::string(), std::string("a"), noise}) {
    const ReceivedRequest request = received(body);
    EXPECT_THAT(request.head, Not(HasSubstr("Content-Encoding")));
    EXPECT_TRUE(request.body == body);
  }
}

TEST_F(HttpGzip, IsNotUsedUnlessAskedFor) {
  watchClient();
  EXPECT_THAT(received(std::string(100'000, 'x')).head, Not(HasSubstr("Content-Encoding")));
}

TEST_F(HttpGzip, AHandlerTakesTheBodyAsItWas) {
  watchClient({.gzipFrom = 1});
  const LoopbackServer server(response("400 Bad Request"));
  const std::string body(5000, 'x');
  Caller caller(*client, notifications);
  caller.onOutcome = [&] {
    EXPECT_EQ(caller.transaction->endedRequest().bytes, body.size());
    EXPECT_EQ(caller.transaction->takeRequestBody(), body);
  };
  caller.transaction->startSession("s", "SQMHttp.log");
  caller.send(server.url(), body);
  ASSERT_TRUE(loop.runUntil([&] { return !caller.outcomes.empty(); }, kPatience));
  EXPECT_THAT(logs.lines("SQMHttp.log").at(0), HasSubstr(", 5000 bytes"));
  EXPECT_THAT(server.requests().at(0).head, HasSubstr(kEncoded));
}

TEST_F(HttpGzip, TheNextRequestOfAConnectionHasNothingOfTheLast) {
  watchClient({.gzipFrom = 1000});
  const LoopbackServer server(response("200 OK"));
  exchangeAt(server.url(), std::string(5000, 'x'));
  exchangeAt(server.url(), "short");
  ASSERT_EQ(server.requests().size(), 2U);
  EXPECT_THAT(server.requests()[1].head, Not(HasSubstr("Content-Encoding")));
  EXPECT_EQ(server.requests()[1].body, "short");
}

TEST_F(HttpGzip, AFailureBeforeTheWholeBodyWasSentHasSentNothing) {
  watchClient({.gzipFrom = 1});
  const Descriptor socket = boundSocket();  // does not listen
  const Exchange exchange =
      exchangeAt("http://127.0.0.1:" + std::to_string(portOf(socket)) + "/", std::string(5000, 'x'));
  EXPECT_EQ(exchange.outcome, HttpOutcome::failed);
  EXPECT_EQ(exchange.bytesSent, 0U);
}

}  // namespace
