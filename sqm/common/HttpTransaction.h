#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace sqm {

/// A whole response arrived, whatever its status.
inline constexpr std::string_view TrelkHttpTransactionCompletedNotification =
    "TrelkHttpTransactionCompletedNotification";
/// No response: the server cannot be reached, broke off, sent what is no HTTP; or the address is missing or malformed.
inline constexpr std::string_view TrelkHttpTransactionErrorNotification = "TrelkHttpTransactionErrorNotification";
/// A time limit ran out before the whole response was there.
inline constexpr std::string_view TrelkHttpTransactionTimeOutNotification = "TrelkHttpTransactionTimeOutNotification";
/// The request was given up by `abortTransaction`.
inline constexpr std::string_view TrelkHttpTransactionAbortedNotification = "TrelkHttpTransactionAbortedNotification";

/// The method code of a POST.
inline constexpr int kHttpMethodPost = 1;

/// Sends requests one after another, each in the background, and tells the outcome by a notification whose object is
/// the transaction.
///
/// Every request ends in exactly one of the four notifications, posted to the host's `NotificationCenter` on the main
/// thread, never from inside `sendHttpRequest`.
///
/// Ownership: destroying a transaction gives its requests up, silently.
/// Threading: the main thread, for every operation.
/// Failure: reported by the notifications alone; nothing throws.
class HttpTransaction {
 public:
  virtual ~HttpTransaction() = default;

  /// The text encoding of the request bodies; 0 is UTF-8, the bodies as they are.
  virtual void setEncoding(int encoding) = 0;

  /// Names the session, and the log file that tells its traffic.
  virtual void startSession(std::string_view session, std::string_view logFile) = 0;

  /// Starts a request and returns at once. An absent or malformed `url`, a scheme other than http and https, and a
  /// method other than `kHttpMethodPost` end in the error notification. A second request while one runs is sent beside
  /// it.
  virtual void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) = 0;

  /// Gives up what is running; without a running request, nothing.
  virtual void abortTransaction() = 0;

  /// Status of the last completed response; 0 once a new request was started, until its response is complete.
  virtual int httpResponseStatusCode() const = 0;

  /// Body of the last completed response, under the same rule. Valid until the next operation of the transaction, and
  /// until the main thread takes its next task.
  virtual std::string_view httpResponseContent() const = 0;
};

/// Makes transactions.
///
/// Threading: any thread, of a new transaction's `startSession` too: the upload queue may be created on any.
class HttpTransactionFactory {
 public:
  virtual ~HttpTransactionFactory() = default;

  /// A new transaction, or null when none can be had.
  virtual std::unique_ptr<HttpTransaction> makeTransaction() = 0;
};

}  // namespace sqm
