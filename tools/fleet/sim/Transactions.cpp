#include "tools/fleet/sim/Transactions.h"

#include <optional>
#include <stdexcept>
#include <string>

#include "sqm/upload/internal/UploadChannel.h"

namespace fleet {

class Transactions::Transaction final : public sqm::HttpTransaction {
 public:
  explicit Transaction(Transactions& factory) : factory_(factory) {}
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() override {
    if (shared_) --factory_.underWay_;
  }

  void setEncoding(int /*encoding*/) override {}
  void startSession(std::string_view /*session*/, std::string_view /*logFile*/) override {}

  void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) override {
    status_ = 0;
    shared_ = factory_.shared_.httpTransactions->makeTransaction();
    if (!shared_) throw std::runtime_error("the HTTP client cannot start its thread");
    registrations_ =
        sqm::observeTransaction(*factory_.shared_.notificationCenter, *shared_,
                                [this](const sqm::Notification& notification) { ended(notification.name); });
    ++factory_.underWay_;
    shared_->sendHttpRequest(url, withMethod, std::move(data));
  }

  void abortTransaction() override {
    if (shared_) shared_->abortTransaction();
  }

  int httpResponseStatusCode() const override { return status_; }
  std::string_view httpResponseContent() const override { return {}; }

 private:
  void ended(std::string_view outcome) {
    // Both are released at the end: a handler may start the next request meanwhile.
    const auto shared = std::move(shared_);
    const auto registrations = std::move(registrations_);
    --factory_.underWay_;
    const bool isAnswered = outcome == sqm::TrelkHttpTransactionCompletedNotification;
    if (isAnswered) {
      status_ = shared->httpResponseStatusCode();
      const std::string url(shared->endedRequest().url);
      factory_.onAnswer_({status_, url, shared->takeRequestBody().value_or("")});
    }
    factory_.own_.postNotificationName(outcome, static_cast<const sqm::HttpTransaction*>(this));
    if (factory_.underWay_ == 0) factory_.onIdle_(isAnswered);
  }

  Transactions& factory_;
  std::unique_ptr<sqm::HttpTransaction> shared_;  // while a request is under way
  sqm::TransactionRegistrations registrations_;
  int status_ = 0;
};

std::unique_ptr<sqm::HttpTransaction> Transactions::makeTransaction() { return std::make_unique<Transaction>(*this); }

}  // namespace fleet
