#include "sqm/upload/internal/TransactionRegistrations.h"

#include "sqm/common/HttpTransaction.h"

namespace sqm {

TransactionRegistrations observeTransaction(NotificationCenter& center, const HttpTransaction& transaction,
                                            const NotificationCenter::Handler& handler) {
  return {center.addObserver(TrelkHttpTransactionCompletedNotification, &transaction, handler),
          center.addObserver(TrelkHttpTransactionErrorNotification, &transaction, handler),
          center.addObserver(TrelkHttpTransactionTimeOutNotification, &transaction, handler),
          center.addObserver(TrelkHttpTransactionAbortedNotification, &transaction, handler)};
}

bool isTransactionFailure(const Notification& outcome) {
  return outcome.name == TrelkHttpTransactionErrorNotification ||
         outcome.name == TrelkHttpTransactionTimeOutNotification;
}

}  // namespace sqm
