#include "sqm/platform/http/internal/HttpTransfer.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <utility>
#include <vector>

#include "sqm/platform/text/internal/Gzip.h"

namespace sqm::platform {

namespace {

/// All header lines of a response together, with its interim responses and trailers; libcurl limits only each line.
constexpr std::size_t kHeaderLimit = 256 * 1024;

/// Bytes of a body that libcurl copies at a time: the whole body, within these bounds.
constexpr std::size_t kSmallestUploadBuffer = 16 * 1024;
constexpr std::size_t kLargestUploadBuffer = 512 * 1024;

/// RFC 9110, section 15.2: a response with a lower status is an interim one, which another follows.
constexpr long kFirstFinalStatus = 200;

/// RFC 9110, section 15.5.8: a response of the proxy.
constexpr long kProxyAuthenticationRequired = 407;

constexpr long kLongestMilliseconds = 0x7FFF'FFFF;

constexpr const char* kOutOfMemory = "out of memory";

template <typename Handle, typename Free>
std::unique_ptr<Handle, Free*> ownerOf(Handle* handle, Free* free) {
  if (handle == nullptr) throw std::bad_alloc();
  return {handle, free};
}

constexpr const char* kXmlType = "Content-Type: text/xml; charset=utf-8";
constexpr const char* kTextType = "Content-Type: text/plain; charset=utf-8";

void append(curl_slist* headers, const char* line) {
  if (curl_slist_append(headers, line) == nullptr) throw std::bad_alloc();
}

/// The header lines that libcurl does not add. An empty "Expect:" makes it send a body without "100 Continue".
auto headersWith(const char* contentType) {
  auto headers = ownerOf(curl_slist_append(nullptr, "Expect:"), curl_slist_free_all);
  append(headers.get(), contentType);
  return headers;
}

const char* textOrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

bool beginsWithXmlDeclaration(std::string_view body) { return body.starts_with("<?xml"); }

/// The fastest: other transfers wait meanwhile. A list of 2000 records shrinks to 20 % of its length at 4 ms for each
/// MiB; at level 6, to 16 % at 12 ms.
constexpr int kGzipLevel = 1;

/// The body with gzip; empty when it is shorter than `from`, when gzip makes it longer, and when there is no memory.
std::string compressedBody(std::string_view body, std::size_t from) {
  if (from == 0 || body.size() < from || body.empty()) return {};
  try {
    auto compressed = gzip(body, kGzipLevel, body.size() - 1);
    if (!compressed) return {};
    compressed->shrink_to_fit();
    return *std::move(compressed);
  } catch (const std::bad_alloc&) {
    return {};
  }
}

/// A limit as libcurl takes it: the count of seconds or milliseconds.
template <typename Duration>
long limit(Duration duration) {
  return static_cast<long>(std::clamp<long long>(duration.count(), 0, kLongestMilliseconds));
}

}  // namespace

struct HttpTransfer::Callbacks {
  static curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  }

  static std::size_t header(const char* bytes, std::size_t, std::size_t count, HttpTransfer* transfer) {
    const std::string_view line(bytes, count);
    if (line.starts_with("HTTP/")) transfer->headIsWhole_ = false;  // another response begins
    if (line == "\r\n" || line == "\n") transfer->headIsWhole_ = true;
    transfer->headerBytes_ += count;
    if (transfer->headerBytes_ <= kHeaderLimit) return count;
    transfer->failure_ = "the answer has too many headers";
    return CURL_WRITEFUNC_ERROR;
  }

  /// Bytes beyond the limit are dropped: the server has the request, so its response must not fail.
  static std::size_t body(const char* bytes, std::size_t, std::size_t count, HttpTransfer* transfer) {
    HttpRequest& request = transfer->request_.front();
    request.exchange.bytesReceived += count;
    try {
      request.content.append(bytes, std::min(count, transfer->options_.bodyLimit - request.content.size()));
      return count;
    } catch (const std::bad_alloc&) {
      transfer->failure_ = kOutOfMemory;
      return CURL_WRITEFUNC_ERROR;
    }
  }
};

HttpTransfer::HttpTransfer(const HttpOptions& options)
    : options_(options),
      xmlHeaders_(headersWith(kXmlType)),
      textHeaders_(headersWith(kTextType)),
      handle_(ownerOf(curl_easy_init(), curl_easy_cleanup)) {}

HttpTransfer& HttpTransfer::of(CURL* handle) {
  char* transfer = nullptr;
  curl_easy_getinfo(handle, CURLINFO_PRIVATE, &transfer);
  return *static_cast<HttpTransfer*>(static_cast<void*>(transfer));
}

CURLcode HttpTransfer::begin(HttpRequestNode request) noexcept try {
  request_ = std::move(request);
  error_[0] = '\0';
  failure_ = nullptr;
  headerBytes_ = 0;
  headIsWhole_ = false;
  // Removes everything of the last request, its credentials above all, except connections and TLS sessions.
  curl_easy_reset(handle_.get());
  compressed_ = compressedBody(request_.front().body, options_.gzipFrom);
  return setOptions();
} catch (const std::bad_alloc&) {
  return CURLE_OUT_OF_MEMORY;
}

curl_slist* HttpTransfer::headers() {
  const bool isXml = beginsWithXmlDeclaration(request().body);
  if (request().headers.empty() && compressed_.empty()) return (isXml ? xmlHeaders_ : textHeaders_).get();
  requestHeaders_ = headersWith(isXml ? kXmlType : kTextType);
  if (!compressed_.empty()) append(requestHeaders_.get(), "Content-Encoding: gzip");
  for (const HttpHeader& header : request().headers) {
    append(requestHeaders_.get(), (header.name + ": " + header.value).c_str());
  }
  return requestHeaders_.get();
}

