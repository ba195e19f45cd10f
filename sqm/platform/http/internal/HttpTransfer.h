#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include <curl/curl.h>

#include "sqm/platform/http/HttpOptions.h"
#include "sqm/platform/http/internal/HttpRequest.h"

namespace sqm::platform {

/// A libcurl handle that sends one request after another, and its callbacks.
///
/// Threading: the HTTP thread; the constructor and the destructor any.
class HttpTransfer {
 public:
  /// Failure: std::bad_alloc.
  explicit HttpTransfer(const HttpOptions& options);
  HttpTransfer(const HttpTransfer&) = delete;
  HttpTransfer& operator=(const HttpTransfer&) = delete;

  /// The transfer that `handle` belongs to.
  static HttpTransfer& of(CURL* handle);

  CURL* handle() const { return handle_.get(); }
  bool isBusy() const { return !request_.empty(); }
  const HttpRequest& request() const { return request_.front(); }

  /// Prepares the handle to send `request`. If the result is not CURLE_OK, call `finish` with it.
  CURLcode begin(HttpRequestNode request) noexcept;

  /// Returns the request with its outcome. The handle must have been removed from the multi handle.
  HttpRequestNode finish(CURLcode code) noexcept;

 private:
  struct Callbacks;
  using Headers = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

  CURLcode setOptions();
  curl_slist* headers();
  void setResponse(HttpExchange& exchange, long status) const;

  const HttpOptions& options_;
  Headers xmlHeaders_;
  Headers textHeaders_;
  Headers requestHeaders_{nullptr, curl_slist_free_all};  // when the request has more than those
  std::string compressed_;                                // the body with gzip; empty: it is sent as it is
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
  std::array<char, CURL_ERROR_SIZE> error_{};
  const char* failure_ = nullptr;  // why a callback ended the transfer, or its response is rejected
  std::size_t headerBytes_ = 0;
  bool headIsWhole_ = false;
  HttpRequestNode request_;
};

}  // namespace sqm::platform
