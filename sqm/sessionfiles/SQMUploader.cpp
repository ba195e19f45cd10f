#include "sqm/sessionfiles/SQMUploader.h"

#include <utility>

#include "sqm/common/Format.h"
#include "sqm/common/HttpTransaction.h"
#include "sqm/upload/SQMUploadNotifications.h"
#include "sqm/upload/internal/TransactionRegistrations.h"
#include "sqm/upload/internal/UploadLog.h"

namespace sqm {

namespace {

constexpr int kSuccess = 200;  // the one status that counts as such: 201 and 204 do not

}  // namespace

std::unique_ptr<SQMUploader> SQMUploader::create(Host& host) {
  auto transaction = host.httpTransactions->makeTransaction();
  if (!transaction) return nullptr;
  std::unique_ptr<SQMUploader> uploader(new SQMUploader(host, std::move(transaction)));
  uploader->mSQMUpdateLog_ = UploadLog::open(host);
  return uploader->mSQMUpdateLog_ ? std::move(uploader) : nullptr;
}

SQMUploader::SQMUploader(Host& host, std::unique_ptr<HttpTransaction> transaction)
    : host_(host), mHttpTransObj_(std::move(transaction)), mSQMStore_(host) {
  mHttpTransObj_->startSession("", "SQMHttp.log");
  registrations_ = observeTransaction(*host_.notificationCenter, *mHttpTransObj_,
                                      [this](const Notification& notification) { httpStatus(notification); });
}

SQMUploader::~SQMUploader() = default;

void SQMUploader::startSend() {
  mStatus_ = Status::reading;
  std::string body = mSQMStore_.getDataFromSQMRec();
  mSQMUpdateLog_->write("startSend***started sending data to server:%@", {mSQMLoadUrl_ ? *mSQMLoadUrl_ : kNullText});
  mSQMUpdateLog_->writeData(body);
  post(std::move(body));
}

void SQMUploader::post(std::string body) {
  mHttpTransObj_->sendHttpRequest(mSQMLoadUrl_, kHttpMethodPost, std::move(body));
  mStatus_ = Status::sending;
}

void SQMUploader::abortSend() {
  if (mStatus_ == Status::sending) mHttpTransObj_->abortTransaction();
}

void SQMUploader::httpStatus(const Notification& notification) {
  mSQMUpdateLog_->writeNotification(notification);
  if (notification.name == TrelkHttpTransactionCompletedNotification) {
    const int status = mHttpTransObj_->httpResponseStatusCode();
    if (status == kSuccess) {
      continueAfterSuccess();
    } else {
      mSQMUpdateLog_->write("httpStatus : transaction recieved error response %d", {std::to_string(status)});
      finish(Status::failed, TrelkSQMUploadError);
    }
  } else if (isTransactionFailure(notification)) {
    mSQMUpdateLog_->write("httpStatus***upload error");
    finish(Status::failed, TrelkSQMUploadError);
  }
  // An aborted upload ends here: nobody is told, and the status stays `sending`.
}

void SQMUploader::continueAfterSuccess() {
  mSQMStore_.deleteSQMRecord();
  std::string body = mSQMStore_.getDataFromSQMRec();
  if (body.empty()) {
    mSQMUpdateLog_->write("httpStatus***Completed upload");
    finish(Status::completed, TrelkSQMUploadComplete);
  } else {
    mSQMUpdateLog_->write("httpStatus***posting next record");
    post(std::move(body));
  }
}

/// The last step of a handler: an observer may destroy the uploader.
void SQMUploader::finish(Status status, std::string_view outcome) {
  mStatus_ = status;
  host_.notificationCenter->postNotificationName(outcome, this);
}

}  // namespace sqm
