#include "sqm/sessionfiles/SQMUploader.h"

#include <utility>

#include "sqm/common/HttpTransaction.h"
#include "sqm/upload/SQMUploadNotifications.h"
#include "sqm/upload/internal/UploadChannel.h"

namespace sqm {

std::unique_ptr<SQMUploader> SQMUploader::create(Host& host) {
  std::unique_ptr<SQMUploader> uploader(new SQMUploader(host));
  const auto handler = [self = uploader.get()](const Notification& notification) { self->httpStatus(notification); };
  return uploader->channel_->open({.name = ""}, handler) ? std::move(uploader) : nullptr;
}

SQMUploader::SQMUploader(Host& host) : host_(host), mSQMStore_(host), channel_(std::make_unique<UploadChannel>(host)) {}

SQMUploader::~SQMUploader() = default;

void SQMUploader::startSend() {
  mStatus_ = Status::reading;
  std::string body = mSQMStore_.getDataFromSQMRec();
  channel_->logStart("startSend***started sending data to server:%@", mSQMLoadUrl_, body);
  post(std::move(body));
}

void SQMUploader::post(std::string body) {
  channel_->transaction().sendHttpRequest(mSQMLoadUrl_, kHttpMethodPost, std::move(body));
  mStatus_ = Status::sending;
}

void SQMUploader::abortSend() {
  if (mStatus_ == Status::sending) channel_->transaction().abortTransaction();
}

void SQMUploader::httpStatus(const Notification& notification) {
  channel_->logNotification(notification);
  if (notification.name == TrelkHttpTransactionCompletedNotification) {
    const int status = channel_->transaction().httpResponseStatusCode();
    if (status == kHttpStatusOk) {
      continueAfterSuccess();
    } else {
      channel_->log("httpStatus : transaction recieved error response %d", {std::to_string(status)});
      finish(Status::failed, TrelkSQMUploadError);
    }
  } else if (isTransactionFailure(notification)) {
    channel_->log("httpStatus***upload error");
    finish(Status::failed, TrelkSQMUploadError);
  }
  // An aborted upload posts nothing, and the status stays `sending`.
}

void SQMUploader::continueAfterSuccess() {
  mSQMStore_.deleteSQMRecord();
  std::string body = mSQMStore_.getDataFromSQMRec();
  if (body.empty()) {
    channel_->log("httpStatus***Completed upload");
    finish(Status::completed, TrelkSQMUploadComplete);
  } else {
    channel_->log("httpStatus***posting next record");
    post(std::move(body));
  }
}

/// The last step of a handler, because an observer may destroy the uploader.
void SQMUploader::finish(Status status, std::string_view outcome) {
  mStatus_ = status;
  host_.notificationCenter->postNotificationName(outcome, this);
}

}  // namespace sqm
