#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"

namespace sqm {

class UploadChannel;
struct Notification;

/// Posts one document to one address, and posts `TrelkSQMUploadSuccess` or `TrelkSQMUploadFailure` when the exchange
/// has ended. A completed exchange is a success, whatever the status of the response. An abort posts nothing.
///
/// One upload at a time: the caller waits for the outcome. Nothing is queued or sent again.
///
/// Threading: the main thread, on which the notifications are posted too. An observer may destroy the agent.
class SQMUpdaterAgent {
 public:
  enum class Status : std::int32_t { idle = 0, sending = 1, succeeded = 2 };

  /// Null when the host gives no transaction or no log file.
  static std::unique_ptr<SQMUpdaterAgent> create(Host& host);

  SQMUpdaterAgent(const SQMUpdaterAgent&) = delete;
  SQMUpdaterAgent& operator=(const SQMUpdaterAgent&) = delete;
  ~SQMUpdaterAgent();

  /// An address for callers to read back. Uploads do not use it.
  void setSQMUploadUrl(std::optional<std::string_view> url);
  const std::optional<std::string>& sqmUploadUrl() const { return mSQMLoadUrl_; }

  /// Posts the document; does nothing when it is absent. An absent address is passed on: the transaction then fails.
  void startUploadToURL(std::optional<std::string_view> url, std::optional<std::string> withData);

  /// Aborts the upload in the state `sending`; does nothing in the others.
  void abortSend();

  /// `idle` before the first upload and after a failure, `sending` also after an abort. Set after the outcome has been
  /// posted: an upload that an observer starts meanwhile shows the status of the one before it.
  Status uploadStatus() const { return mUploadStatus_; }

  /// Acts on the outcome of the transaction. Called by the notification center.
  void httpStatus(const Notification& notification);

 private:
  explicit SQMUpdaterAgent(Host& host);

  void finish(std::string_view outcome, Status status);

  Host& host_;
  std::optional<std::string> mSQMLoadUrl_;
  Status mUploadStatus_ = Status::idle;
  std::unique_ptr<UploadChannel> channel_;
  std::shared_ptr<const bool> lifetime_ = std::make_shared<const bool>(true);  // expires when an observer destroys it
};

}  // namespace sqm
