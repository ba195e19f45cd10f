#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/HttpTransaction.h"

namespace sqm {
class NotificationCenter;
}  // namespace sqm

namespace sqm::delivery {

class RefusedBodies;

/// Which completed exchanges count as delivered.
enum class Accept : std::uint8_t {
  anyStatus,  ///< all of them
  only2xx,    ///< those with a status from 200 to 299
};

enum class Outcome : std::uint8_t {
  delivered,  ///< the server has the body
  retry,      ///< no response, or one that asks to send the body again later
  refused,    ///< the server will never take the body
};

/// The status of an exchange. 0: there is no whole response.
struct Answer {
  int status = 0;
  bool isProven = true;  ///< false: it lacks the proof that was asked for
};

/// How an exchange with this answer ends.
Outcome outcomeOf(Accept accept, const Answer& answer);

/// What shows that a response is the server's, and not that of a captive portal, which answers any request. Each part
/// that is set must be in the response; none is required when all are empty. The standard client needs the header's
/// name in `HttpOptions::keptHeaders`; `StandardHost` adds it.
struct Proof {
  std::string header = {};  ///< the name of a header
  std::string value = {};   ///< of that header; empty: any
  std::string text = {};    ///< anywhere in the part of the body that is kept
};

/// The outcome of one exchange. The views are valid only while it is reported.
struct Delivery {
  Outcome outcome = Outcome::retry;
  int status = 0;                      ///< of the response; 0: there is none
  int shownStatus = 0;                 ///< the status that the library's classes get; 200 removes what was sent
  std::chrono::seconds retryAfter{0};  ///< the pause that the server asks for; 0: none
  std::string_view address = {};       ///< without user name and password; empty when it is not usable
  std::uint64_t bytes = 0;             ///< of the body
  std::string_view reason = {};        ///< why it was not delivered
};

/// Called for each exchange before its notification is posted, on the main thread. It must not throw, and must not use
/// or destroy transactions.
using DeliveryObserver = std::function<void(const Delivery& delivery)>;

/// What `OutcomeTransactions` does with an exchange. With `Accept::anyStatus` the other classes get the exchanges
/// unchanged.
struct OutcomeRules {
  Accept accept = Accept::only2xx;
  Proof proof = {};
};

/// Transactions by another factory, with notifications that say whether a body was delivered. With `Accept::only2xx`:
///
/// - delivered: completed, with status 200, on which the queue and the directory uploader remove what they sent;
/// - retry: the error notification (a time-out and an abort keep their own), so that what was sent stays stored;
/// - refused: the body is moved to `refused`, then as if delivered, so that the next body is sent. A body that cannot
///   be kept there is to be sent again.
///
/// Ownership: `sender`, `notifications` and `refused` must outlive the factory, and the requests of its transactions;
/// transactions may outlive them. Without `refused` (null), what a server refuses is sent again.
/// Threading: that of `sender`. A refused body is written and synced on the main thread.
class OutcomeTransactions final : public HttpTransactionFactory {
 public:
  OutcomeTransactions(HttpTransactionFactory& sender, NotificationCenter& notifications, RefusedBodies* refused,
                      OutcomeRules rules, DeliveryObserver onDelivery = {});

  /// Null when `sender` makes none.
  std::unique_ptr<HttpTransaction> makeTransaction() override;

  std::size_t requestsUnderWay() const override { return sender_.requestsUnderWay(); }

  /// The outcome of the exchange whose notification is being posted; nothing at other times.
  std::optional<Outcome> reported() const;

  /// False: nothing is sent from now on. Requests under way are aborted, and further ones end in the error
  /// notification. True: requests are sent again.
  void setMaySend(bool maySend);

 private:
  struct Shared;
  class Transaction;

  HttpTransactionFactory& sender_;
  const std::shared_ptr<Shared> shared_;
};

}  // namespace sqm::delivery
