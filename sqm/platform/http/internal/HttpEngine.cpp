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

constexpr int kLongWait = 60'000;  // milliseconds; libcurl wakes up by itself for its own limits
constexpr int kRetryPause = 50;    // milliseconds until something that failed for want of memory is tried again

/// libcurl is initialised for as long as the process runs: a name look-up that was left to itself may outlast every
/// client.
void initialiseCurl() {
  static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (result != CURLE_OK) throw std::runtime_error(curl_easy_strerror(result));
}

/// Threads begun while it lives take no signals that are meant for the host's own threads; those that tell of an error
/// of the thread itself stay with the host's crash handler. SIGPIPE, which a TLS library may cause, ends nothing then.
class SignalsKeptAway {
 public:
  SignalsKeptAway() {
    sigset_t kept;
    sigfillset(&kept);
    for (const int own : std::to_array({SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})) {
      sigdelset(&kept, own);
    }
    pthread_sigmask(SIG_SETMASK, &kept, &before_);
  }
  SignalsKeptAway(const SignalsKeptAway&) = delete;
  SignalsKeptAway& operator=(const SignalsKeptAway&) = delete;
  ~SignalsKeptAway() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

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
      deliveries_(std::make_shared<HttpDeliveries>(mainThread)),
      multi_(newMulti(), curl_multi_cleanup) {
  // The transfers under way are as many at most, so none of them has to wait inside libcurl; these count the kept-alive
  // connections in.
  const long connections = static_cast<long>(options_.connectionBound);
  curl_multi_setopt(multi_.get(), CURLMOPT_MAX_TOTAL_CONNECTIONS, connections);
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, connections);

  transfers_.push_back(std::make_unique<HttpTransfer>(options_));  // one there is always, whatever memory is left

  const SignalsKeptAway keptAway;
  thread_ = std::thread([this] { run(); });
}

HttpEngine::~HttpEngine() {
  order([](Orders& orders) { orders.stop = true; });
  thread_.join();
  for (const auto& transfer : transfers_) curl_multi_remove_handle(multi_.get(), transfer->handle());
}

void HttpEngine::submit(HttpRequestNode request) noexcept {
  order([&](Orders& orders) { orders.submitted.splice(orders.submitted.end(), request); });
}

void HttpEngine::lookForAborts() noexcept {
  order([](Orders& orders) { orders.lookForAborts = true; });
}

template <typename Give>
void HttpEngine::order(Give give) noexcept {
  {
    const std::lock_guard lock(mutex_);
    give(orders_);
  }
  curl_multi_wakeup(multi_.get());
}

void HttpEngine::run() noexcept {
  while (takeOrders()) {
    startWaiting();
    int running = 0;
    const bool isPerformed = curl_multi_perform(multi_.get(), &running) == CURLM_OK;
    if (!isPerformed) breakOffIf([](const HttpRequest&) { return true; }, CURLE_OUT_OF_MEMORY);
    const bool placeIsFree = finishEnded() || !isPerformed;
    const bool allTold = deliveries_->flush();
    if (placeIsFree && !waiting_.empty()) continue;
    if (curl_multi_poll(multi_.get(), nullptr, 0, allTold ? kLongWait : kRetryPause, nullptr) != CURLM_OK) {
      std::this_thread::sleep_for(std::chrono::milliseconds(kRetryPause));
    }
  }
}

/// False when it is time to stop.
bool HttpEngine::takeOrders() noexcept {
  Orders taken;
  {
    const std::lock_guard lock(mutex_);
    taken = std::exchange(orders_, {});
  }
  giveBackIf(taken.submitted, [](const HttpRequest& request) { return request.url.empty(); });
  waiting_.splice(waiting_.end(), taken.submitted);
  if (taken.lookForAborts) {
    const auto aborted = [](const HttpRequest& request) { return request.aborted(); };
    giveBackIf(waiting_, aborted);
    breakOffIf(aborted, CURLE_ABORTED_BY_CALLBACK);
  }
  return !taken.stop;
}

template <typename Condition>
void HttpEngine::giveBackIf(HttpRequestNode& requests, Condition condition) noexcept {
  for (auto next = requests.begin(); next != requests.end();) {
    const auto request = next++;
    if (!condition(*request)) continue;
    HttpRequestNode node;
    node.splice(node.begin(), requests, request);
    deliveries_->add(std::move(node));
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

/// Null when all are busy, and no further one may or can be had.
HttpTransfer* HttpEngine::idleTransfer() noexcept {
  const auto idle = std::ranges::find_if(transfers_, [](const auto& transfer) { return !transfer->busy(); });
  if (idle != transfers_.end()) return idle->get();
  if (transfers_.size() == options_.connectionBound) return nullptr;
  try {
    return transfers_.emplace_back(std::make_unique<HttpTransfer>(options_)).get();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

/// True when a transfer has ended.
bool HttpEngine::finishEnded() noexcept {
  bool any = false;
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
    // The message goes with its handle.
    const CURLcode code = message->data.result;
    finish(HttpTransfer::of(message->easy_handle), code);
    any = true;
  }
  return any;
}

template <typename Condition>
void HttpEngine::breakOffIf(Condition condition, CURLcode code) noexcept {
  for (const auto& transfer : transfers_) {
    if (transfer->busy() && condition(transfer->request())) finish(*transfer, code);
  }
}

void HttpEngine::finish(HttpTransfer& transfer, CURLcode code) noexcept {
  curl_multi_remove_handle(multi_.get(), transfer.handle());
  deliveries_->add(transfer.finish(code));
}

}  // namespace sqm::platform
