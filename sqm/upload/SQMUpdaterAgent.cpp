#include "sqm/upload/SQMUpdaterAgent.h"

#include <utility>

#include "sqm/upload/SQMUploadNotifications.h"
#include "sqm/upload/internal/UploadChannel.h"

namespace sqm {

std::unique_ptr<SQMUpdaterAgent> SQMUpdaterAgent::create(Host& host) {
  std::unique_ptr<SQMUpdaterAgent> agent(new SQMUpdaterAgent(host));
  const auto handler = [self = agent.get()](const Notification& notification) { self->httpStatus(notification); };
  return agent->channel_->open({.name = "TrelkConnect", .encoding = 0}, handler) ? std::move(agent) : nullptr;
}

SQMUpdaterAgent::SQMUpdaterAgent(Host& host) : host_(host), channel_(std::make_unique<UploadChannel>(host)) {}

SQMUpdaterAgent::~SQMUpdaterAgent() = default;

void SQMUpdaterAgent::setSQMUploadUrl(std::optional<std::string_view> url) { mSQMLoadUrl_ = url; }

void SQMUpdaterAgent::startUploadToURL(std::optional<std::string_view> url, std::optional<std::string> withData) {
  if (!withData) return;
  channel_->logStart("startSend***started sending data to server: %@", url, *withData);
  channel_->transaction().sendHttpRequest(url, kHttpMethodPost, *std::move(withData));
  mUploadStatus_ = Status::sending;
}

void SQMUpdaterAgent::abortSend() {
  if (mUploadStatus_ == Status::sending) channel_->transaction().abortTransaction();
}

void SQMUpdaterAgent::httpStatus(const Notification& notification) {
  channel_->logNotification(notification);
  if (notification.name == TrelkHttpTransactionCompletedNotification) {
    channel_->logNotification(notification);  // a completed exchange is logged twice
    finish(TrelkSQMUploadSuccess, Status::succeeded);
  } else if (isTransactionFailure(notification)) {
    finish(TrelkSQMUploadFailure, Status::idle);
  }
  // An aborted upload posts nothing, and the state stays `sending`.
}

void SQMUpdaterAgent::finish(std::string_view outcome, Status status) {
  const std::weak_ptr<const bool> lifetime = lifetime_;
  host_.notificationCenter->postNotificationName(outcome, this);
  if (!lifetime.expired()) mUploadStatus_ = status;
}

}  // namespace sqm
