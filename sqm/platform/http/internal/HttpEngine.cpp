#include "sqm/platform/http/internal/HttpEngine.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <limits>
#include <new>
#include <signal.h>
#include <stdexcept>
#include <utility>

namespace sqm::platform {

namespace {

constexpr int kLongWait = 60'000;  // milliseconds; libcurl shortens it for its own limits
constexpr int kRetryPause = 50;    // milliseconds until a step that failed is tried again

/// libcurl stays initialised until the process ends: a name look-up that was not waited for may outlast every client.
void initialiseCurl() {
  static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (result != CURLE_OK) throw std::runtime_error(curl_easy_strerror(result));
}

/// Blocks the process's signals on threads that are started while the object exists. Signals of a thread's own errors
/// stay unblocked, for the host's crash handler. SIGPIPE, which a TLS library may cause, is blocked.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int own : std::to_array({SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})) {
      sigdelset(&blocked, own);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &before_);
  }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;
  ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

HttpOptions usable(HttpOptions options) {
  options.connectionBound = std::clamp<std::size_t>(options.connectionBound, 1, std::numeric_limits<int>::max());
  return options;
}

CURLM* newMulti() {
  CURLM* const multi = curl_multi_init();
  if (multi == nullptr) throw std::bad_alloc();
  return multi;
}

}  // namespace

HttpEngine::HttpEngine(MainThread& mainThread, const HttpOptions& options)
    : options_((initialiseCurl(), usable(options))),
      ended_(std::make_shared<HttpEndedRequests>(mainThread)),
      multi_(newMulti(), curl_multi_cleanup) {
  // There are at most as many transfers, so that none of them waits inside libcurl. Kept-alive connections count, too.
  const long connections = static_cast<long>(options_.connectionBound);
  curl_multi_setopt(multi_.get(), CURLMOPT_MAX_TOTAL_CONNECTIONS, connections);
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, connections);

  transfers_.push_back(std::make_unique<HttpTransfer>(options_));  // so that requests never wait for memory alone

  const SignalBlock block;
  thread_ = std::thread([this] { run(); });
}

HttpEngine::~HttpEngine() {
  command([](Commands& commands) { commands.stop = true; });
  thread_.join();
  for (const auto& transfer : transfers_) curl_multi_remove_handle(multi_.get(), transfer->handle());
}

void HttpEngine::submit(HttpRequestNode request) noexcept {
  command([&](Commands& commands) { commands.submitted.splice(commands.submitted.end(), request); });
}

void HttpEngine::returnAborted() noexcept {
  command([](Commands& commands) { commands.returnAborted = true; });
}

template <typename Change>
void HttpEngine::command(Change change) noexcept {
  {
    const std::lock_guard lock(mutex_);
    change(commands_);
  }
  wakeUp_.send();
}

void HttpEngine::run() noexcept {
  while (takeCommands()) {
    startWaiting();
    int running = 0;
    const bool isPerformed = curl_multi_perform(multi_.get(), &running) == CURLM_OK;
    if (!isPerformed) finishIf([](const HttpRequest&) { return true; }, CURLE_OUT_OF_MEMORY);
    const bool handleIsFree = finishCompleted() || !isPerformed;
    const bool allPosted = ended_->postTasks();
    if (handleIsFree && !waiting_.empty()) continue;
    curl_waitfd command{wakeUp_.descriptor(), CURL_WAIT_POLLIN, 0};
    if (curl_multi_poll(multi_.get(), &command, 1, allPosted ? kLongWait : kRetryPause, nullptr) != CURLM_OK) {
      std::this_thread::sleep_for(std::chrono::milliseconds(kRetryPause));
    }
    if (command.revents != 0) wakeUp_.receive();
  }
}

/// Returns false when the thread is to stop.
bool HttpEngine::takeCommands() noexcept {
  Commands taken;
  {
    const std::lock_guard lock(mutex_);
    taken = std::exchange(commands_, {});
  }
  returnIf(taken.submitted, [](const HttpRequest& request) { return request.url.empty(); });
  waiting_.splice(waiting_.end(), taken.submitted);
  if (taken.returnAborted) {
    const auto isAborted = [](const HttpRequest& request) { return request.isAborted(); };
    returnIf(waiting_, isAborted);
    finishIf(isAborted, CURLE_ABORTED_BY_CALLBACK);
  }
  return !taken.stop;
}

template <typename Condition>
void HttpEngine::returnIf(HttpRequestNode& requests, Condition condition) noexcept {
  for (auto next = requests.begin(); next != requests.end();) {
    const auto request = next++;
    if (!condition(*request)) continue;
    HttpRequestNode node;
    node.splice(node.begin(), requests, request);
    ended_->add(std::move(node));
  }
}

void HttpEngine::startWaiting() noexcept {
  while (!waiting_.empty()) {
    HttpTransfer* const transfer = idleTransfer();
    if (transfer == nullptr) return;
    HttpRequestNode request;
    request.splice(request.begin(), waiting_, waiting_.begin());
    CURLcode code = transfer->begin(std::move(request));
    if (code == CURLE_OK && curl_multi_add_handle(multi_.get(), transfer->handle()) != CURLM_OK) {
      code = CURLE_OUT_OF_MEMORY;
    }
    if (code != CURLE_OK) finish(*transfer, code);
  }
}

/// Null when all transfers are busy and no further one is allowed or can be allocated.
HttpTransfer* HttpEngine::idleTransfer() noexcept {
  const auto idle = std::ranges::find_if(transfers_, [](const auto& transfer) { return !transfer->isBusy(); });
  if (idle != transfers_.end()) return idle->get();
  if (transfers_.size() == options_.connectionBound) return nullptr;
  try {
    return transfers_.emplace_back(std::make_unique<HttpTransfer>(options_)).get();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

/// Returns true when a transfer has ended.
bool HttpEngine::finishCompleted() noexcept {
  bool any = false;
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
    // The message is invalid once its handle is removed.
    const CURLcode code = message->data.result;
    finish(HttpTransfer::of(message->easy_handle), code);
    any = true;
  }
  return any;
}

template <typename Condition>
void HttpEngine::finishIf(Condition condition, CURLcode code) noexcept {
  for (const auto& transfer : transfers_) {
    if (transfer->isBusy() && condition(transfer->request())) finish(*transfer, code);
  }
}

void HttpEngine::finish(HttpTransfer& transfer, CURLcode code) noexcept {
  curl_multi_remove_handle(multi_.get(), transfer.handle());
  ended_->add(transfer.finish(code));
}

}  // namespace sqm::platform
