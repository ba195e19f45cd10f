// The head of a request, and what a host adds to it.

#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/platform/http/ExchangeFixture.h"

namespace {

using namespace sqm::tests;
using sqm::platform::HttpHeader;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using Headers = std::vector<HttpHeader>;

class HttpHeaders : public ExchangeFixture {
 protected:
  static sqm::platform::HttpHeaderSource always(Headers headers) {
    return [headers = std::move(headers)](std::string_view) { return headers; };
  }

  const LoopbackServer server{response("200 OK")};
};

TEST_F(HttpHeaders, AreTheSameFiveLinesUnlessTheHostAsksForMore) {
  watchClient();
  exchangeAt(server.url("/a?b=c"), "12345");
  exchangeAt(server.url("/a?b=c"), "<?xml?>");
  const auto head = [&](const char* type, const char* length) {
    return "POST /a?b=c HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.port()) +
           "\r\nAccept: */*\r\nContent-Type: " + type + "; charset=utf-8\r\nContent-Length: " + length + "\r\n\r\n";
  };
  ASSERT_EQ(server.requests().size(), 2U);
  EXPECT_EQ(server.requests()[0].head, head("text/plain", "5"));
  EXPECT_EQ(server.requests()[1].head, head("text/xml", "7"));
}

TEST_F(HttpHeaders, OfTheHostAreAskedForBeforeEachRequestOnTheMainThread) {
  const auto main = std::this_thread::get_id();
  int tokens = 0;
  std::vector<std::string> addresses;
  watchClient({.headers = [&](std::string_view address) {
    EXPECT_EQ(std::this_thread::get_id(), main);
    addresses.emplace_back(address);
    return Headers{{"Authorization", "Bearer " + std::to_string(++tokens)}, {"X-Device", "caf\xC3\xA9 7"}};
  }});
  std::string url = server.url();
  exchangeAt(url.insert(url.find("//") + 2, "ada:secret@"));
  exchangeAt(server.url("/second"), "<?xml?>");
  EXPECT_THAT(addresses, ElementsAre(server.url(), server.url("/second")));
  ASSERT_EQ(server.requests().size(), 2U);
  EXPECT_THAT(server.requests()[0].head,
              AllOf(HasSubstr("\r\nAuthorization: Bearer 1\r\nX-Device: caf\xC3\xA9 7\r\n"),
                    HasSubstr("\r\nContent-Type: text/plain; charset=utf-8\r\n"), Not(HasSubstr("Basic"))));
  EXPECT_THAT(server.requests()[1].head, AllOf(HasSubstr("\r\nAuthorization: Bearer 2\r\n"),
                                               HasSubstr("\r\nContent-Type: text/xml; charset=utf-8\r\n")));
}

TEST_F(HttpHeaders, ThatCannotBeSentEndTheRequestInAnError) {
  const struct {
    HttpHeader header;
    const char* reason = "";
  } kCases[] = {
      {{"", "marker"}, "a header's name is empty, or has a character that names do not have"},
      {{"X: marker\r\nX-Injected", "1"}, "a header's name is empty, or has a character that names do not have"},
      {{"X Y", "1"}, "a header's name is empty, or has a character that names do not have"},
      {{"X-Token", "marker\r\nX-Injected: 1"}, "the header X-Token has a control character"},
      {{"X-Token", "marker\nX-Injected: 1"}, "the header X-Token has a control character"},
      {{"X-Token", std::string("mar\0ker", 7)}, "the header X-Token has a control character"},
      {{"X-Token", ""}, "the header X-Token has no value"},
      {{"X-Token", "  "}, "the header X-Token has no value"},
      {{"content-length", "3"}, "the header content-length is set by the client itself"},
      {{"Content-Type", "text/html"}, "the header Content-Type is set by the client itself"},
      {{"Host", "other"}, "the header Host is set by the client itself"},
      {{"Transfer-Encoding", "chunked"}, "the header Transfer-Encoding is set by the client itself"},
      {{"User-Agent", "other"}, "the header User-Agent is set by the client itself"},
  };
  for (const auto& [header, reason] : kCases) {
    watchClient({.headers = always({{"X-Good", "1"}, header})});
    EXPECT_EQ(textOf(exchangeAt(server.url())), std::string("error: ") + reason);
  }
  watchClient({.headers = [](std::string_view) -> Headers { throw std::runtime_error("marker"); }});
  EXPECT_EQ(textOf(exchangeAt(server.url())), "error: the host's function for headers has thrown");
  watchClient();
  EXPECT_EQ(exchangeAt(server.url()).status, 200);
  EXPECT_EQ(server.connections(), 1U) << "the others sent nothing";
}

TEST_F(HttpHeaders, AreNotAskedForWhenNothingIsSent) {
  int calls = 0;
  watchClient({.headers = [&](std::string_view) {
    ++calls;
    return Headers{};
  }});
  exchangeAt(std::nullopt);
  exchangeAt("ftp://127.0.0.1/");
  EXPECT_EQ(calls, 0);
  exchangeAt(server.url());
  EXPECT_EQ(calls, 1);
}

TEST_F(HttpHeaders, HaveTheUserAgentOfTheHost) {
  watchClient({.userAgent = "Client/1.2 (Debian)"});
  exchangeAt(server.url());
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_THAT(server.requests()[0].head, HasSubstr("\r\nUser-Agent: Client/1.2 (Debian)\r\n"));
}

}  // namespace
