#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>

#include "sqm/common/HttpTransaction.h"

namespace sqm {
class LogFileFactory;
class MainThread;
class NotificationCenter;
}  // namespace sqm

namespace sqm::platform {

class HttpEngine;

/// How patient the client is, and how much it takes on. A limit of zero time is no limit.
struct HttpOptions {
  /// Name look-up, connection and TLS handshake. Zero: five minutes.
  std::chrono::milliseconds connectLimit = std::chrono::seconds(30);
  /// Not a byte either way on an open connection, the wait for the server's answer included. Held to within a few
  /// seconds.
  std::chrono::seconds stallLimit = std::chrono::minutes(1);
  /// A kept-alive connection that was idle for longer is not used again: after a change of networks it may lead
  /// nowhere.
  std::chrono::seconds idleLimit = std::chrono::seconds(5);
  /// The whole request: long enough for a large upload on a slow line, which the stall limit lets go on.
  std::chrono::milliseconds totalLimit = std::chrono::hours(1);
  /// Bytes of a response body. A longer response is an error.
  std::size_t bodyLimit = 1024 * 1024;
  /// Connections, and requests under way, at one time; at least 1. Further requests wait their turn.
  std::size_t connectionBound = 8;
};

/// Makes the transactions of a host whose HTTP is libcurl.
///
/// All transactions share one background thread, begun with the first of them, and its kept-alive connections.
/// Requests are HTTP/1.1 POSTs over http or https; the content type is "text/xml; charset=utf-8" for a body that begins
/// with an XML declaration, else "text/plain; charset=utf-8". Certificates and host names are checked, redirects are
/// not followed, the proxy settings of the environment are honoured. An answer of HTTP/0.9, or with more than 256 KiB
/// of headers, is an error. The time limits of a request count from when it has its turn among the `connectionBound`.
///
/// Delivery is at least once: when a kept-alive connection dies before a byte of the answer has come, the request is
/// sent again on a fresh one, though the server may have taken the first. A time-out or an error does not mean that the
/// server did not get the body.
///
/// A host name that is not ASCII is understood where the process has set a locale of UTF-8; written as "xn--..." it is
/// understood everywhere.
///
/// Bodies go out as they are, whatever `setEncoding` is told: UTF-8, code 0, is the only encoding there is. The log
/// that `startSession` names has two lines for each request: what was asked, and what came of it. They never show the
/// user name and password of an address.
///
/// Ownership: the services must outlive the client; transactions may outlive it. With the client go all requests on
/// their way, without a notification, and later ones go nowhere.
/// Threading: the main thread; `makeTransaction` and a transaction's `startSession` on any. The client may be destroyed
/// inside a notification's handler. Its own thread reads the environment, which therefore must not change while
/// requests run, and takes none of the process's signals. Failure: `makeTransaction` gives null when the thread cannot
/// be had. A `MainThread` whose `post` throws is asked again until it takes the task.
class HttpClient final : public HttpTransactionFactory {
 public:
  HttpClient(MainThread& mainThread, NotificationCenter& notifications, LogFileFactory& logFiles,
             const HttpOptions& options = {});
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  /// Takes milliseconds, whatever runs.
  ~HttpClient() override;

  std::unique_ptr<HttpTransaction> makeTransaction() override;

  /// Requests begun whose notification has not been posted yet. Inside a notification's handler, its own is not counted
  /// any more.
  std::size_t requestsUnderWay() const;

 private:
  MainThread& mainThread_;
  NotificationCenter& notifications_;
  LogFileFactory& logFiles_;
  HttpOptions options_;
  std::mutex engineMutex_;  // guards the creation of the engine
  std::shared_ptr<HttpEngine> engine_;
  std::shared_ptr<std::size_t> underWay_;
};

}  // namespace sqm::platform
