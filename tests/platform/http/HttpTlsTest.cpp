// Servers whose certificates are not trusted.

#include <arpa/inet.h>
#include <array>
#include <csignal>
#include <memory>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>

#include <curl/curl.h>

#include "tests/platform/http/HttpFixture.h"
#include "tests/platform/http/LoopbackSocket.h"

namespace {

using namespace sqm::tests;
using testing::ContainsRegex;
using testing::ElementsAre;

template <typename Handle, typename Free>
std::unique_ptr<Handle, Free*> owned(Handle* handle, Free* free) {
  return {handle, free};
}

/// A TLS server for `localhost` and 127.0.0.1 with a certificate that it signed itself. Answers 200 to `connections`
/// connections, one request each.
class SelfSignedServer {
 public:
  explicit SelfSignedServer(int connections)
      : context_(owned(SSL_CTX_new(TLS_server_method()), SSL_CTX_free)), listener_(boundSocket()) {
    const auto key = owned(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const auto certificate = owned(X509_new(), X509_free);
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_pubkey(certificate.get(), key.get());
    constexpr std::array<unsigned char, 9> kName = {'l', 'o', 'c', 'a', 'l', 'h', 'o', 's', 't'};
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, kName.data(), static_cast<int>(kName.size()), -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    SSL_CTX_use_certificate(context_.get(), certificate.get());
    SSL_CTX_use_PrivateKey(context_.get(), key.get());

    EXPECT_EQ(::listen(listener_, SOMAXCONN), 0);
    url = "https://127.0.0.1:" + std::to_string(portOf(listener_)) + "/collect";
    std::signal(SIGPIPE, SIG_IGN);  // a client that trusts no certificate closes the connection first
    thread_ = std::thread([this, connections] {
      for (int served = 0; served < connections; ++served) serveOne();
    });
  }
  SelfSignedServer(const SelfSignedServer&) = delete;
  SelfSignedServer& operator=(const SelfSignedServer&) = delete;
  ~SelfSignedServer() { wait(); }

  /// Until all connections have been served.
  void wait() {
    if (thread_.joinable()) thread_.join();
  }

  std::string url;
  int requests = 0;  ///< to be read after `wait`

 private:
  void serveOne() {
    const Descriptor socket(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
    const auto session = owned(SSL_new(context_.get()), SSL_free);
    SSL_set_fd(session.get(), socket);
    std::array<char, 4096> buffer{};
    constexpr std::string_view kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    if (SSL_accept(session.get()) == 1 && SSL_read(session.get(), buffer.data(), buffer.size()) > 0) {
      ++requests;
      SSL_write(session.get(), kAnswer.data(), static_cast<int>(kAnswer.size()));
      SSL_shutdown(session.get());
    }
  }

  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
  Descriptor listener_;
  std::thread thread_;
};

/// The status that a client gets when it does not check the certificate.
long statusWithoutCheck(const std::string& url) {
  const auto easy = owned(curl_easy_init(), curl_easy_cleanup);
  curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, "body");
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_perform(easy.get());
  long status = 0;
  curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
  return status;
}

class HttpTls : public HttpFixture {};

TEST_F(HttpTls, AnUntrustedCertificateIsAnErrorBeforeAnythingIsSent) {
  SelfSignedServer server(2);
  const auto caller = newCaller();
  caller->transaction->startSession("s", "SQMHttp.log");
  caller->send(server.url, "confidential");
  runUntilOutcomes(*caller, 1);
  EXPECT_THAT(caller->outcomes, ElementsAre(Outcome{std::string(kError)}));
  ASSERT_EQ(logs.lines("SQMHttp.log").size(), 2U);
  EXPECT_THAT(logs.lines("SQMHttp.log")[1], ContainsRegex("error: .*certificate"));

  EXPECT_EQ(statusWithoutCheck(server.url), 200);  // the server works
  server.wait();
  EXPECT_EQ(server.requests, 1);
}

}  // namespace
