#include "sqm/delivery/Outcomes.h"

#include <array>
#include <new>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "sqm/common/NotificationCenter.h"
#include "sqm/delivery/RefusedBodies.h"

namespace sqm::delivery {

namespace {

/// The outcomes of the statuses from `first` to `last`. Every other status refuses the body.
struct Row {
  int first;
  int last;
  Outcome outcome;
  Outcome unproven;  // without the proof that was asked for
};

constexpr Row kRows[] = {
    {0, 0, Outcome::retry, Outcome::retry},       {200, 299, Outcome::delivered, Outcome::retry},
    {300, 399, Outcome::refused, Outcome::retry},  // captive portals redirect to their page
    {408, 408, Outcome::retry, Outcome::retry},    // Request Timeout
    {425, 425, Outcome::retry, Outcome::retry},    // Too Early
    {429, 429, Outcome::retry, Outcome::retry},    // Too Many Requests
    {500, 599, Outcome::retry, Outcome::retry},
};

bool isProven(const Proof& proof, const HttpTransaction& transaction) {
  if (!proof.header.empty()) {
    const auto value = transaction.httpResponseHeader(proof.header);
    if (!value || (!proof.value.empty() && *value != proof.value)) return false;
  }
  return transaction.httpResponseContent().find(proof.text) != std::string_view::npos;
}

constexpr std::array kNotifications = {TrelkHttpTransactionCompletedNotification, TrelkHttpTransactionErrorNotification,
                                       TrelkHttpTransactionTimeOutNotification,
                                       TrelkHttpTransactionAbortedNotification};

std::string_view reasonOf(const Delivery& delivery, const Answer& answer, const Notification& notification,
                          const EndedRequest& request, bool maySend) {
  if (delivery.outcome == Outcome::delivered) return {};
  if (delivery.outcome == Outcome::refused) return "it is refused";
  if (!answer.isProven) return "the response lacks the proof that it is the server's";
  if (answer.status != 0) return "it is to be sent again later";
  if (!maySend) return "sending is not allowed";
  if (notification.name == TrelkHttpTransactionAbortedNotification) return "aborted";
  if (notification.name == TrelkHttpTransactionTimeOutNotification && request.reason.empty()) return "time-out";
  return request.reason;
}

}  // namespace

Outcome outcomeOf(Accept accept, const Answer& answer) {
  if (accept == Accept::anyStatus) return answer.status == 0 ? Outcome::retry : Outcome::delivered;
  for (const Row& row : kRows) {
    if (answer.status < row.first || answer.status > row.last) continue;
    return answer.isProven ? row.outcome : row.unproven;
  }
  return Outcome::refused;
}

/// Used by the transactions, which may outlive the factory.
struct OutcomeTransactions::Shared {
  NotificationCenter& notifications;
  RefusedBodies* refused;
  OutcomeRules rules;
  DeliveryObserver onDelivery;
  bool maySend = true;
  std::optional<Outcome> reported = {};
  std::vector<Transaction*> senders = {};  // the transactions that have sent something
};

class OutcomeTransactions::Transaction final : public HttpTransaction {
 public:
  Transaction(std::unique_ptr<HttpTransaction> sender, std::shared_ptr<Shared> shared)
      : sender_(std::move(sender)), shared_(std::move(shared)) {}
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() override {
    if (isObserving_) std::erase(shared_->senders, this);
  }

  void setEncoding(int encoding) override { sender_->setEncoding(encoding); }
  void startSession(std::string_view session, std::string_view logFile) override {
    sender_->startSession(session, logFile);
  }

  void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) override {
    if (!isObserving_) observe();
    shownStatus_ = 0;
    // A request without an address is not sent, and fails.
    sender_->sendHttpRequest(shared_->maySend ? url : std::nullopt, withMethod, std::move(data));
  }

  void abortTransaction() override { sender_->abortTransaction(); }
  int httpResponseStatusCode() const override { return shownStatus_; }
  std::string_view httpResponseContent() const override {
    return shownStatus_ == 0 ? std::string_view() : sender_->httpResponseContent();
  }
  EndedRequest endedRequest() const override { return sender_->endedRequest(); }
  std::optional<std::string> takeRequestBody() override { return sender_->takeRequestBody(); }
  std::optional<std::string_view> httpResponseHeader(std::string_view name) const override {
    return sender_->httpResponseHeader(name);
  }

