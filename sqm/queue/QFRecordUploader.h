#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/common/SharedInstance.h"
#include "sqm/common/UploadRequest.h"

namespace sqm {

class HttpTransaction;
class KeyedCoder;
class LogFile;

/// The key under which the queue is encoded.
inline constexpr std::string_view kQFRecordData = "QFRecordData";

/// The process's queue of upload requests: first in, first out, posted one at a time, and kept in an archive file in
/// the application's folder, so that what a server has not confirmed is sent by a later process.
///
/// A request leaves the queue only when the server has answered 200, and the next one is then sent by itself. Any other
/// outcome stops the queue until `uploadRecord` is called again; nobody is told. A server may therefore get a request
/// more than once. So may it by a second `uploadRecord` while a request is under way, and then the second 200 takes
/// another request off the queue, unsent: call it only while `isIdle`.
///
/// Ownership: there is one, never destroyed, which uses the host that was installed (see `Host::install`).
/// Threading: the main thread makes it and calls `uploadRecord` and `isIdle`. Every other operation may come from any
/// thread. Failure: an archive that cannot be written is told by the host's serializer; the queue lives on, and is
/// written whole with its next change.
class QFRecordUploader : public SharedInstance<QFRecordUploader> {
 public:
  /// The archive's name in the application's folder. Not to change: it is what an earlier version has written.
  static constexpr std::string_view kArchiveFile = "QFRecordUploader.plist";

  /// The uploader, made on the first call with the queue that the archive holds; null while no host is installed.
  static QFRecordUploader* sharedQFRecordUploader();

  /// Makes the uploader; null where there is one, and while no host is installed.
  static QFRecordUploader* alloc();

  /// Makes the uploader, with the queue that was encoded; null as `alloc`. It has no transaction: it can queue, but
  /// cannot send.
  static QFRecordUploader* initWithCoder(KeyedCoder& coder);

  /// Encodes the queue under `kQFRecordData`, and nothing else.
  void encodeWithCoder(KeyedCoder& coder) const;

  /// Puts a request at the end of the queue. It is in the archive when this returns, and sent after those before it,
  /// once `uploadRecord` is called. False, and nothing is queued, when the data or the address is absent.
  bool quequeRecord(std::optional<std::string_view> data, std::optional<std::string_view> serverDetails);

  /// Sends the request at the head of the queue, whether or not one is under way. One that lacks its address or its
  /// data is not sent, stays, and holds up those behind it.
  void uploadRecord();

  /// True when no request is under way and none will follow by itself: when `uploadRecord` sends what nobody else
  /// sends. Unlike `uploadInProgress` it is true again after an upload that came to nothing, and false between an
  /// answer 200 and the sending of the next request.
  bool isIdle() const { return stillToCome_ == 0; }

  /// A copy of the queue. It is nothing when the archive could not be had: requests are then neither kept nor written.
  std::optional<UploadRequests> recordQueue() const;
  /// Puts another queue in its place. The archive shows it with the next change.
  void setRecordQueue(std::optional<UploadRequests> queue);

  /// True from the sending of a request until an answer 200, also when the upload came to nothing.
  bool uploadInProgress() const { return uploadInProgress_; }
  void setUploadInProgress(bool inProgress) { uploadInProgress_ = inProgress; }

  /// The request that was sent last.
  std::optional<UploadRequest> currentURLRequest() const;
  void setCurrentURLRequest(std::optional<UploadRequest> request);

  /// Where log lines go, which must outlive its use here; nowhere while it is null.
  LogFile* logfile() const { return logfile_; }
  void setLogfile(LogFile* log) { logfile_ = log; }

 private:
  friend class SharedInstance<QFRecordUploader>;
  explicit QFRecordUploader(Host& host);
  QFRecordUploader(Host& host, KeyedCoder& coder);

  void httpStatus(const Notification& notification);
  bool removeHead();
  void writeArchive();
  void log(std::string_view format, std::initializer_list<std::string_view> arguments = {}) const;

  Host& host_;
  const std::string archivePath_;

  // Guards the queue, the current request, and the writing of the archive, so that the archives follow each other as
  // the changes did. Not held while a request is sent or a line is logged.
  mutable std::recursive_mutex mutex_;
  std::optional<UploadRequests> recordQueue_;
  std::optional<UploadRequest> currentURLRequest_;

  std::atomic<bool> uploadInProgress_ = false;
  std::atomic<LogFile*> logfile_ = nullptr;
  int stillToCome_ = 0;  // outcomes of requests, and turns of the main thread that will send one
  std::unique_ptr<HttpTransaction> httpAgent_;
  std::array<NotificationCenter::Registration, 4> registrations_;
};

}  // namespace sqm
