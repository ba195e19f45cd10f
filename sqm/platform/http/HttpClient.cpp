#include "sqm/platform/http/HttpClient.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/LogFile.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/platform/http/internal/HttpAddress.h"
#include "sqm/platform/http/internal/HttpEngine.h"
#include "sqm/platform/http/internal/HttpProblems.h"
#include "sqm/platform/http/internal/HttpRequest.h"

namespace sqm::platform {

namespace {

constexpr std::string_view kLogInfo = "DEBUG";
constexpr std::string_view kRequestLine = "%@***request %@: %@ %@, %@ bytes";  // session, number, method, address
constexpr std::string_view kOutcomeLine = "%@***request %@: %@, %@ ms, %@ bytes";

std::string_view notificationOf(HttpOutcome outcome) {
  switch (outcome) {
    case HttpOutcome::completed:
      return TrelkHttpTransactionCompletedNotification;
    case HttpOutcome::failed:
      return TrelkHttpTransactionErrorNotification;
    case HttpOutcome::timedOut:
      return TrelkHttpTransactionTimeOutNotification;
    case HttpOutcome::aborted:
      break;
  }
  return TrelkHttpTransactionAbortedNotification;
}

}  // namespace

/// Used by the transactions, which may outlive the client.
struct HttpClient::Shared {
  NotificationCenter& notifications;
  LogFileFactory& logFiles;
  const HttpOptions options;
  HttpExchangeObserver onExchange;
  std::size_t requestsUnderWay = 0;
};

/// A transaction whose requests the engine sends. Each of them comes back to `requestEnded`, which alone posts
/// notifications.
class HttpClient::Transaction final : public HttpTransaction, public HttpRequestOwner {
 public:
  Transaction(std::weak_ptr<HttpEngine> engine, std::shared_ptr<Shared> shared)
      : engine_(std::move(engine)), shared_(std::move(shared)), link_(std::make_shared<HttpOwnerLink>(this)) {}
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  ~Transaction() override {
    Transaction::abortTransaction();
    link_->owner = nullptr;
    if (running_ > 0) shared_->requestsUnderWay -= running_;  // a transaction without requests ends on any thread
  }

  void setEncoding(int) override {}

  void startSession(std::string_view session, std::string_view logFile) override {
    if (engine_.expired()) return;  // the log factory may be destroyed, too
    session_ = session;
    log_ = shared_->logFiles.initWithFile(logFile, kLogLevel);
  }

  void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) override {
    status_ = 0;
    content_.clear();
    const auto engine = engine_.lock();
    if (!engine) return;

    HttpRequestNode node(1);
    HttpRequest& request = node.front();
    request.link = link_;
    request.number = ++lastNumber_;
    request.start = std::chrono::steady_clock::now();
    fill(request, url, withMethod, std::move(data));
    ++running_;
    ++shared_->requestsUnderWay;
    engine->submit(std::move(node));
  }

  void abortTransaction() override {
    if (running_ == 0) return;
    link_->abortedUpTo = lastNumber_;
    if (const auto engine = engine_.lock()) engine->returnAborted();
  }

  int httpResponseStatusCode() const override { return status_; }
  std::string_view httpResponseContent() const override { return content_; }

  EndedRequest endedRequest() const override {
    if (ended_ == nullptr) return {};
    const HttpExchange& exchange = ended_->exchange;
    return {ended_->url, exchange.address, exchange.reason, ended_->body.size(), exchange.retryAfter};
  }

  std::optional<std::string> takeRequestBody() override {
    return ended_ == nullptr ? std::nullopt : std::optional(std::move(ended_->body));
  }

  std::optional<std::string_view> httpResponseHeader(std::string_view name) const override {
    if (ended_ == nullptr) return std::nullopt;
    const auto& headers = ended_->exchange.headers;
    const auto found = std::ranges::find(headers, name, &HttpHeader::name);
    return found == headers.end() ? std::nullopt : std::optional<std::string_view>(found->value);
  }

 private:
  /// Lends the transaction its ended request while the handlers run, one of which may destroy the transaction.
  class Report {
   public:
    Report(Transaction& transaction, HttpRequest& request) : transaction_(transaction), link_(transaction.link_) {
      transaction_.ended_ = &request;
    }
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;
    ~Report() {
      if (link_->owner != nullptr) transaction_.ended_ = nullptr;
    }

   private:
    Transaction& transaction_;
    const std::shared_ptr<HttpOwnerLink> link_;
  };

