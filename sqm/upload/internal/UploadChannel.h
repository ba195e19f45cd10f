#pragma once

#include <array>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/common/HttpTransaction.h"
#include "sqm/common/LogFile.h"
#include "sqm/common/NotificationCenter.h"

namespace sqm {

/// The registrations of one observer for the four outcomes of a transaction.
using TransactionRegistrations = std::array<NotificationCenter::Registration, 4>;

/// Calls `handler` for the outcomes of this transaction only.
[[nodiscard]] TransactionRegistrations observeTransaction(NotificationCenter& center,
                                                          const HttpTransaction& transaction,
                                                          const NotificationCenter::Handler& handler);

/// True for an error and a time-out.
bool isTransactionFailure(const Notification& outcome);

/// The transaction, the registrations and the log of one uploader, and the log lines that both uploaders write.
class UploadChannel {
 public:
  struct Session {
    std::string_view name;
    std::optional<int> encoding = {};  ///< not set when absent
  };

  explicit UploadChannel(Host& host) : host_(host) {}

  /// Makes the transaction, sets it up, registers `onOutcome` for its outcomes, and opens the log, in this order. False
  /// when the host gives no transaction or no log.
  bool open(const Session& session, const NotificationCenter::Handler& onOutcome);

  HttpTransaction& transaction() { return *transaction_; }

  void log(std::string_view format, std::initializer_list<std::string_view> arguments = {});
  /// The two lines before a post; `format` takes the address.
  void logStart(std::string_view format, std::optional<std::string_view> url, std::string_view data);
  void logNotification(const Notification& notification);

 private:
  Host& host_;
  std::unique_ptr<HttpTransaction> transaction_;
  std::unique_ptr<LogFile> log_;  // null while it is being opened, when an outcome can already arrive
  TransactionRegistrations registrations_;
};

}  // namespace sqm
