// Transactions by an application's callbacks. The application has a handle of each request until it ends the request;
// the transaction has the request until its outcome was reported.

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/MainThread.h"

#include "faces/c/internal/Objects.h"
#include "faces/c/internal/Options.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace

namespace sqm::c {

struct CallbackHttp::Shared {
  sqm_http_service service;
  MainThread* mainThread = nullptr;
  NotificationCenter* notifications = nullptr;
  std::size_t underWay = 0;
};

namespace {

struct Header {
  std::string name;
  std::string value;
};

struct Response {
  std::string_view notification = TrelkHttpTransactionErrorNotification;
  int status = 0;
  std::string content;
  std::string reason;
  std::chrono::seconds retryAfter{0};
  std::vector<Header> headers;
};

struct Request {
  CallbackHttp::Transaction* owner = nullptr;  // null: nobody waits for the outcome
  sqm_http_request* handle = nullptr;          // null: the application has ended it, or never had it
  std::string url;
  std::string body;
  bool isAborted = false;
  Response response;
};

std::string_view notificationOf(std::int32_t outcome) {
  require(outcome >= SQM_HTTP_COMPLETED && outcome <= SQM_HTTP_TIMED_OUT, "there is no such outcome of a request");
  if (outcome == SQM_HTTP_COMPLETED) return TrelkHttpTransactionCompletedNotification;
  return outcome == SQM_HTTP_FAILED ? TrelkHttpTransactionErrorNotification : TrelkHttpTransactionTimeOutNotification;
}

/// What a request keeps of a response. Without a whole response it is a reason, and nothing else.
Response keptOf(const sqm_http_response& response) {
  Response kept;
  kept.notification = notificationOf(response.outcome);
  if (response.reason != nullptr) kept.reason = response.reason;
  if (response.outcome != SQM_HTTP_COMPLETED) return kept;
  require(response.body != nullptr || response.body_size == 0, "the body is NULL");
  require(response.headers != nullptr || response.header_count == 0, "the headers are NULL");
  kept.status = response.status;
  kept.content.assign(response.body_size == 0 ? "" : response.body, response.body_size);
  kept.retryAfter = std::chrono::seconds(std::max<std::int64_t>(response.retry_after_seconds, 0));
  for (std::size_t at = 0; at < response.header_count; ++at) {
    const sqm_http_header& header = response.headers[at];
    require(header.name != nullptr && header.value != nullptr, "a header's name or value is NULL");
    kept.headers.push_back({header.name, header.value});
  }
  return kept;
}

}  // namespace
}  // namespace sqm::c

struct sqm_http_request {
  std::shared_ptr<Request> request;
  std::weak_ptr<CallbackHttp::Shared> shared;
};

namespace sqm::c {

class CallbackHttp::Transaction final : public HttpTransaction {
 public:
  explicit Transaction(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  ~Transaction() override {
    if (ended_) ended_->owner = nullptr;
    for (const auto& request : running_) request->owner = nullptr;
    shared_->underWay -= running_.size();
    for (const auto& request : running_) tellAborted(*request);
  }

  void setEncoding(int) override {}
  void startSession(std::string_view, std::string_view) override {}

  void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) override {
    status_ = 0;
    content_.clear();
    const auto request = std::make_shared<Request>();
    request->owner = this;
    request->url = url.value_or("");
    request->body = std::move(data);
    running_.push_back(request);
    ++shared_->underWay;
    if (!url || withMethod != kHttpMethodPost) {
      request->response.reason = url ? "the method is not POST" : "there is no address";
      return report(*shared_, request);
    }
    request->handle = newHandle<sqm_http_request>([&] {
      return std::make_unique<sqm_http_request>(sqm_http_request{request, shared_});
    });
    if (request->handle == nullptr) {
      request->response.reason = "out of memory";
      return report(*shared_, request);
    }
    const sqm_http_service& service = shared_->service;
    const InService inside;
    service.send(service.context, request->handle, request->url.c_str(), request->body.data(), request->body.size());
  }