 private:
  /// Says what is being reported while the handlers run.
  class Reported {
   public:
    Reported(std::shared_ptr<Shared> shared, Outcome outcome)
        : shared_(std::move(shared)), before_(std::exchange(shared_->reported, outcome)) {}
    Reported(const Reported&) = delete;
    Reported& operator=(const Reported&) = delete;
    ~Reported() { shared_->reported = before_; }

   private:
    const std::shared_ptr<Shared> shared_;
    const std::optional<Outcome> before_;
  };

  /// Not in the constructor: only a transaction that has sent something is destroyed on the main thread, on which
  /// observers must be removed.
  void observe() {
    for (std::size_t at = 0; at < kNotifications.size(); ++at) {
      registrations_[at] = shared_->notifications.addObserver(
          kNotifications[at], sender_.get(), [this](const Notification& notification) { ended(notification); });
    }
    shared_->senders.push_back(this);
    isObserving_ = true;
  }

  void ended(const Notification& notification) {
    const bool isCompleted = notification.name == TrelkHttpTransactionCompletedNotification;
    const OutcomeRules& rules = shared_->rules;
    const Answer answer = {isCompleted ? sender_->httpResponseStatusCode() : 0,
                           !isCompleted || isProven(rules.proof, *sender_)};
    const EndedRequest request = sender_->endedRequest();
    Delivery delivery = {.outcome = outcomeOf(rules.accept, answer),
                         .status = answer.status,
                         .retryAfter = request.retryAfter,
                         .address = request.shownAs,
                         .bytes = request.bytes};
    delivery.reason = reasonOf(delivery, answer, notification, request, shared_->maySend);
    std::string problem;
    if (delivery.outcome == Outcome::refused && !keepBody(request.url, answer.status, problem)) {
      delivery.outcome = Outcome::retry;
      delivery.reason = problem;
    }
    const bool isDone = delivery.outcome != Outcome::retry;
    if (isDone) delivery.shownStatus = rules.accept == Accept::anyStatus ? answer.status : kHttpStatusOk;
    shownStatus_ = delivery.shownStatus;
    if (shared_->onDelivery) shared_->onDelivery(delivery);
    const Reported reported(shared_, delivery.outcome);
    // Last: the handlers may destroy this transaction.
    shared_->notifications.postNotificationName(
        isCompleted && !isDone ? TrelkHttpTransactionErrorNotification : notification.name,
        static_cast<const HttpTransaction*>(this));
  }

  bool keepBody(std::string_view url, int status, std::string& problem) {
    problem = "no folder";  // short enough for the string itself
    if (shared_->refused == nullptr) return false;
    try {
      problem = "the transaction does not keep it";
      const auto body = sender_->takeRequestBody();
      if (!body) return false;
      const std::error_code error = shared_->refused->keep(url, status, *body);
      if (error) problem = "it is refused, and cannot be kept: " + error.message();
      return !error;
    } catch (const std::bad_alloc&) {
      problem = "out of memory";
      return false;
    }
  }

  const std::unique_ptr<HttpTransaction> sender_;
  const std::shared_ptr<Shared> shared_;
  bool isObserving_ = false;
  int shownStatus_ = 0;
  std::array<NotificationCenter::Registration, kNotifications.size()> registrations_;
};

OutcomeTransactions::OutcomeTransactions(HttpTransactionFactory& sender, NotificationCenter& notifications,
                                         RefusedBodies* refused, OutcomeRules rules, DeliveryObserver onDelivery)
    : sender_(sender),
      shared_(std::make_shared<Shared>(Shared{notifications, refused, std::move(rules), std::move(onDelivery)})) {}

std::optional<Outcome> OutcomeTransactions::reported() const { return shared_->reported; }

void OutcomeTransactions::setMaySend(bool maySend) {
  shared_->maySend = maySend;
  if (maySend) return;
  for (Transaction* sender : std::vector(shared_->senders)) sender->abortTransaction();
}

std::unique_ptr<HttpTransaction> OutcomeTransactions::makeTransaction() {
  auto sender = sender_.makeTransaction();
  if (!sender) return nullptr;
  return std::make_unique<Transaction>(std::move(sender), shared_);
}

}  // namespace sqm::delivery
