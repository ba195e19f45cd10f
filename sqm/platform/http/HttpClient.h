#pragma once

#include <cstddef>
#include <memory>
#include <mutex>

#include "sqm/common/HttpTransaction.h"
#include "sqm/platform/http/HttpExchange.h"
#include "sqm/platform/http/HttpOptions.h"

namespace sqm {
class LogFileFactory;
class MainThread;
class NotificationCenter;
}  // namespace sqm

namespace sqm::platform {

class HttpEngine;

/// Makes transactions on libcurl.
///
/// All transactions share one background thread, which starts with the first of them, and its kept-alive connections.
/// Requests are HTTP/1.1 POSTs over http or https. The content type is "text/xml; charset=utf-8" for a body that begins
/// with an XML declaration, else "text/plain; charset=utf-8". Certificates and host names are checked, TLS is 1.2 or
/// newer, redirects are not followed, the proxy settings of the environment are used. A response of HTTP/0.9, or with
/// more than 256 KiB of headers, is an error. A request that waits in the queue has no time limit. `HttpOptions` has
/// what a host may change.
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

  /// Takes milliseconds, even during a name look-up; `HttpOptions::gzipFrom` may add some.
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
  std::mutex engineMutex_;  // guards the creation of the engine, and its end
  std::shared_ptr<HttpEngine> engine_;
  bool isStopped_ = false;
  std::shared_ptr<Shared> shared_;
};

}  // namespace sqm::platform
