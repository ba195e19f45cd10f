#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/manager/SQMSessionParams.h"
#include "sqm/manager/UploadSequence.h"
#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/upload/SQMUpdaterAgent.h"

namespace sqm {

class LogFile;
struct CreatingCall;
struct Fill;

/// The object through which a client uses the library: it makes a record of every event it is told of, keeps the
/// records, and uploads them, one type after another, to five addresses.
///
/// A new manager holds the records that earlier runs saved; `saveToDisk` and destruction save what it holds.
///
/// Ownership: the client's, for as long as it records. The host outlives it.
/// Threading: the main thread, for every operation but `sqmAppLicationRecord` and its setter, which any thread may
/// call. Failure: nothing is reported but by the log "SQMManager.log"; the results of the creating calls are no success
/// flags. A field-name table with fewer than 91 entries makes them throw std::out_of_range, and a device or
/// user-acceptance call without parameters std::invalid_argument; no stored record is touched then.
class SQMManager {
 public:
  explicit SQMManager(Host& host);
  SQMManager(const SQMManager&) = delete;
  SQMManager& operator=(const SQMManager&) = delete;
  ~SQMManager();

  /// The addresses that the documents are posted to. Not validated here; an absent one makes its upload fail.
  void SetSQMConnectionURL(std::optional<std::string> url);
  void SetSQMClientURL(std::optional<std::string> url);
  void SetSQMDeviceURL(std::optional<std::string> url);
  void SetSQMApplicationURL(std::optional<std::string> url);
  void SetSQMUserAcceptanceURL(std::optional<std::string> url);

  /// The medium of the connections to come: 1 Wi-Fi, 2 mobile broadband, 3 Ethernet. With any other, connection events
  /// are not recorded.
  void setDeviceType(std::int64_t value) { deviceType_ = value; }
  std::int64_t deviceType() const { return deviceType_; }

  /// "WiFi", "mobile" or "Ethernet"; empty for any other number.
  static std::string_view mediaType(std::int32_t type);

  /// A connection attempt begins, or ends. Always false. Without parameters, nothing happens.
  bool sqmCreateStartRecord(const SQMSessionParams* params);
  bool sqmCreateStopRecord(const SQMSessionParams* params);

  /// Device details, client details, the user's answer to a prompt. Always true.
  bool sqmCreateDeviceRecord(const SQMSessionParams* params);
  bool sqmCreateClientRecord(const SQMSessionParams* params);
  bool sqmCreateUserAcceptanceRecord(const SQMSessionParams* params);

  /// A VPN session begins: always true. A VPN session ends: true when a record was stored.
  bool sqmCreateApplicationStartRecord(const SQMSessionParams* params);
  bool sqmCreateApplicationStopRecord(const SQMSessionParams* params);

  /// The record of the last VPN session begun; null before the first.
  std::shared_ptr<SQMApplicationRecord> sqmAppLicationRecord() const { return sqmAppLicationRecord_.load(); }
  void setSqmAppLicationRecord(std::shared_ptr<SQMApplicationRecord> record) {
    sqmAppLicationRecord_.store(std::move(record));
  }

  /// Writes the stored records to disk.
  void saveToDisk();

  /// Starts to post what is stored, type by type; each type's records go once they have arrived. Goes on by itself on
  /// the main thread. A failure ends it, and keeps the records for the next call.
  void uploadSQM();

  /// Which document is in flight, or was last. On a success notification, observers that registered after the manager was
  /// made find the next one here.
  UploadState uploadState() const { return mUploadState_; }

 private:
  struct Generated {
    std::string_view event;
    std::int64_t index = 0;
  };

  void fill(SQM* record, std::span<const Fill> fills, const SQMSessionParams* params, const Generated& generated) const;
  bool record(const CreatingCall& call, SQM* record);
  void log(std::string_view format, std::string_view argument = {});

  void httpStatus(const Notification& notification);
  void perform(const UploadStep& step);
  void post(RecordType type, std::optional<std::string> document);
  std::optional<std::string>& urlOf(RecordType type) { return urls_[static_cast<std::size_t>(type)]; }

  // Destroyed from the last to the first: the store saves its lists while the upload agent still lives.
  Host& host_;
  std::unique_ptr<SQMUpdaterAgent> mSQMUpdaterObj_;
  std::atomic<std::shared_ptr<SQMApplicationRecord>> sqmAppLicationRecord_;
  std::unique_ptr<SQMConnectionRecord> sqmConnectionRecord_;
  std::unique_ptr<SQMRecordStore> mSQMRecStoreObj_;
  std::array<std::optional<std::string>, SQMRecordStore::kTypes> urls_;
  std::int64_t deviceType_ = 0;
  std::int64_t currentRecordIndex_ = 0;
  UploadState mUploadState_ = UploadState::idle;
  std::unique_ptr<LogFile> mLogFile_;
  std::array<NotificationCenter::Registration, 2> registrations_;
};

}  // namespace sqm
