#include "sqm/platform/http/internal/HttpTransfer.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <sys/socket.h>
#include <utility>

namespace sqm::platform {

namespace {

/// All header lines of an answer together, interim answers and trailers included; libcurl bounds one line alone.
constexpr std::size_t kHeaderLimit = 256 * 1024;

/// How much of a body libcurl takes up at a time: all of it, within these bounds.
constexpr std::size_t kSmallestUploadBuffer = 16 * 1024;
constexpr std::size_t kLargestUploadBuffer = 512 * 1024;

/// RFC 9110, section 15.2: an answer with a lower status is an interim one, which another follows.
constexpr long kFirstFinalStatus = 200;

constexpr long kLongestMilliseconds = 0x7FFF'FFFF;

template <typename Handle, typename Free>
std::unique_ptr<Handle, Free*> ownerOf(Handle* handle, Free* free) {
  if (handle == nullptr) throw std::bad_alloc();
  return {handle, free};
}

/// The header lines that are not libcurl's own. An empty "Expect:" keeps it from asking leave before it sends a body.
auto headersWith(const char* contentType) {
  auto headers = ownerOf(curl_slist_append(nullptr, "Expect:"), curl_slist_free_all);
  if (curl_slist_append(headers.get(), contentType) == nullptr) throw std::bad_alloc();
  return headers;
}

bool beginsWithXmlDeclaration(std::string_view body) { return body.starts_with("<?xml"); }

/// Our limits as libcurl takes them; the count of seconds or milliseconds.
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
    if (line.starts_with("HTTP/")) transfer->headIsWhole_ = false;  // another answer begins
    if (line == "\r\n" || line == "\n") transfer->headIsWhole_ = true;
    transfer->headerBytes_ += count;
    if (transfer->headerBytes_ <= kHeaderLimit) return count;
    transfer->refusal_ = "the answer has too many headers";
    return CURL_WRITEFUNC_ERROR;
  }

  /// What is beyond the limit is read and dropped, so that the server sees its response taken.
  static std::size_t body(const char* bytes, std::size_t, std::size_t count, HttpTransfer* transfer) {
    std::string& content = transfer->request_.front().result.content;
    try {
      content.append(bytes, std::min(count, transfer->options_.bodyLimit - content.size()));
      return count;
    } catch (const std::bad_alloc&) {
      transfer->refusal_ = "out of memory";
      return CURL_WRITEFUNC_ERROR;
    }
  }
};

HttpTransfer::HttpTransfer(const HttpOptions& options)
    : options_(options),
      xmlHeaders_(headersWith("Content-Type: text/xml; charset=utf-8")),
      textHeaders_(headersWith("Content-Type: text/plain; charset=utf-8")),
      handle_(ownerOf(curl_easy_init(), curl_easy_cleanup)) {}

HttpTransfer& HttpTransfer::of(CURL* handle) {
  char* transfer = nullptr;
  curl_easy_getinfo(handle, CURLINFO_PRIVATE, &transfer);
  return *static_cast<HttpTransfer*>(static_cast<void*>(transfer));
}

CURLcode HttpTransfer::begin(HttpRequestNode request) noexcept {
  request_ = std::move(request);
  error_[0] = '\0';
  refusal_ = nullptr;
  headerBytes_ = 0;
  headIsWhole_ = false;
  // Nothing of the last request stays, credentials least of all; what does are connections and TLS sessions.
  curl_easy_reset(handle_.get());
  return setOptions();
}

CURLcode HttpTransfer::setOptions() {
  CURLcode result = CURLE_OK;
  const auto set = [&](CURLoption option, auto value) {
    if (result == CURLE_OK) result = curl_easy_setopt(handle_.get(), option, value);
  };
  const HttpRequest& sent = request();

  set(CURLOPT_URL, sent.url.c_str());
  set(CURLOPT_POSTFIELDS, sent.body.c_str());
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(sent.body.size()));
  set(CURLOPT_UPLOAD_BUFFERSIZE,
      static_cast<long>(std::clamp(sent.body.size(), kSmallestUploadBuffer, kLargestUploadBuffer)));
  set(CURLOPT_HTTPHEADER, (beginsWithXmlDeclaration(sent.body) ? xmlHeaders_ : textHeaders_).get());
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_HTTP09_ALLOWED, 0L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);

  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));

  set(CURLOPT_MAXAGE_CONN, options_.idleLimit.count() == 0 ? kLongestMilliseconds : limit(options_.idleLimit));

  set(CURLOPT_CONNECTTIMEOUT_MS, limit(options_.connectLimit));
  set(CURLOPT_TIMEOUT_MS, limit(options_.totalLimit));
  set(CURLOPT_LOW_SPEED_LIMIT, 1L);
  set(CURLOPT_LOW_SPEED_TIME, limit(options_.stallLimit));

  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // an unfinished name look-up is left to itself
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
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);

  // To libcurl alone an answer that breaks off inside its headers, or behind an interim one, is a good one.
  if (code == CURLE_OK && (!headIsWhole_ || status < kFirstFinalStatus)) refusal_ = "the answer broke off";

  HttpRequest& request = request_.front();
  request.body = {};
  HttpResult& result = request.result;
  if (code == CURLE_OK && refusal_ == nullptr) {
    result.outcome = HttpOutcome::completed;
    result.status = static_cast<int>(status);
    return std::move(request_);
  }
  result.outcome = code == CURLE_OPERATION_TIMEDOUT ? HttpOutcome::timedOut : HttpOutcome::failed;
  result.content = {};
  try {
    result.reason = refusal_ != nullptr ? refusal_ : error_[0] != '\0' ? error_.data() : curl_easy_strerror(code);
  } catch (const std::bad_alloc&) {
    // The outcome is told without its reason.
  }
  return std::move(request_);
}

}  // namespace sqm::platform
