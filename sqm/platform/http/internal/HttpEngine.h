#pragma once

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <curl/curl.h>

#include "sqm/platform/http/HttpClient.h"
#include "sqm/platform/http/internal/HttpDeliveries.h"
#include "sqm/platform/http/internal/HttpRequest.h"
#include "sqm/platform/http/internal/HttpTransfer.h"

namespace sqm::platform {

/// The thread on which libcurl works. Every request that is submitted comes back to its owner on the main thread once,
/// unless the engine goes first.
///
/// A request gets a libcurl handle only when there is a connection to be had for it, so thousands can wait at the price
/// of their texts, and no time limit runs while they wait.
///
/// Threading: `submit` and `lookForAborts` from any thread; constructed and destroyed on the main thread.
class HttpEngine {
 public:
  /// Failure: std::bad_alloc, std::system_error.
  HttpEngine(MainThread& mainThread, const HttpOptions& options);
  HttpEngine(const HttpEngine&) = delete;
  HttpEngine& operator=(const HttpEngine&) = delete;
  ~HttpEngine();

  void submit(HttpRequestNode request) noexcept;

  /// Has the requests brought back that are aborted.
  void lookForAborts() noexcept;

 private:
  /// What other threads have asked for.
  struct Orders {
    HttpRequestNode submitted;
    bool lookForAborts = false;
    bool stop = false;
  };
  using Multi = std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)>;

  template <typename Give>
  void order(Give give) noexcept;

  void run() noexcept;
  bool takeOrders() noexcept;
  template <typename Condition>
  void giveBackIf(HttpRequestNode& requests, Condition condition) noexcept;
  void startWaiting() noexcept;
  HttpTransfer* idleTransfer() noexcept;
  bool finishEnded() noexcept;
  template <typename Condition>
  void breakOffIf(Condition condition, CURLcode code) noexcept;
  void finish(HttpTransfer& transfer, CURLcode code) noexcept;

  const HttpOptions options_;
  const std::shared_ptr<HttpDeliveries> deliveries_;
  Multi multi_;
  std::vector<std::unique_ptr<HttpTransfer>> transfers_;  // as many as connections, at most
  HttpRequestNode waiting_;                               // any number, the oldest first

  std::mutex mutex_;
  Orders orders_;

  std::thread thread_;
};

}  // namespace sqm::platform
