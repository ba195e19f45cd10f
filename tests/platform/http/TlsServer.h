#pragma once

#include <memory>
#include <mutex>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/http/LoopbackSocket.h"

namespace sqm::tests {

/// A certificate and its private key, made for this run.
class Certificate {
 public:
  /// An authority that has signed itself.
  static Certificate authority() { return {nullptr, "IP:127.0.0.1", 3600}; }

  /// A certificate signed by this one, for this address, which is valid for this many seconds from now.
  Certificate issue(const char* address = "IP:127.0.0.1", long seconds = 3600) const {
    return {this, address, seconds};
  }

  X509* get() const { return certificate_.get(); }
  EVP_PKEY* key() const { return key_.get(); }

  std::string pem() const;
  std::string keyPem(const std::string& password = {}) const;  ///< encrypted with the password, if there is one
  std::string pin() const;                                     ///< of its key: "sha256//…"
  std::string fileNameInFolder() const;                        ///< as `openssl rehash` names it

 private:
  Certificate(const Certificate* issuer, const char* address, long seconds);

  std::shared_ptr<EVP_PKEY> key_;
  std::shared_ptr<X509> certificate_;
};

/// A TLS server on a free port of 127.0.0.1. Answers 200 to one request of each connection, one connection after
/// another.
class TlsServer {
 public:
  struct Options {
    std::optional<Certificate> clientAuthority = {};  ///< clients need a certificate of it
    int newestVersion = TLS1_3_VERSION;
  };

  explicit TlsServer(const Certificate& certificate) : TlsServer(certificate, {}) {}
  TlsServer(const Certificate& certificate, const Options& options);
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;
  ~TlsServer();

  /// "https://127.0.0.1:<port>/collect"
  std::string url() const;
  int port() const { return portOf(listener_); }

  /// The requests of the connections that were served, as they arrived.
  std::vector<std::string> requests() const;

  /// The status that a client gets which checks no certificate and allows every version; 0 without an answer. The
  /// server has then served all earlier connections.
  long statusWithoutChecks() const;

 private:
  void serveOne(int socket);

  std::shared_ptr<SSL_CTX> context_;
  Descriptor listener_;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
  std::thread thread_;
};

}  // namespace sqm::tests
