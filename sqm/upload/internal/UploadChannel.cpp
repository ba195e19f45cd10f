#include "sqm/upload/internal/UploadChannel.h"

#include "sqm/common/Format.h"

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

bool UploadChannel::open(const Session& session, const NotificationCenter::Handler& onOutcome) {
  transaction_ = host_.httpTransactions->makeTransaction();
  if (!transaction_) return false;
  if (session.encoding) transaction_->setEncoding(*session.encoding);
  transaction_->startSession(session.name, "SQMHttp.log");
  registrations_ = observeTransaction(*host_.notificationCenter, *transaction_, onOutcome);
  log_ = host_.logFiles->initWithFile("SQMUploadlog.log", kLogLevel);
  return log_ != nullptr;
}

void UploadChannel::log(std::string_view format, std::initializer_list<std::string_view> arguments) {
  if (log_) log_->writeLogToFileWithInfo("DEBUG", kLogLevel, format, arguments);
}

void UploadChannel::logStart(std::string_view format, std::optional<std::string_view> url, std::string_view data) {
  log(format, {url.value_or(kNullText)});
  log("startSend*** SQM Data:%@", {data});
}

void UploadChannel::logNotification(const Notification& notification) {
  log("httpStatus***notification recieved :%@", {notification.name});
}

}  // namespace sqm