CURLcode HttpTransfer::setOptions() {
  CURLcode result = CURLE_OK;
  const auto set = [&](CURLoption option, auto value) {
    if (result == CURLE_OK) result = curl_easy_setopt(handle_.get(), option, value);
  };
  const auto setText = [&](CURLoption option, const std::string& text) {
    if (!text.empty()) set(option, text.c_str());
  };
  const std::string& body = compressed_.empty() ? request().body : compressed_;

  set(CURLOPT_URL, request().url.c_str());
  set(CURLOPT_POSTFIELDS, body.c_str());
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  set(CURLOPT_UPLOAD_BUFFERSIZE,
      static_cast<long>(std::clamp(body.size(), kSmallestUploadBuffer, kLargestUploadBuffer)));
  set(CURLOPT_HTTPHEADER, headers());
  setText(CURLOPT_USERAGENT, options_.userAgent);
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_HTTP09_ALLOWED, 0L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);

  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  const HttpTlsOptions& tls = options_.tls;
  if (!tls.caFile.empty() || !tls.caFolder.empty()) {
    set(CURLOPT_CAINFO, textOrNull(tls.caFile));  // null: not the system's either
    set(CURLOPT_CAPATH, textOrNull(tls.caFolder));
    set(CURLOPT_CA_CACHE_TIMEOUT, 0L);  // a replaced file takes effect
  }
  setText(CURLOPT_PINNEDPUBLICKEY, tls.pinnedKeys);
  if (!tls.certificateFile.empty()) {
    set(CURLOPT_SSLCERT, tls.certificateFile.c_str());
    set(CURLOPT_SSLKEY, textOrNull(tls.keyFile));
    set(CURLOPT_KEYPASSWD, tls.keyPassword.c_str());  // without one, OpenSSL asks for it on the terminal
  }
  if (!options_.proxy.address.empty()) {
    set(CURLOPT_PROXY, options_.proxy.address.c_str());
    set(CURLOPT_NOPROXY, "");
    setText(CURLOPT_PROXYUSERNAME, options_.proxy.user);
    setText(CURLOPT_PROXYPASSWORD, options_.proxy.password);
  }

  set(CURLOPT_MAXAGE_CONN, options_.idleLimit.count() == 0 ? kLongestMilliseconds : limit(options_.idleLimit));

  set(CURLOPT_CONNECTTIMEOUT_MS, limit(options_.connectLimit));
  set(CURLOPT_TIMEOUT_MS, limit(options_.totalLimit));
  set(CURLOPT_LOW_SPEED_LIMIT, 1L);
  set(CURLOPT_LOW_SPEED_TIME, limit(options_.stallLimit));

  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // an unfinished name look-up is not waited for
  set(CURLOPT_OPENSOCKETFUNCTION, &Callbacks::openSocket);
  set(CURLOPT_HEADERFUNCTION, &Callbacks::header);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &Callbacks::body);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_ERRORBUFFER, error_.data());
  set(CURLOPT_PRIVATE, this);
  return result;
}

HttpRequestNode HttpTransfer::finish(CURLcode code) noexcept {
  long status = 0;
  curl_off_t bytesSent = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(handle_.get(), CURLINFO_SIZE_UPLOAD_T, &bytesSent);

  // libcurl accepts a response that ends inside its headers, or after an interim one.
  if (code == CURLE_OK && (!headIsWhole_ || status < kFirstFinalStatus)) failure_ = "the answer broke off";
  if (code == CURLE_OK && status == kProxyAuthenticationRequired && !options_.proxy.address.empty()) {
    failure_ = "the proxy requires another user or password";
  }

  HttpRequest& request = request_.front();
  HttpExchange& exchange = request.exchange;
  exchange.bytesSent = static_cast<std::uint64_t>(bytesSent);
  if (!compressed_.empty()) exchange.bytesSent = exchange.bytesSent < compressed_.size() ? 0 : request.body.size();
  compressed_ = {};
  requestHeaders_.reset();
  exchange.outcome = code == CURLE_OPERATION_TIMEDOUT ? HttpOutcome::timedOut : HttpOutcome::failed;
  try {
    if (code == CURLE_OK && failure_ == nullptr) {
      setResponse(exchange, status);
      return std::move(request_);
    }
    exchange.reason = failure_ != nullptr ? failure_ : error_[0] != '\0' ? error_.data() : curl_easy_strerror(code);
  } catch (const std::bad_alloc&) {
    exchange.reason = kOutOfMemory;  // short enough for the string itself
  }
  exchange.bytesReceived = 0;
  request.content = {};
  return std::move(request_);
}

/// Failure: std::bad_alloc, and the exchange is as it was.
void HttpTransfer::setResponse(HttpExchange& exchange, long status) const {
  const char* contentType = nullptr;
  curl_off_t retryAfter = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_CONTENT_TYPE, &contentType);
  curl_easy_getinfo(handle_.get(), CURLINFO_RETRY_AFTER, &retryAfter);
  std::vector<HttpHeader> headers;
  for (const std::string& name : options_.keptHeaders) {
    constexpr int kOfTheFinalResponse = -1;
    curl_header* header = nullptr;
    const CURLHcode found =
        curl_easy_header(handle_.get(), name.c_str(), 0, CURLH_HEADER, kOfTheFinalResponse, &header);
    if (found == CURLHE_OK) headers.push_back({name, header->value});
  }
  if (contentType != nullptr) exchange.contentType = contentType;
  exchange.headers = std::move(headers);
  exchange.retryAfter = std::chrono::seconds(std::max<curl_off_t>(retryAfter, 0));  // negative: a date in the past
  exchange.status = static_cast<int>(status);
  exchange.outcome = HttpOutcome::completed;
}

}  // namespace sqm::platform
