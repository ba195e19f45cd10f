#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/common/UploadTarget.h"
#include "sqm/manager/SQMSessionParams.h"
#include "sqm/manager/UploadSequence.h"
#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/upload/SQMUpdaterAgent.h"

namespace sqm {

class LogFile;
struct CreatingCall;

/// The library's entry: a client reports events to it, and it makes a record of each, keeps the records, and uploads
/// them, one type after another, each type to an address of its own.
///
/// A new manager holds the records that earlier runs saved. `saveToDisk` and the destructor save its records.
///
/// Ownership: the client's, for as long as it records. The host outlives it.
/// Threading: the main thread; `sqmAppLicationRecord` and its setter may be called from any thread.
/// Failure: reported by the log "SQMManager.log" alone; the results of the creating calls do not report success. A call
/// that needs an entry beyond the end of a short field-name table throws std::out_of_range. A device or user-acceptance
/// call without parameters throws std::invalid_argument; where there is no field-name table it throws nothing, because
/// nothing is stored in the record's fields. An exception leaves the stored records unchanged.
class SQMManager {
 public:
  using Url = std::optional<std::string>;

  explicit SQMManager(Host& host);
  SQMManager(const SQMManager&) = delete;
  SQMManager& operator=(const SQMManager&) = delete;
  ~SQMManager();

  /// The addresses to which the documents are posted. They are not validated here; an absent one makes its upload fail.
  void setURL(RecordType type, Url url) { urlOf(type) = std::move(url); }
  void SetSQMConnectionURL(Url url) { setURL(RecordType::connection, std::move(url)); }
  void SetSQMClientURL(Url url) { setURL(RecordType::client, std::move(url)); }
  void SetSQMDeviceURL(Url url) { setURL(RecordType::device, std::move(url)); }
  void SetSQMApplicationURL(Url url) { setURL(RecordType::application, std::move(url)); }
  void SetSQMUserAcceptanceURL(Url url) { setURL(RecordType::userAcceptance, std::move(url)); }

  /// The medium of the following connections: 1 Wi-Fi, 2 mobile broadband, 3 Ethernet. With any other number connection
  /// events are not recorded.
  void setDeviceType(std::int64_t value) { deviceType_ = value; }
  std::int64_t deviceType() const { return deviceType_; }

  /// "WiFi", "mobile" or "Ethernet"; empty for any other number.
  static std::string_view mediaType(std::int32_t type);

  /// Record the start or the end of a connection attempt. Always return false. Do nothing without parameters.
  bool sqmCreateStartRecord(const SQMSessionParams* params);
  bool sqmCreateStopRecord(const SQMSessionParams* params);

  /// Record device details, client details, or the user's answer to a prompt. Always return true.
  bool sqmCreateDeviceRecord(const SQMSessionParams* params);
  bool sqmCreateClientRecord(const SQMSessionParams* params);
  bool sqmCreateUserAcceptanceRecord(const SQMSessionParams* params);

  /// Record the start or the end of a VPN session. The start always returns true; the end, when a record was stored.
  bool sqmCreateApplicationStartRecord(const SQMSessionParams* params);
  bool sqmCreateApplicationStopRecord(const SQMSessionParams* params);

  /// The record of the VPN session that was started last; null before the first.
  std::shared_ptr<SQMApplicationRecord> sqmAppLicationRecord() const;
  void setSqmAppLicationRecord(std::shared_ptr<SQMApplicationRecord> record);

  /// Writes the stored records to disk.
  void saveToDisk();

  /// Starts to post the stored records, type by type; each post's outcome, reported on the main thread, starts the
  /// next. A type's records are deleted once their post has succeeded. A failure ends the upload: the remaining records
  /// wait for the next call.
  void uploadSQM();

  /// The upload of this manager's records, for a schedule and for the end of the host. The manager must outlive it.
  UploadTarget uploadTarget();

  /// The agent that posts the documents: the sender of the notifications. Null when the host gave none.
  SQMUpdaterAgent* uploadAgent() { return mSQMUpdaterObj_.get(); }

  /// Which document is in flight, or was last. Observers of a success notification that registered after the manager
  /// was made read the next document's state.
  UploadState uploadState() const { return mUploadState_; }

  /// Continues or ends the upload after a post. Called by the notification center with the outcomes of the manager's
  /// own upload agent; a notification of another name has no effect.
  void httpStatus(const Notification& notification);

 private:
  bool create(const CreatingCall& call, SQM* record, const SQMSessionParams* params, std::int64_t index = 0);
  bool finish(const CreatingCall& call, SQM* record);
  void log(std::string_view format, std::string_view argument = {});

  void perform(const UploadStep& step);
  Url& urlOf(RecordType type) { return urls_[static_cast<std::size_t>(type)]; }

  // Destroyed from the last to the first: the store saves its lists before the upload agent is destroyed.
  Host& host_;
  mutable std::mutex sqmAppLicationRecordMutex_;
  std::shared_ptr<SQMApplicationRecord> sqmAppLicationRecord_;
  std::unique_ptr<SQMUpdaterAgent> mSQMUpdaterObj_;
  std::unique_ptr<SQMConnectionRecord> sqmConnectionRecord_;
  std::unique_ptr<SQMRecordStore> mSQMRecStoreObj_;
  std::array<Url, kRecordTypes.size()> urls_;  // by type
  std::int64_t deviceType_ = 0;
  std::int64_t currentRecordIndex_ = 0;
  UploadState mUploadState_ = UploadState::idle;
  std::unique_ptr<LogFile> mLogFile_;
  std::array<NotificationCenter::Registration, 2> registrations_;
};

}  // namespace sqm
