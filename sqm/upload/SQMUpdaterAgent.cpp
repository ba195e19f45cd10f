#include "sqm/upload/SQMUpdaterAgent.h"

#include <utility>

#include "sqm/common/Format.h"
#include "sqm/common/HttpTransaction.h"
#include "sqm/upload/SQMUploadNotifications.h"
#include "sqm/upload/internal/TransactionRegistrations.h"
#include "sqm/upload/internal/UploadLog.h"

namespace sqm {

std::unique_ptr<SQMUpdaterAgent> SQMUpdaterAgent::create(Host& host) {
  auto transaction = host.httpTransactions->makeTransaction();
  if (!transaction) return nullptr;
  std::unique_ptr<SQMUpdaterAgent> agent(new SQMUpdaterAgent(host, std::move(transaction)));
  agent->mSQMUpdateLog_ = UploadLog::open(host);
  return agent->mSQMUpdateLog_ ? std::move(agent) : nullptr;
}

SQMUpdaterAgent::SQMUpdaterAgent(Host& host, std::unique_ptr<HttpTransaction> transaction)
    : host_(host), mHttpTransObj_(std::move(transaction)) {
  mHttpTransObj_->setEncoding(0);
  mHttpTransObj_->startSession("TrelkConnect", "SQMHttp.log");
  registrations_ = observeTransaction(*host_.notificationCenter, *mHttpTransObj_,
                                      [this](const Notification& notification) { httpStatus(notification); });
}

SQMUpdaterAgent::~SQMUpdaterAgent() = default;

void SQMUpdaterAgent::setSQMUploadUrl(std::optional<std::string_view> url) { mSQMLoadUrl_ = url; }

void SQMUpdaterAgent::startUploadToURL(std::optional<std::string_view> url, std::optional<std::string> withData) {
  if (!withData) return;
  mSQMUpdateLog_->write("startSend***started sending data to server: %@", {url.value_or(kNullText)});
  mSQMUpdateLog_->writeData(*withData);
  mHttpTransObj_->sendHttpRequest(url, kHttpMethodPost, *std::move(withData));
  mUploadStatus_ = Status::sending;
}

void SQMUpdaterAgent::abortSend() {
  if (mUploadStatus_ == Status::sending) mHttpTransObj_->abortTransaction();
}

void SQMUpdaterAgent::httpStatus(const Notification& notification) {
  mSQMUpdateLog_->writeNotification(notification);
  if (notification.name == TrelkHttpTransactionCompletedNotification) {
    mSQMUpdateLog_->writeNotification(notification);  // a completed exchange is logged twice
    finish(TrelkSQMUploadSuccess, Status::succeeded);
  } else if (isTransactionFailure(notification)) {
    finish(TrelkSQMUploadFailure, Status::idle);
  }
  // An aborted upload ends here: nobody is told, and the state stays `sending`.
}

void SQMUpdaterAgent::finish(std::string_view outcome, Status status) {
  const std::weak_ptr<const bool> lifetime = lifetime_;
  host_.notificationCenter->postNotificationName(outcome, this);
  if (!lifetime.expired()) mUploadStatus_ = status;
}

}  // namespace sqm
