#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/sessionfiles/SQMStore.h"

namespace sqm {

class HttpTransaction;
class UploadLog;

/// Sends the `.sqm` files of one folder to one address, as one body, and deletes them when the server has answered 200;
/// then whatever is in the folder by that time, until it holds nothing. The outcome is told by `TrelkSQMUploadComplete`
/// or `TrelkSQMUploadError`.
///
/// Any other status, an error and a time-out leave the files for a later `startSend`. An abort is told to nobody. Files
/// that the application writes while a body is under way are deleted with those that were sent: write none then. Files
/// that cannot be deleted are posted again after every success, until `abortSend`.
///
/// Threading: the main thread, on which the notifications are posted too. An observer may destroy the uploader.
class SQMUploader {
 public:
  enum class Status : std::int32_t { neverStarted = 0, reading = 1, sending = 2, failed = 3, completed = 4 };

  /// A new uploader; null when the host gives it no transaction or no log file.
  static std::unique_ptr<SQMUploader> create(Host& host);

  SQMUploader(const SQMUploader&) = delete;
  SQMUploader& operator=(const SQMUploader&) = delete;
  ~SQMUploader();

  void setSQMUploadUrl(std::optional<std::string_view> url) { mSQMLoadUrl_ = url; }
  const std::optional<std::string>& sqmUploadUrl() const { return mSQMLoadUrl_; }

  void setSQMDirPath(std::optional<std::string_view> folder) { mSQMStore_.setSQMDirPath(folder); }
  const std::optional<std::string>& SQMDirPath() const { return mSQMStore_.SQMDirPath(); }

  /// Posts what the folder holds, also when that is nothing. Whether an upload is under way is the caller's to see to:
  /// a second one is sent beside it.
  void startSend();

  /// Gives the upload up while it is sending, and does nothing otherwise. The status stays `sending`.
  void abortSend();

  /// The status as a number, for polling.
  std::int16_t getActivityStatus() const { return static_cast<std::int16_t>(mStatus_); }

 private:
  SQMUploader(Host& host, std::unique_ptr<HttpTransaction> transaction);

  void post(std::string body);
  void httpStatus(const Notification& notification);
  void continueAfterSuccess();
  void finish(Status status, std::string_view outcome);

  Host& host_;
  Status mStatus_ = Status::neverStarted;
  std::optional<std::string> mSQMLoadUrl_;
  std::unique_ptr<HttpTransaction> mHttpTransObj_;
  SQMStore mSQMStore_;
  std::unique_ptr<UploadLog> mSQMUpdateLog_;
  std::array<NotificationCenter::Registration, 4> registrations_;
};

}  // namespace sqm
