// Where the secrets of the network options must never appear: logs, exchanges, deliveries, files, standard error.

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "sqm/delivery/Outcomes.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/upload/SQMUpdaterAgent.h"

#include "tests/platform/http/HttpFixture.h"
#include "tests/platform/http/LoopbackProxy.h"
#include "tests/platform/http/TlsServer.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace sqm::tests;
using sqm::platform::HttpExchange;
using sqm::platform::HttpHeader;
using sqm::platform::HttpOptions;
using sqm::platform::StandardHost;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kKeyPassword = "secret-of-the-key";
constexpr const char* kProxyPassword = "secret-of-the-proxy";
constexpr const char* kToken = "secret-of-the-header";

class HttpSecrets : public testing::Test {
 protected:
  HttpSecrets() {
    forgetProxies();
    putContent(folder_ / "ca.pem", authority_.pem());
    putContent(folder_ / "own.pem", own_.pem());
    putContent(folder_ / "key.pem", own_.keyPem(kKeyPassword));
  }

  /// Options with every secret, which the server and the proxy accept.
  HttpOptions allSecrets(const LoopbackProxy& proxy) const {
    return {.tls = {.caFile = folder_ / "ca.pem",
                    .certificateFile = folder_ / "own.pem",
                    .keyFile = folder_ / "key.pem",
                    .keyPassword = kKeyPassword},
            .proxy = {.address = proxy.address(), .user = "ada", .password = kProxyPassword},
            .headers =
                [](std::string_view) {
                  return std::vector<HttpHeader>{{"X-Token", kToken}};
                },
            .gzipFrom = 1};
  }

  /// Sends a document as an upload does, and returns how it ended. Keeps everything that was written or reported.
  HttpExchange exchangeAt(const std::string& url, const HttpOptions& http) {
    std::filesystem::create_directory(folder_ / "home");
    StandardHost::Options options;
    options.homeDirectory = folder_ / "home";
    options.http = http;
    options.accept = sqm::delivery::Accept::only2xx;
    std::vector<HttpExchange> exchanges;
    options.onHttpExchange = [&](const HttpExchange& exchange) { exchanges.push_back(exchange); };
    options.onDelivery = [&](const sqm::delivery::Delivery& delivery) {
      seen_.append(delivery.address).append(delivery.reason);
    };
    testing::internal::CaptureStderr();
    {
      StandardHost host(options);
      EXPECT_TRUE(host.makeFolders());
      const auto agent = sqm::SQMUpdaterAgent::create(host);
      agent->startUploadToURL(url, std::string(100, 'x'));
      EXPECT_TRUE(host.runUntilIdle(kPatience));
    }
    seen_ += testing::internal::GetCapturedStderr();
    EXPECT_EQ(exchanges.size(), 1U);
    if (exchanges.empty()) return {};
    const HttpExchange& exchange = exchanges.front();
    seen_ += exchange.address + exchange.reason + exchange.contentType + textOf(exchange);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_ / "home")) {
      if (entry.is_regular_file()) seen_ += entry.path().string() + contentOf(entry.path());
    }
    return exchange;
  }

  void expectNoSecret() {
    EXPECT_THAT(seen_, HasSubstr("SQMHttp.log")) << "the logs were searched";
    for (const char* secret : {kKeyPassword, kProxyPassword, kToken, kCredentials}) {
      EXPECT_THAT(seen_, Not(HasSubstr(secret)));
    }
  }

  static constexpr const char* kCredentials = "YWRhOnNlY3JldC1vZi10aGUtcHJveHk=";  // ada:secret-of-the-proxy

  const TemporaryFolder folder_;
  const Certificate authority_ = Certificate::authority();
  const Certificate own_ = authority_.issue();
  const LoopbackProxy proxy_{kCredentials};
  const TlsServer server_{authority_.issue(), {.clientAuthority = authority_}};
  std::string seen_;
};

TEST_F(HttpSecrets, OfASuccessAreNowhere) {
  EXPECT_EQ(exchangeAt(server_.url(), allSecrets(proxy_)).status, 200);
  ASSERT_EQ(server_.requests().size(), 1U);
  EXPECT_THAT(server_.requests()[0], HasSubstr(kToken));
  expectNoSecret();
}

TEST_F(HttpSecrets, OfAProxyThatRefusesAreNowhere) {
  const LoopbackProxy other("b3RoZXI=");
  const LoopbackServer plain(response("200 OK"));
  EXPECT_THAT(exchangeAt(server_.url(), allSecrets(other)).reason, HasSubstr("407"));
  EXPECT_THAT(exchangeAt(plain.url(), allSecrets(other)).reason, HasSubstr("the proxy requires"));
  expectNoSecret();
}

TEST_F(HttpSecrets, OfACertificateThatIsRefusedAreNowhere) {
  const TlsServer stranger(Certificate::authority().issue());
  EXPECT_THAT(exchangeAt(stranger.url(), allSecrets(proxy_)).reason, HasSubstr("certificate"));
  expectNoSecret();
}

TEST_F(HttpSecrets, OfAKeyWithAnotherPasswordAreNowhere) {
  putContent(folder_ / "key.pem", own_.keyPem("another"));
  EXPECT_THAT(exchangeAt(server_.url(), allSecrets(proxy_)).reason, HasSubstr("private key"));
  expectNoSecret();
}

TEST_F(HttpSecrets, OfHeadersThatCannotBeSentAreNowhere) {
  const std::string token = kToken;
  for (const HttpHeader& header : {HttpHeader{token + "\r\n", "1"}, HttpHeader{"X-Token", token + "\r\nX-More: 1"},
                                   HttpHeader{"Host", token}, HttpHeader{"", token}}) {
    HttpOptions options = allSecrets(proxy_);
    options.headers = [&](std::string_view) { return std::vector{header}; };
    EXPECT_THAT(exchangeAt(server_.url(), options).reason, HasSubstr("header"));
  }
  HttpOptions options = allSecrets(proxy_);
  options.headers = [&](std::string_view) -> std::vector<HttpHeader> { throw std::runtime_error(token); };
  EXPECT_THAT(exchangeAt(server_.url(), options).reason, HasSubstr("thrown"));
  expectNoSecret();
}

TEST_F(HttpSecrets, OfOptionsThatCannotBeUsedAreNowhere) {
  HttpOptions options = allSecrets(proxy_);
  options.tls.keyPassword += '\n';
  EXPECT_THAT(exchangeAt(server_.url(), options).reason, HasSubstr("tls.keyPassword"));
  options = allSecrets(proxy_);
  options.proxy.address = std::string("http://ada:") + kProxyPassword + "@127.0.0.1:1";
  EXPECT_THAT(exchangeAt(server_.url(), options).reason, HasSubstr("proxy.address"));
  expectNoSecret();
}

TEST_F(HttpSecrets, OfARefusedBodyAreNotKeptWithIt) {
  const LoopbackServer refusing(response("400 Bad Request"));
  EXPECT_EQ(exchangeAt(refusing.url(), allSecrets(proxy_)).status, 400);
  EXPECT_THAT(seen_, HasSubstr("Refused")) << "the body is kept";
  expectNoSecret();
}

}  // namespace
