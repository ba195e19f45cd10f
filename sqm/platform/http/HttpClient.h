#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sqm/common/HttpTransaction.h"
#include "sqm/platform/http/HttpExchange.h"

namespace sqm {
class LogFileFactory;
class MainThread;
class NotificationCenter;
}  // namespace sqm

namespace sqm::platform {

class HttpEngine;

/// Limits of the client. A time limit of zero is no limit.
struct HttpOptions {
  /// Name look-up, connection and TLS handshake. Zero: five minutes.
  std::chrono::milliseconds connectLimit = std::chrono::seconds(30);
  /// No byte sent or received on an open connection, the wait for the response included. Accurate to a few seconds.
  std::chrono::seconds stallLimit = std::chrono::minutes(1);
  /// A kept-alive connection that was idle for longer is not used again: after a change of networks it may be dead.
  std::chrono::seconds idleLimit = std::chrono::seconds(5);
  /// The whole request: long enough for a large upload over a slow connection, which does not stall.
  std::chrono::milliseconds totalLimit = std::chrono::hours(1);
  /// Bytes of a response body that are kept. The rest is read and dropped; a response that never ends is ended by
  /// `totalLimit`.
  std::size_t bodyLimit = 1024 * 1024;
  /// Connections, and requests on them, at one time; at least 1. Further requests wait in a queue.
  std::size_t connectionBound = 8;
  /// The names of response headers of which the first value is kept.
  std::vector<std::string> keptHeaders = {};
};

/// Makes transactions on libcurl.
///
/// All transactions share one background thread, which starts with the first of them, and its kept-alive connections.
/// Requests are HTTP/1.1 POSTs over http or https. The content type is "text/xml; charset=utf-8" for a body that begins
/// with an XML declaration, else "text/plain; charset=utf-8". Certificates and host names are checked, redirects are
/// not followed, the proxy settings of the environment are used. A response of HTTP/0.9, or with more than 256 KiB of
/// headers, is an error. A request that waits in the queue has no time limit.
///
/// Delivery is at least once: when a kept-alive connection is lost before the first byte of the response, the request
/// is sent again on a new connection, although the server may have processed it. After a time-out or an error, too, the
/// server may have the body.
///
/// A host name that is not ASCII requires a UTF-8 locale of the process; written as "xn--..." it does not.
///
/// Bodies are sent unchanged, whatever `setEncoding` is given: UTF-8, code 0, is the only encoding. The log that
/// `startSession` names gets two lines for each request: the request, and its outcome. They never contain the user name
/// and password of an address.
///
/// Ownership: the services must outlive the client; transactions may outlive it. Destroying the client ends all its
/// requests without a notification; requests that are sent afterwards are ignored.
/// Threading: the main thread, on which a notification's handler may destroy the client. Any thread may call
/// `makeTransaction`, and `startSession` of the new transaction, and may destroy a transaction that has sent nothing.
/// The client's own thread reads the environment, which therefore must not change while requests run, and blocks the
/// process's signals.
/// Failure: `makeTransaction` returns null when the thread cannot be started. When `MainThread::post` throws, it is
/// called again until it accepts the task.
class HttpClient final : public HttpTransactionFactory {
 public:
  HttpClient(MainThread& mainThread, NotificationCenter& notifications, LogFileFactory& logFiles,
             HttpOptions options = {}, HttpExchangeObserver onExchange = {});
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  /// Takes milliseconds, even during a name look-up.
  ~HttpClient() override;

  std::unique_ptr<HttpTransaction> makeTransaction() override;
  std::size_t requestsUnderWay() const override;

  /// Ends all requests as the destructor does. Later requests are ignored, and `makeTransaction` returns null. On the
  /// main thread.
  void stop();

 private:
  struct Shared;
  class Transaction;

  MainThread& mainThread_;
  HttpOptions options_;
  std::mutex engineMutex_;  // guards the creation of the engine, and its end
  std::shared_ptr<HttpEngine> engine_;
  bool isStopped_ = false;
  std::shared_ptr<Shared> shared_;
};

}  // namespace sqm::platform
