#pragma once

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <curl/curl.h>

#include "sqm/platform/http/HttpOptions.h"
#include "sqm/platform/http/internal/HttpEndedRequests.h"
#include "sqm/platform/http/internal/HttpRequest.h"
#include "sqm/platform/http/internal/HttpTransfer.h"
#include "sqm/platform/system/internal/WakeUp.h"

namespace sqm::platform {

/// Runs libcurl on a thread of its own. Every request that is submitted returns to its owner on the main thread once,
/// unless the engine is destroyed before.
///
/// A request gets a libcurl handle only when a connection is free for it. So thousands of requests can wait, each at
/// the cost of its text, and no time limit runs while they wait.
///
/// Threading: constructed on any thread, used and destroyed on the main thread.
class HttpEngine {
 public:
  /// Failure: std::bad_alloc, std::system_error.
  HttpEngine(MainThread& mainThread, const HttpOptions& options);
  HttpEngine(const HttpEngine&) = delete;
  HttpEngine& operator=(const HttpEngine&) = delete;
  ~HttpEngine();

  void submit(HttpRequestNode request) noexcept;

  /// Returns the requests that are aborted to their owners.
  void returnAborted() noexcept;

 private:
  /// Commands of other threads.
  struct Commands {
    HttpRequestNode submitted;
    bool returnAborted = false;
    bool stop = false;
  };
  using Multi = std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)>;

  template <typename Change>
  void command(Change change) noexcept;

  void run() noexcept;
  bool takeCommands() noexcept;
  template <typename Condition>
  void returnIf(HttpRequestNode& requests, Condition condition) noexcept;
  void startWaiting() noexcept;
  HttpTransfer* idleTransfer() noexcept;
  bool finishCompleted() noexcept;
  template <typename Condition>
  void finishIf(Condition condition, CURLcode code) noexcept;
  void finish(HttpTransfer& transfer, CURLcode code) noexcept;

  const HttpOptions options_;
  const std::shared_ptr<HttpEndedRequests> ended_;
  Multi multi_;
  std::vector<std::unique_ptr<HttpTransfer>> transfers_;  // at most one for each connection
  HttpRequestNode waiting_;                               // any number, the oldest first

  std::mutex mutex_;
  Commands commands_;
  WakeUp wakeUp_;  // not libcurl's, which takes two system calls to receive

  std::thread thread_;
};

}  // namespace sqm::platform
