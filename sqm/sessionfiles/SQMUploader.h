#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/sessionfiles/SQMStore.h"

namespace sqm {

class UploadChannel;
struct Notification;

/// Posts the `.sqm` files of one folder to one address as one body. After a response of 200 it deletes them and posts
/// what is in the folder by then, until that is nothing. The outcome is posted as `TrelkSQMUploadComplete` or
/// `TrelkSQMUploadError`.
///
/// Any other status, an error and a time-out leave the files for a later `startSend`. An abort posts nothing. Files
/// written while a body is being sent are deleted with those that were sent. Files that cannot be deleted are posted
/// again after every success, until `abortSend`.
///
/// Threading: the main thread, on which the notifications are posted too. An observer may destroy the uploader.
class SQMUploader {
 public:
  enum class Status : std::int32_t { neverStarted = 0, reading = 1, sending = 2, failed = 3, completed = 4 };

  /// Null when the host gives no transaction or no log file.
  static std::unique_ptr<SQMUploader> create(Host& host);

  SQMUploader(const SQMUploader&) = delete;
  SQMUploader& operator=(const SQMUploader&) = delete;
  ~SQMUploader();

  void setSQMUploadUrl(std::optional<std::string_view> url) { mSQMLoadUrl_ = url; }
  const std::optional<std::string>& sqmUploadUrl() const { return mSQMLoadUrl_; }

  void setSQMDirPath(std::optional<std::string_view> folder) { mSQMStore_.setSQMDirPath(folder); }
  const std::optional<std::string>& SQMDirPath() const { return mSQMStore_.SQMDirPath(); }

  /// Posts what the folder holds, an empty body included. Does not check whether an upload is being sent: a second one
  /// is sent beside it.
  void startSend();

  /// Aborts the upload in the status `sending`, which stays; does nothing in the others.
  void abortSend();

  std::int16_t getActivityStatus() const { return static_cast<std::int16_t>(mStatus_); }

  /// Acts on the outcome of the transaction. Called by the notification center.
  void httpStatus(const Notification& notification);

 private:
  explicit SQMUploader(Host& host);

  void post(std::string body);
  void continueAfterSuccess();
  void finish(Status status, std::string_view outcome);

  Host& host_;
  Status mStatus_ = Status::neverStarted;
  std::optional<std::string> mSQMLoadUrl_;
  SQMStore mSQMStore_;
  std::unique_ptr<UploadChannel> channel_;
};

}  // namespace sqm