  void abortTransaction() override {
    const auto running = running_;
    for (const auto& request : running) {
      if (std::exchange(request->isAborted, true)) continue;
      if (request->handle != nullptr) report(*shared_, request);  // else the report is under way
      tellAborted(*request);
    }
  }

  int httpResponseStatusCode() const override { return status_; }
  std::string_view httpResponseContent() const override { return content_; }

  EndedRequest endedRequest() const override {
    if (!ended_) return {};
    // An address with a user name and a password is not shown.
    const bool isShown = ended_->url.find('@') == std::string::npos;
    return {.url = ended_->url,
            .shownAs = isShown ? std::string_view(ended_->url) : std::string_view(),
            .reason = ended_->response.reason,
            .bytes = ended_->body.size(),
            .retryAfter = ended_->response.retryAfter};
  }

  std::optional<std::string> takeRequestBody() override {
    return ended_ ? std::optional(std::move(ended_->body)) : std::nullopt;
  }

  std::optional<std::string_view> httpResponseHeader(std::string_view name) const override {
    if (!ended_) return std::nullopt;
    const auto& headers = ended_->response.headers;
    const auto found = std::ranges::find(headers, name, &Header::name);
    return found == headers.end() ? std::nullopt : std::optional<std::string_view>(found->value);
  }

  /// Posts the notification of a request by a later task.
  static void report(const Shared& shared, const std::shared_ptr<Request>& request) {
    shared.mainThread->post([request] {
      if (request->owner != nullptr) request->owner->requestEnded(request);
    });
  }

 private:
  void tellAborted(const Request& request) const {
    const sqm_http_service& service = shared_->service;
    if (request.handle == nullptr || service.abort == nullptr) return;
    const InService inside;
    service.abort(service.context, request.handle);
  }

  void requestEnded(const std::shared_ptr<Request>& request) {
    std::erase(running_, request);
    --shared_->underWay;
    const bool isWhole = !request->isAborted;
    status_ = isWhole ? request->response.status : 0;
    content_ = isWhole ? std::move(request->response.content) : std::string();
    ended_ = request;
    const Shared& shared = *shared_;
    shared.notifications->postNotificationName(
        isWhole ? request->response.notification : TrelkHttpTransactionAbortedNotification,
        static_cast<const HttpTransaction*>(this));
    if (request->owner != nullptr) ended_.reset();  // else a handler has destroyed this transaction
  }

  const std::shared_ptr<Shared> shared_;
  std::vector<std::shared_ptr<Request>> running_;
  std::shared_ptr<Request> ended_;  // whose notification is being posted
  int status_ = 0;
  std::string content_;
};

CallbackHttp::CallbackHttp(const sqm_http_service& service)
    : shared_(std::make_shared<Shared>(Shared{.service = service})) {}

void CallbackHttp::use(const Host& host) {
  shared_->mainThread = host.mainThread;
  shared_->notifications = host.notificationCenter;
}

std::unique_ptr<HttpTransaction> CallbackHttp::makeTransaction() { return std::make_unique<Transaction>(shared_); }

std::size_t CallbackHttp::requestsUnderWay() const { return shared_->underWay; }

}  // namespace sqm::c

sqm_status sqm_options_set_http(sqm_options* options, const sqm_http_service* service) {
  return setService(options, &sqm_options::http, service, &sqm_http_service::send, "the HTTP service has no `send`");
}

sqm_status sqm_http_request_end(sqm_http_request* request, const sqm_http_response* response) {
  return attempt([&] {
    const std::shared_ptr<Request> ended = on(request).request;
    const auto shared = request->shared.lock();
    ended->response = keptOf(known(response));
    if (shared && ended->owner != nullptr && !ended->isAborted) CallbackHttp::Transaction::report(*shared, ended);
    ended->handle = nullptr;
    destroy(request);
  });
}
