#pragma once

#include <array>

#include "sqm/common/NotificationCenter.h"

namespace sqm {

class HttpTransaction;

/// An observer of one transaction's four outcomes.
using TransactionRegistrations = std::array<NotificationCenter::Registration, 4>;

/// Calls `handler` for every outcome of this transaction, and of no other.
[[nodiscard]] TransactionRegistrations observeTransaction(NotificationCenter& center,
                                                          const HttpTransaction& transaction,
                                                          const NotificationCenter::Handler& handler);

/// True for the outcomes without a response that the transaction did not choose: an error, a time-out.
bool isTransactionFailure(const Notification& outcome);

}  // namespace sqm