  void fill(HttpRequest& request, std::optional<std::string_view> url, int method, std::string data) {
    auto address = url ? parseHttpAddress(*url) : std::nullopt;
    if (address) request.exchange.address = std::move(address->shownAs);
    logRequest(request, method, data.size());
    request.body = std::move(data);
    if (!address) {
      request.exchange.reason = url ? "the address is malformed, or not of http or https" : "there is no address";
    } else if (method != kHttpMethodPost) {
      request.exchange.reason = "the method is not POST";
    } else {
      request.exchange.reason = problemOf(shared_->options);
      if (request.exchange.reason.empty()) addHeaders(request);
      if (request.exchange.reason.empty()) request.url = std::move(address->url);
    }
  }

  void addHeaders(HttpRequest& request) const {
    if (!shared_->options.headers) return;
    try {
      request.headers = shared_->options.headers(request.exchange.address);
    } catch (...) {  // its text may have a secret
      request.exchange.reason = "the host's function for headers has thrown";
    }
    for (const HttpHeader& header : request.headers) {
      if (request.exchange.reason.empty()) request.exchange.reason = problemOf(header);
    }
  }

  void requestEnded(HttpRequestNode node) override {
    --running_;
    --shared_->requestsUnderWay;
    HttpRequest& request = node.front();
    HttpExchange& exchange = request.exchange;
    if (request.isAborted()) {
      exchange = {
          .outcome = HttpOutcome::aborted, .address = std::move(exchange.address), .bytesSent = exchange.bytesSent};
      request.content = {};
    }
    using std::chrono::milliseconds;
    exchange.elapsed = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - request.start);
    status_ = exchange.status;
    content_ = std::move(request.content);
    logOutcome(request);
    if (shared_->onExchange) shared_->onExchange(exchange);
    const Report report(*this, request);
    // Last: the handlers may destroy this transaction, and its client.
    shared_->notifications.postNotificationName(notificationOf(exchange.outcome),
                                                static_cast<const HttpTransaction*>(this));
  }

  void logRequest(const HttpRequest& request, int method, std::size_t bytes) const {
    if (!log_) return;
    const std::string& address = request.exchange.address;
    log_->writeLogToFileWithInfo(kLogInfo, kLogLevel, kRequestLine,
                                 {session_, std::to_string(request.number),
                                  method == kHttpMethodPost ? "POST" : "method " + std::to_string(method),
                                  address.empty() ? "(no usable address)" : address, std::to_string(bytes)});
  }

  void logOutcome(const HttpRequest& request) const {
    if (!log_) return;
    const HttpExchange& exchange = request.exchange;
    log_->writeLogToFileWithInfo(kLogInfo, kLogLevel, kOutcomeLine,
                                 {session_, std::to_string(request.number), textOf(exchange),
                                  std::to_string(exchange.elapsed.count()), std::to_string(exchange.bytesReceived)});
  }

  const std::weak_ptr<HttpEngine> engine_;
  const std::shared_ptr<Shared> shared_;
  const std::shared_ptr<HttpOwnerLink> link_;

  std::string session_;
  std::unique_ptr<LogFile> log_;

  std::uint64_t lastNumber_ = 0;
  std::size_t running_ = 0;
  int status_ = 0;
  std::string content_;
  HttpRequest* ended_ = nullptr;  // whose notification is being posted
};

HttpClient::HttpClient(MainThread& mainThread, NotificationCenter& notifications, LogFileFactory& logFiles,
                       HttpOptions options, HttpExchangeObserver onExchange)
    : mainThread_(mainThread),
      shared_(std::make_shared<Shared>(Shared{notifications, logFiles, std::move(options), std::move(onExchange)})) {}

HttpClient::~HttpClient() = default;

std::unique_ptr<HttpTransaction> HttpClient::makeTransaction() try {
  const std::lock_guard lock(engineMutex_);
  if (isStopped_) return nullptr;
  if (!engine_) engine_ = std::make_shared<HttpEngine>(mainThread_, shared_->options);
  return std::make_unique<Transaction>(engine_, shared_);
} catch (const std::runtime_error&) {
  return nullptr;
}

void HttpClient::stop() {
  const std::lock_guard lock(engineMutex_);
  isStopped_ = true;
  engine_.reset();
}

std::size_t HttpClient::requestsUnderWay() const { return isStopped_ ? 0 : shared_->requestsUnderWay; }

}  // namespace sqm::platform
