#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include <curl/curl.h>

#include "sqm/platform/http/HttpClient.h"
#include "sqm/platform/http/internal/HttpRequest.h"

namespace sqm::platform {

/// A libcurl handle that carries one request after another, and what libcurl asks of us meanwhile.
///
/// Threading: the HTTP thread, but for the constructor and the destructor.
class HttpTransfer {
 public:
  /// Failure: std::bad_alloc.
  explicit HttpTransfer(const HttpOptions& options);
  HttpTransfer(const HttpTransfer&) = delete;
  HttpTransfer& operator=(const HttpTransfer&) = delete;

  /// Among the transfers of a multi handle, whose handle this is.
  static HttpTransfer& of(CURL* handle);

  CURL* handle() const { return handle_.get(); }
  bool busy() const { return !request_.empty(); }
  const HttpRequest& request() const { return request_.front(); }

  /// Makes the handle ready to send `request`; unless CURLE_OK comes back, `finish` it with that.
  CURLcode begin(HttpRequestNode request) noexcept;

  /// Gives the request back with its result, once the handle has left the multi handle.
  HttpRequestNode finish(CURLcode code) noexcept;

 private:
  struct Callbacks;
  using Headers = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

  CURLcode setOptions();

  const HttpOptions& options_;
  Headers xmlHeaders_;
  Headers textHeaders_;
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
  std::array<char, CURL_ERROR_SIZE> error_{};
  const char* refusal_ = nullptr;  // why we broke the transfer off
  std::size_t headerBytes_ = 0;
  bool headIsWhole_ = false;
  HttpRequestNode request_;
};

}  // namespace sqm::platform
