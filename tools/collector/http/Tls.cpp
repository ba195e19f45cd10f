#include "tools/collector/http/Tls.h"

#include <array>
#include <mutex>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <poll.h>
#include <stdexcept>
#include <utility>

namespace collector {

namespace {

struct Free {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(SSL* session) const { SSL_free(session); }
};
using Context = std::unique_ptr<SSL_CTX, Free>;

/// The first error that OpenSSL has noted on this thread.
std::string reason() {
  std::array<char, 256> text{};
  ERR_error_string_n(ERR_get_error(), text.data(), text.size());
  return text.data();
}

void check(int result, const char* what, const std::string& file) {
  if (result != 1) throw std::runtime_error(std::string(what) + " '" + file + "' cannot be used: " + reason());
}

Context contextOf(const TlsFiles& files) {
  ERR_clear_error();
  Context context(SSL_CTX_new(TLS_server_method()));
  if (!context) throw std::runtime_error("TLS cannot be used: " + reason());
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  // A client that asks for new keys again and again would cost much. Tickets resume sessions without memory here.
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  SSL_CTX_set_mode(context.get(),
                   SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER | SSL_MODE_RELEASE_BUFFERS);
  // A key with a password is an error. By default OpenSSL asks for it on the terminal.
  SSL_CTX_set_default_passwd_cb(context.get(), [](char*, int, int, void*) { return 0; });
  check(SSL_CTX_use_certificate_chain_file(context.get(), files.certificate.c_str()), "the certificate",
        files.certificate);
  check(SSL_CTX_use_PrivateKey_file(context.get(), files.key.c_str(), SSL_FILETYPE_PEM), "the key", files.key);
  return context;
}

/// A stream under TLS. The handshake is part of the first transfers.
class TlsChannel : public Channel {
 public:
  TlsChannel(int socket, SSL_CTX* context, Counters& counters)
      : Channel(socket), counters_(counters), session_(SSL_new(context)) {
    if (!session_ || SSL_set_fd(session_.get(), socket) != 1) throw std::bad_alloc();
    SSL_set_accept_state(session_.get());
  }

  Transfer receive(char* out, std::size_t size) override {
    ERR_clear_error();
    std::size_t count = 0;
    const int result = SSL_read_ex(session_.get(), out, size, &count);
    return transferOf(result, count);
  }

  Transfer send(const char* data, std::size_t size) override {
    ERR_clear_error();
    std::size_t count = 0;
    const int result = SSL_write_ex(session_.get(), data, size, &count);
    return transferOf(result, count);
  }

  void finish() override {
    ERR_clear_error();
    if (!hasFailed_ && SSL_is_init_finished(session_.get()) == 1) SSL_shutdown(session_.get());
    Channel::finish();
  }

 private:
  Transfer transferOf(int result, std::size_t count) {
    if (result == 1) return {.count = static_cast<ssize_t>(count)};
    switch (SSL_get_error(session_.get(), result)) {
      case SSL_ERROR_WANT_READ:
        return {.count = -1, .awaited = POLLIN};
      case SSL_ERROR_WANT_WRITE:
        return {.count = -1, .awaited = POLLOUT};
      case SSL_ERROR_ZERO_RETURN:
        return {.count = 0};
      default:
        noteFailure();
        return {.count = -1, .awaited = 0};
    }
  }

  /// A client that leaves before its first byte, such as the check of a balancer, is no failure.
  void noteFailure() {
    const bool isHandshake = SSL_is_init_finished(session_.get()) == 0;
    if (!hasFailed_ && isHandshake && BIO_number_read(SSL_get_rbio(session_.get())) > 0) {
      counters_.warn(Count::handshakesFailed, "a client's TLS handshake failed: " + reason());
    }
    hasFailed_ = true;  // the session must not be used again
  }

  Counters& counters_;
  std::unique_ptr<SSL, Free> session_;
  bool hasFailed_ = false;
};

class OpenSslTls : public Tls {
 public:
  OpenSslTls(TlsFiles files, Counters& counters)
      : files_(std::move(files)), counters_(counters), context_(contextOf(files_)) {}

  void reload() override {
    Context context = contextOf(files_);
    const std::lock_guard lock(mutex_);
    context_ = std::move(context);  // sessions keep the one that they were made of
  }

  std::unique_ptr<Channel> makeChannel(int socket) override {
    const std::lock_guard lock(mutex_);
    return std::make_unique<TlsChannel>(socket, context_.get(), counters_);
  }

  std::int64_t expiry() const override {
    const std::lock_guard lock(mutex_);
    tm time{};
    ASN1_TIME_to_tm(X509_get0_notAfter(SSL_CTX_get0_certificate(context_.get())), &time);
    return timegm(&time);
  }

 private:
  const TlsFiles files_;
  Counters& counters_;
  mutable std::mutex mutex_;
  Context context_;
};

}  // namespace

std::unique_ptr<Tls> makeTls(const TlsFiles& files, Counters& counters) {
  return std::make_unique<OpenSslTls>(files, counters);
}

}  // namespace collector
