#include "sqm/platform/http/HttpClient.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/LogFile.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/platform/http/internal/HttpAddress.h"
#include "sqm/platform/http/internal/HttpEngine.h"
#include "sqm/platform/http/internal/HttpRequest.h"

namespace sqm::platform {

namespace {

constexpr std::string_view kLogInfo = "DEBUG";
constexpr int kLogLevel = 2;
constexpr std::string_view kRequestLine = "%@***request %@: %@ %@, %@ bytes";  // session, number, method, address
constexpr std::string_view kOutcomeLine = "%@***request %@: %@, %@ ms, %@ bytes";

struct OutcomeTexts {
  std::string_view notification;
  std::string_view inLog;
};

/// In the order of `HttpOutcome`.
constexpr OutcomeTexts kOutcomeTexts[] = {
    {TrelkHttpTransactionCompletedNotification, "status "},
    {TrelkHttpTransactionErrorNotification, "error: "},
    {TrelkHttpTransactionTimeOutNotification, "time-out: "},
    {TrelkHttpTransactionAbortedNotification, "aborted"},
};

/// A transaction whose requests the engine carries. Each of them comes back through `settle`, which alone posts
/// notifications.
class EngineTransaction final : public HttpTransaction, public HttpRequestOwner {
 public:
  EngineTransaction(std::weak_ptr<HttpEngine> engine, std::shared_ptr<std::size_t> underWay,
                    NotificationCenter& notifications, LogFileFactory& logFiles)
      : engine_(std::move(engine)),
        underWay_(std::move(underWay)),
        notifications_(notifications),
        logFiles_(logFiles),
        sender_(std::make_shared<HttpSender>(this)),
        spare_(1) {}
  EngineTransaction(const EngineTransaction&) = delete;
  EngineTransaction& operator=(const EngineTransaction&) = delete;

  ~EngineTransaction() override {
    EngineTransaction::abortTransaction();
    sender_->owner = nullptr;
    *underWay_ -= running_;
  }

  void setEncoding(int) override {}

  void startSession(std::string_view session, std::string_view logFile) override {
    if (engine_.expired()) return;  // the log files may have gone with it
    try {
      session_ = session;
      log_ = logFiles_.initWithFile(logFile, kLogLevel);
    } catch (...) {
      log_.reset();
    }
  }

  void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) override {
    status_ = 0;
    content_.clear();
    const auto engine = engine_.lock();
    if (!engine) return;

    HttpRequestNode node = std::exchange(spare_, {});
    try {
      if (node.empty()) node.emplace_back();
    } catch (const std::bad_alloc&) {
      return;  // beside another request only: of two at once the second is lost when the memory has run out
    }
    HttpRequest& request = node.front();
    request.sender = sender_;
    request.number = ++lastNumber_;
    request.begun = std::chrono::steady_clock::now();
    try {
      fill(request, url, withMethod, std::move(data));
    } catch (const std::bad_alloc&) {
      request.url.clear();
      request.result.reason = "no memory";
    }
    ++running_;
    ++*underWay_;
    engine->submit(std::move(node));
  }

  void abortTransaction() override {
    if (running_ == 0) return;
    sender_->abortedUpTo = lastNumber_;
    if (const auto engine = engine_.lock()) engine->lookForAborts();
  }

  int httpResponseStatusCode() const override { return status_; }
  std::string_view httpResponseContent() const override { return content_; }

 private:
  void fill(HttpRequest& request, std::optional<std::string_view> url, int method, std::string data) {
    auto address = url ? parseHttpAddress(*url) : std::nullopt;
    if (log_) {
      log_->writeLogToFileWithInfo(
          kLogInfo, kLogLevel, kRequestLine,
          {session_, std::to_string(request.number),
           method == kHttpMethodPost ? "POST" : "method " + std::to_string(method),
           address ? std::string_view(address->shownAs) : "(no usable address)", std::to_string(data.size())});
    }
    if (!address) {
      request.result.reason = url ? "the address is malformed, or not of http or https" : "there is no address";
    } else if (method != kHttpMethodPost) {
      request.result.reason = "the method is not POST";
    } else {
      request.url = std::move(address->url);
      request.body = std::move(data);
    }
  }

  void settle(HttpRequestNode node) override {
    --running_;
    --*underWay_;
    HttpRequest& request = node.front();
    HttpResult& result = request.result;
    if (request.aborted()) {
      result = {};
      result.outcome = HttpOutcome::aborted;
    }
    const OutcomeTexts& texts = kOutcomeTexts[static_cast<std::size_t>(result.outcome)];
    status_ = result.status;
    content_ = std::move(result.content);
    if (log_) tellOutcome(request, texts.inLog);
    if (spare_.empty()) {
      request = {};
      spare_ = std::move(node);
    }
    // Last: the handlers may destroy this transaction, and its client.
    notifications_.postNotificationName(texts.notification, static_cast<const HttpTransaction*>(this));
  }

  void tellOutcome(const HttpRequest& request, std::string_view outcome) try {
    const HttpResult& result = request.result;
    std::string told(outcome);
    told += result.outcome == HttpOutcome::completed ? std::to_string(result.status) : result.reason;
    const auto elapsed = std::chrono::steady_clock::now() - request.begun;
    log_->writeLogToFileWithInfo(
        kLogInfo, kLogLevel, kOutcomeLine,
        {session_, std::to_string(request.number), told,
         std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()),
         std::to_string(content_.size())});
  } catch (const std::bad_alloc&) {
    // The line is lost.
  }

  const std::weak_ptr<HttpEngine> engine_;
  const std::shared_ptr<std::size_t> underWay_;  // requests of all the client's transactions
  NotificationCenter& notifications_;
  LogFileFactory& logFiles_;
  const std::shared_ptr<HttpSender> sender_;

  std::string session_;
  std::unique_ptr<LogFile> log_;

  std::uint64_t lastNumber_ = 0;
  std::size_t running_ = 0;
  HttpRequestNode spare_;  // so that one request after another needs no memory to end in its notification
  int status_ = 0;
  std::string content_;
};

}  // namespace

HttpClient::HttpClient(MainThread& mainThread, NotificationCenter& notifications, LogFileFactory& logFiles,
                       const HttpOptions& options)
    : mainThread_(mainThread),
      notifications_(notifications),
      logFiles_(logFiles),
      options_(options),
      underWay_(std::make_shared<std::size_t>(0)) {}

HttpClient::~HttpClient() = default;

std::unique_ptr<HttpTransaction> HttpClient::makeTransaction() {
  try {
    const std::lock_guard lock(engineMutex_);
    if (!engine_) engine_ = std::make_shared<HttpEngine>(mainThread_, options_);
    return std::make_unique<EngineTransaction>(engine_, underWay_, notifications_, logFiles_);
  } catch (const std::exception&) {
    return nullptr;
  }
}

std::size_t HttpClient::requestsUnderWay() const { return *underWay_; }

}  // namespace sqm::platform
