#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace sqm::platform {

enum class HttpOutcome : std::uint8_t {
  completed,  ///< a whole response arrived, whatever its status
  failed,     ///< no whole response, or no usable address
  timedOut,
  aborted,
};

struct HttpHeader {
  std::string name;
  std::string value;
};

/// The outcome of one request.
struct HttpExchange {
  HttpOutcome outcome = HttpOutcome::failed;
  std::string address = {};              ///< without user name and password; empty when it is not usable
  std::string reason = {};               ///< why it failed or timed out
  std::chrono::milliseconds elapsed{0};  ///< from `sendHttpRequest` to the notification
  std::uint64_t bytesSent = 0;           ///< of the request's body; with gzip, the bytes before it, or 0 for a part

  // The response: set only when the exchange is completed.
  int status = 0;
  std::string contentType = {};          ///< empty when the server does not name it
  std::chrono::seconds retryAfter{0};    ///< the pause that the server asks for; 0: none
  std::vector<HttpHeader> headers = {};  ///< those of `HttpOptions::keptHeaders` that it has
  std::uint64_t bytesReceived = 0;  ///< of the response's body, including those beyond the limit, which are dropped

  /// A response with a status from 200 to 299.
  bool isSuccess() const { return status >= 200 && status <= 299; }
};

/// "status 200", "error: REASON", "time-out: REASON" or "aborted"
std::string textOf(const HttpExchange& exchange);

/// Called for each exchange before its notification is posted, on the main thread. It must not throw, and must not use
/// or destroy the client or its transactions.
using HttpExchangeObserver = std::function<void(const HttpExchange& exchange)>;

}  // namespace sqm::platform
