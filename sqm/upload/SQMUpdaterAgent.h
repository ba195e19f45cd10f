#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"

namespace sqm {

class HttpTransaction;
class UploadLog;

/// Posts one document to one address, and tells the outcome by `TrelkSQMUploadSuccess` or `TrelkSQMUploadFailure`.
///
/// It carries one upload at a time, which is the caller's to see to, and neither queues nor retries. A completed
/// exchange is a success, whatever the status of the response. An abort is told to nobody.
///
/// Threading: the main thread, on which the notifications are posted too.
class SQMUpdaterAgent {
 public:
  enum class Status : std::int32_t { idle = 0, sending = 1, succeeded = 2 };

  /// A new agent; null when the host gives it no transaction or no log file.
  static std::unique_ptr<SQMUpdaterAgent> create(Host& host);

  SQMUpdaterAgent(const SQMUpdaterAgent&) = delete;
  SQMUpdaterAgent& operator=(const SQMUpdaterAgent&) = delete;
  ~SQMUpdaterAgent();

  /// An address that is kept for callers to read back; `startUploadToURL` takes its own.
  void setSQMUploadUrl(std::optional<std::string_view> url);
  const std::optional<std::string>& sqmUploadUrl() const { return mSQMLoadUrl_; }

  /// Posts the document. An absent one is passed over; an absent address is the transaction's to report.
  void startUploadToURL(std::optional<std::string_view> url, std::optional<std::string> withData);

  /// Gives the upload up in the state `sending`, and does nothing in the others.
  void abortSend();

  /// What became of the last upload: `idle` before the first and after a failure; after an abort still `sending`. It is
  /// set after the outcome has been posted, so an upload that an observer starts then is `succeeded` from the
  /// beginning.
  Status uploadStatus() const { return mUploadStatus_; }

 private:
  SQMUpdaterAgent(Host& host, std::unique_ptr<HttpTransaction> transaction);

  void httpStatus(const Notification& notification);
  void finish(std::string_view outcome, Status status);

  Host& host_;
  std::unique_ptr<HttpTransaction> mHttpTransObj_;
  std::optional<std::string> mSQMLoadUrl_;
  std::unique_ptr<UploadLog> mSQMUpdateLog_;
  Status mUploadStatus_ = Status::idle;
  std::array<NotificationCenter::Registration, 4> registrations_;
  std::shared_ptr<const bool> lifetime_ = std::make_shared<const bool>(true);  // for telling that an observer ended it
};

}  // namespace sqm
