#include "tests/platform/http/TlsServer.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/sha.h>
#include <openssl/x509v3.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>

#include <curl/curl.h>

namespace sqm::tests {

namespace {

template <typename Handle, typename Free>
std::unique_ptr<Handle, Free*> owned(Handle* handle, Free* free) {
  if (handle == nullptr) throw std::runtime_error("a test has no certificate");
  return {handle, free};
}

void addExtension(X509* certificate, int kind, const char* value) {
  const auto extension = owned(X509V3_EXT_conf_nid(nullptr, nullptr, kind, value), X509_EXTENSION_free);
  X509_add_ext(certificate, extension.get(), -1);
}

std::string textOf(BIO* memory) {
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(memory, &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

}  // namespace

Certificate::Certificate(const Certificate* issuer, const char* address, long seconds)
    : key_(owned(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free)),
      certificate_(owned(X509_new(), X509_free)) {
  X509* const made = certificate_.get();
  static long serial = 0;
  X509_set_version(made, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(made), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(made), -3600);
  X509_gmtime_adj(X509_getm_notAfter(made), seconds);
  X509_set_pubkey(made, key());
  const std::string name = (issuer == nullptr ? "authority " : "holder ") + std::to_string(serial);
  std::vector<unsigned char> bytes(name.begin(), name.end());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_ASC, bytes.data(),
                             static_cast<int>(bytes.size()), -1, 0);
  X509_set_issuer_name(made, X509_get_subject_name(issuer == nullptr ? made : issuer->get()));
  addExtension(made, NID_basic_constraints, issuer == nullptr ? "critical,CA:TRUE" : "CA:FALSE");
  addExtension(made, NID_subject_alt_name, address);
  X509_sign(made, issuer == nullptr ? key() : issuer->key(), EVP_sha256());
}

std::string Certificate::pem() const {
  const auto memory = owned(BIO_new(BIO_s_mem()), BIO_free);
  PEM_write_bio_X509(memory.get(), get());
  return textOf(memory.get());
}

std::string Certificate::keyPem(const std::string& password) const {
  const auto memory = owned(BIO_new(BIO_s_mem()), BIO_free);
  std::string copy = password;
  PEM_write_bio_PKCS8PrivateKey(memory.get(), key(), password.empty() ? nullptr : EVP_aes_256_cbc(), copy.data(),
                                static_cast<int>(copy.size()), nullptr, nullptr);
  return textOf(memory.get());
}

std::string Certificate::pin() const {
  unsigned char* key = nullptr;
  const int size = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(get()), &key);
  std::array<unsigned char, SHA256_DIGEST_LENGTH> hash{};
  SHA256(key, static_cast<std::size_t>(size), hash.data());
  OPENSSL_free(key);
  std::array<unsigned char, 64> text{};
  const int length = EVP_EncodeBlock(text.data(), hash.data(), static_cast<int>(hash.size()));
  return "sha256//" + std::string(text.begin(), text.begin() + length);
}

std::string Certificate::fileNameInFolder() const {
  std::array<char, 16> name{};
  std::snprintf(name.data(), name.size(), "%08lx.0", X509_subject_name_hash(get()));
  return name.data();
}

TlsServer::TlsServer(const Certificate& certificate, const Options& options)
    : context_(owned(SSL_CTX_new(TLS_server_method()), SSL_CTX_free)), listener_(boundSocket()) {
  SSL_CTX* const context = context_.get();
  SSL_CTX_use_certificate(context, certificate.get());
  SSL_CTX_use_PrivateKey(context, certificate.key());
  SSL_CTX_set_security_level(context, 0);  // so that it could speak TLS 1.1
  SSL_CTX_set_min_proto_version(context, TLS1_VERSION);
  SSL_CTX_set_max_proto_version(context, options.newestVersion);
  if (options.clientAuthority) {
    X509_STORE_add_cert(SSL_CTX_get_cert_store(context), options.clientAuthority->get());
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  if (::listen(listener_, SOMAXCONN) != 0) throw std::runtime_error("a test has no TLS server");
  std::signal(SIGPIPE, SIG_IGN);  // a client that trusts no certificate closes the connection first
  thread_ = std::thread([this] {
    for (;;) {
      const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (socket < 0) return;
      serveOne(socket);
    }
  });
}

TlsServer::~TlsServer() {
  ::shutdown(listener_, SHUT_RDWR);
  thread_.join();
}

std::string TlsServer::url() const { return "https://127.0.0.1:" + std::to_string(port()) + "/collect"; }

std::vector<std::string> TlsServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

long TlsServer::statusWithoutChecks() const {
  const auto easy = owned(curl_easy_init(), curl_easy_cleanup);
  curl_easy_setopt(easy.get(), CURLOPT_URL, url().c_str());
  curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, "unchecked");
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(easy.get(), CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_0));
  curl_easy_setopt(easy.get(), CURLOPT_SSL_CIPHER_LIST, "ALL:@SECLEVEL=0");
  curl_easy_setopt(easy.get(), CURLOPT_PROXY, "");
  curl_easy_perform(easy.get());
  long status = 0;
  curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
  return status;
}

void TlsServer::serveOne(int socket) {
  const Descriptor owner(socket);
  const auto session = owned(SSL_new(context_.get()), SSL_free);
  SSL_set_fd(session.get(), socket);
  if (SSL_accept(session.get()) != 1) return;
  constexpr std::string_view kLength = "\r\nContent-Length: ";
  std::string request;
  std::array<char, 4096> buffer{};
  for (;;) {
    const int count = SSL_read(session.get(), buffer.data(), buffer.size());
    if (count <= 0) return;
    request.append(buffer.data(), static_cast<std::size_t>(count));
    const std::size_t end = request.find("\r\n\r\n");
    if (end == std::string::npos) continue;
    if (request.size() >= end + 4 + std::stoul(request.substr(request.find(kLength) + kLength.size()))) break;
  }
  {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
  }
  constexpr std::string_view kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
  SSL_write(session.get(), kAnswer.data(), static_cast<int>(kAnswer.size()));
  SSL_shutdown(session.get());
}

}  // namespace sqm::tests
