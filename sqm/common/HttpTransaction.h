#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace sqm {

/// A whole response arrived, whatever its status.
inline constexpr std::string_view TrelkHttpTransactionCompletedNotification =
    "TrelkHttpTransactionCompletedNotification";
/// No whole response: the server cannot be reached, closed the connection early or does not speak HTTP; or the address
/// is missing or malformed.
inline constexpr std::string_view TrelkHttpTransactionErrorNotification = "TrelkHttpTransactionErrorNotification";
/// A time limit passed before the whole response arrived.
inline constexpr std::string_view TrelkHttpTransactionTimeOutNotification = "TrelkHttpTransactionTimeOutNotification";
/// The request was ended by `abortTransaction`.
inline constexpr std::string_view TrelkHttpTransactionAbortedNotification = "TrelkHttpTransactionAbortedNotification";

/// The method code of a POST.
inline constexpr int kHttpMethodPost = 1;

/// The only status on which the directory uploader and the upload queue delete what they sent.
inline constexpr int kHttpStatusOk = 200;

/// A request whose outcome is being reported. The views are valid until the next operation of its transaction.
struct EndedRequest {
  std::string_view url = {};           ///< where it was sent, with user name and password; empty: nowhere
  std::string_view shownAs = {};       ///< the same without them, for logs
  std::string_view reason = {};        ///< why there is no whole response
  std::uint64_t bytes = 0;             ///< of its body, before any compression
  std::chrono::seconds retryAfter{0};  ///< the pause that the response asks for; 0: none
};

/// Sends requests in the background and reports the outcome of each by a notification whose object is the transaction.
///
/// Every request ends in exactly one of the four notifications, posted to the host's `NotificationCenter` on the main
/// thread, never from inside `sendHttpRequest`.
///
/// Ownership: destroying a transaction ends its requests without a notification.
/// Threading: the main thread, for every operation.
/// Failure: reported by the notifications.
class HttpTransaction {
 public:
  virtual ~HttpTransaction() = default;

  /// The text encoding of the request bodies; 0 is UTF-8: the bodies are sent unchanged.
  virtual void setEncoding(int encoding) = 0;

  /// Names the session and the log file of its traffic.
  virtual void startSession(std::string_view session, std::string_view logFile) = 0;

  /// Starts a request and returns at once. An absent or malformed `url`, a scheme other than http and https, and a
  /// method other than `kHttpMethodPost` end in the error notification. Several requests may run at the same time.
  virtual void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) = 0;

  /// Ends the running requests; without one, does nothing.
  virtual void abortTransaction() = 0;

  /// Status of the last completed response; 0 from the start of a new request until its response is complete.
  virtual int httpResponseStatusCode() const = 0;

  /// Body of the last completed response, empty under the same rule. Valid until the next operation of the transaction
  /// or the next task of the main thread.
  virtual std::string_view httpResponseContent() const = 0;

  // The three below are for the handlers of a request's notification. A transaction that does not keep its requests has
  // these defaults.

  virtual EndedRequest endedRequest() const { return {}; }

  /// The body of the request, once; nothing when it is not kept.
  virtual std::optional<std::string> takeRequestBody() { return std::nullopt; }

  /// The first value of this header of the response; nothing when the response does not have it. The standard client
  /// keeps the headers that `HttpOptions::keptHeaders` names, in its spelling.
  virtual std::optional<std::string_view> httpResponseHeader(std::string_view /*name*/) const { return std::nullopt; }
};

/// Makes transactions.
///
/// Threading: `makeTransaction`, and of a transaction that has sent nothing `startSession` and the destructor, on any
/// thread: the upload queue may be created on any. `requestsUnderWay` on the main thread.
class HttpTransactionFactory {
 public:
  virtual ~HttpTransactionFactory() = default;

  /// A new transaction, or null when it cannot be made.
  virtual std::unique_ptr<HttpTransaction> makeTransaction() = 0;

  /// Requests of its transactions that were started and whose notification has not been posted yet. Inside the handler
  /// of a notification, its own request is not counted.
  virtual std::size_t requestsUnderWay() const = 0;
};

}  // namespace sqm
