#pragma once

#include <array>

#include "sqm/common/NotificationCenter.h"

namespace sqm {

class HttpTransaction;

/// The registrations of one observer for the four outcomes of a transaction.
using TransactionRegistrations = std::array<NotificationCenter::Registration, 4>;

/// Calls `handler` for the outcomes of this transaction only.
[[nodiscard]] TransactionRegistrations observeTransaction(NotificationCenter& center,
                                                          const HttpTransaction& transaction,
                                                          const NotificationCenter::Handler& handler);

/// True for an error and a time-out.
bool isTransactionFailure(const Notification& outcome);

}  // namespace sqm
