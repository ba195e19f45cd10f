#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "sqm/common/Host.h"
#include "sqm/common/HttpTransaction.h"
#include "sqm/common/NotificationCenter.h"

namespace fleet {

/// A request that was answered.
struct Answer {
  int status;
  std::string_view url;
  std::string_view body;  ///< of the request
};

/// The HTTP service of one client. A request is one of the HTTP client that many share; a client without a request
/// under way has nothing there, so that a hundred thousand of them are no burden to it.
///
/// Ownership: everything is borrowed. The observers are called on the main thread.
class Transactions : public sqm::HttpTransactionFactory {
 public:
  using AnswerObserver = std::function<void(const Answer&)>;
  /// Called when no request is under way any more. `isDelivered`: the last one was answered.
  using IdleObserver = std::function<void(bool isDelivered)>;

  /// `shared` sends, and posts its outcomes to its own center; outcomes are posted again to `own`.
  Transactions(const sqm::Host& shared, sqm::NotificationCenter& own, const AnswerObserver& onAnswer,
               IdleObserver onIdle)
      : shared_(shared), own_(own), onAnswer_(onAnswer), onIdle_(std::move(onIdle)) {}

  std::unique_ptr<sqm::HttpTransaction> makeTransaction() override;
  std::size_t requestsUnderWay() const override { return underWay_; }

 private:
  class Transaction;

  const sqm::Host& shared_;
  sqm::NotificationCenter& own_;
  const AnswerObserver& onAnswer_;
  IdleObserver onIdle_;
  std::size_t underWay_ = 0;
};

}  // namespace fleet
