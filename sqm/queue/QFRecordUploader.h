#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/common/SharedInstance.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/common/UploadRequest.h"
#include "sqm/common/UploadTarget.h"

namespace sqm {

class HttpTransaction;
class KeyedCoder;
class LogFile;

/// The key under which the queue is encoded.
inline constexpr std::string_view kQFRecordData = "QFRecordData";

/// The process's queue of upload requests: first in, first out, posted one at a time, and kept in an archive file in
/// the application's folder, so that a later process sends what no server has confirmed.
///
/// A request is removed from the queue only when the server has answered 200; the next one is then sent automatically.
/// Any other outcome stops the queue until `uploadRecord` is called again, and no notification is posted. A server may
/// therefore receive a request more than once. This also happens when `uploadRecord` is called while a request is under
/// way, and then the second 200 removes another request unsent: call it only while `isIdle`.
///
/// Ownership: the process has one, never destroyed, which uses the installed host (see `Host::install`).
/// Threading: `uploadRecord` and `isIdle` on the main thread, everything else on any thread, the creation included.
/// Failure: the host's serializer reports an archive that cannot be written. The queue in memory is unchanged by that,
/// and is written whole with its next change.
class QFRecordUploader : public SharedInstance<QFRecordUploader> {
 public:
  /// The archive's name in the application's folder. Not to change: earlier versions have written it.
  static constexpr std::string_view kArchiveFile = "QFRecordUploader.plist";

  /// The archive: absolute.
  static std::string archivePath(const TrelkConfiguration& configuration) {
    return configuration.applicationQuenfaFolderPath().append("/").append(kArchiveFile);
  }

  /// The uploader; null while no host is installed. The first call creates it, with the queue that the archive holds:
  /// an empty one when there is no such file, none when the file yields nothing.
  static QFRecordUploader* sharedQFRecordUploader();

  /// Creates the uploader; null when it exists already, and while no host is installed.
  static QFRecordUploader* alloc();

  /// Creates the uploader with the queue that was encoded; null as `alloc`. It has no transaction: it can queue, but
  /// not send.
  static QFRecordUploader* initWithCoder(KeyedCoder& coder);

  /// Encodes the queue under `kQFRecordData`, and nothing else.
  void encodeWithCoder(KeyedCoder& coder) const;

  /// Appends a request to the queue and writes the archive; sends nothing. Returns false and queues nothing when the
  /// data or the address is absent, or the host's `queueRules` do not allow it.
  bool quequeRecord(std::optional<std::string_view> data, std::optional<std::string_view> serverDetails);

  /// Sends the request at the head of the queue, whether or not one is under way. A request without address or data is
  /// not sent, stays at the head, and blocks those behind it.
  void uploadRecord();

  /// True when no request is under way and none will be sent automatically, so that `uploadRecord` sends no request
  /// twice. Unlike `uploadInProgress` it is true after a failed upload, and false between an answer 200 and the sending
  /// of the next request.
  bool isIdle() const { return remaining_ == 0; }

  /// The upload of the queue, for a schedule and for the end of the host. The archive is written at each change.
  UploadTarget uploadTarget();

  /// A copy of the queue. Nothing when the archive exists but could not be read: requests are then neither kept nor
  /// written.
  std::optional<UploadRequests> recordQueue() const;
  /// Replaces the queue. The archive is written with the next change.
  void setRecordQueue(std::optional<UploadRequests> queue);
  /// Calls `use` with the queue, which no other thread reads or changes meanwhile. The archive is written with the next
  /// change.
  void useRecordQueue(const std::function<void(std::optional<UploadRequests>& queue)>& use);

  /// True from the sending of a request until an answer 200, also after a failure.
  bool uploadInProgress() const { return uploadInProgress_; }
  void setUploadInProgress(bool inProgress) { uploadInProgress_ = inProgress; }

  /// The request that was sent last.
  std::optional<UploadRequest> currentURLRequest() const;
  void setCurrentURLRequest(std::optional<UploadRequest> request);

  /// The log, which the host owns; without one no lines are written.
  LogFile* logfile() const { return logfile_; }
  void setLogfile(LogFile* log) { logfile_ = log; }

  /// Acts on the outcome of the transaction; without one, does nothing. Called by the notification center.
  void httpStatus(const Notification& notification);

 private:
  friend class SharedInstance<QFRecordUploader>;
  explicit QFRecordUploader(Host& host);
  QFRecordUploader(Host& host, KeyedCoder& coder);
  ~QFRecordUploader() = default;

  bool removeHead();
  void followRules();
  void applyRules();
  void writeArchive();
  void log(std::string_view format, std::initializer_list<std::string_view> arguments = {}) const;

  Host& host_;
  std::string archivePath_;
  UploadQueueRules* rules_ = nullptr;  // the host's, once the queue is loaded

  // Guards the queue, the current request, and the writing of the archive, so that archives are written in the order of
  // the changes. Not held while a request is sent or a line is logged.
  mutable std::recursive_mutex mutex_;
  std::optional<UploadRequests> recordQueue_;
  std::optional<UploadRequest> currentURLRequest_;

  std::atomic<bool> uploadInProgress_ = false;
  std::atomic<LogFile*> logfile_ = nullptr;
  std::atomic<int> remaining_ = 0;  // expected outcomes of requests, and scheduled tasks that will send one
  std::unique_ptr<HttpTransaction> httpAgent_;
  std::array<NotificationCenter::Registration, 4> registrations_;
  NotificationCenter::Registration rulesChanged_;
};

}  // namespace sqm
