#include "sqm/manager/SQMManager.h"

#include <mutex>
#include <utility>

#include "sqm/common/LogFile.h"
#include "sqm/common/QFSQMFilterManager.h"
#include "sqm/manager/internal/CreatingCalls.h"
#include "sqm/records/SQMClientHelper.h"
#include "sqm/records/SQMClientRecord.h"
#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/records/SQMUserAcceptanceRecord.h"
#include "sqm/upload/SQMUploadNotifications.h"

namespace sqm {

namespace {

/// Moves a record's own values out, and back in its destructor. A record that had no value dictionary has an empty one
/// afterwards.
class OwnValuesKept {
 public:
  explicit OwnValuesKept(SQM& record) : record_(record) {
    if (ValueDictionary* own = record.recordValues()) own_ = std::move(*own);
  }
  OwnValuesKept(const OwnValuesKept&) = delete;
  OwnValuesKept& operator=(const OwnValuesKept&) = delete;
  ~OwnValuesKept() { record_.updateRecordValues(std::move(own_)); }

 private:
  SQM& record_;
  ValueDictionary own_;
};

/// The record's text, with the filtered values where there are some. The status that the record reports is ignored.
std::string formatted(SQM& record, std::optional<ValueDictionary> filtered) {
  std::optional<std::string> text = "";
  std::optional<OwnValuesKept> own;
  if (filtered || record.recordValues() == nullptr) own.emplace(record);
  if (filtered) record.updateRecordValues(*std::move(filtered));
  record.FormatRecord(text);
  return std::move(text).value_or("");
}

/// Fills a record's fields. Absent parameters give absent values.
void fill(SQM& record, Fills fills, const SQMSessionParams* params, std::string_view event = {},
          std::int64_t index = 0) {
  for (const auto& [field, filling] : fills) {
    const auto value = params == nullptr ? std::nullopt : std::optional(params->valueForKey(field));
    switch (filling) {
      case Filling::plain:
        record.SetAttribute(field, value);
        break;
      case Filling::xmlSafe:
        record.SetAttributeAfterXMLCompatibleFormat(field, value);
        break;
      case Filling::unlessEmpty:
        if (value && !value->empty()) record.SetAttribute(field, value);
        break;
      case Filling::event:
        record.SetAttribute(field, event);
        break;
      case Filling::index:
        record.SetAttribute(field, std::to_string(index));
        break;
      case Filling::marker:
        record.SetAttribute(field, "");
        break;
    }
  }
}

}  // namespace

SQMManager::SQMManager(Host& host) : host_(host), mSQMRecStoreObj_(std::make_unique<SQMRecordStore>(host)) {
  mSQMUpdaterObj_ = SQMUpdaterAgent::create(host);  // not above: it is both made and destroyed after the store
  if (mSQMUpdaterObj_) {
    const auto handler = [this](const Notification& notification) { httpStatus(notification); };
    NotificationCenter& center = *host_.notificationCenter;
    registrations_ = {center.addObserver(TrelkSQMUploadSuccess, mSQMUpdaterObj_.get(), handler),
                      center.addObserver(TrelkSQMUploadFailure, mSQMUpdaterObj_.get(), handler)};
  }
  mLogFile_ = host_.logFiles->initWithFile("SQMManager.log", kLogLevel);
}

SQMManager::~SQMManager() = default;

std::string_view SQMManager::mediaType(std::int32_t type) {
  const Medium* medium = mediumOf(type);
  return medium == nullptr ? std::string_view{} : medium->name;
}

bool SQMManager::sqmCreateStartRecord(const SQMSessionParams* params) {
  if (params == nullptr) return false;
  sqmConnectionRecord_.reset();
  currentRecordIndex_ = 0;
  const Medium* medium = mediumOf(deviceType_);
  if (medium == nullptr) return false;

  sqmConnectionRecord_ = medium->makeRecord(host_);
  sqmConnectionRecord_->clearRecord();
  fill(*sqmConnectionRecord_, medium->startFills, params);
  fill(*sqmConnectionRecord_, kConnectionStart.fills, params, kConnectionStart.event, currentRecordIndex_);
  ++currentRecordIndex_;
  finish(kConnectionStart, sqmConnectionRecord_.get());
  return false;
}

bool SQMManager::sqmCreateStopRecord(const SQMSessionParams* params) {
  if (params == nullptr || mediumOf(deviceType_) == nullptr) return false;
  create(kConnectionStop, sqmConnectionRecord_.get(), params, currentRecordIndex_);
  return false;
}

bool SQMManager::sqmCreateDeviceRecord(const SQMSessionParams* params) {
  SQMDeviceRecord device(host_);
  create(kDevice, &device, params);
  return true;
}

bool SQMManager::sqmCreateClientRecord(const SQMSessionParams* params) {
  SQMClientHelper environment(host_);
  SQMClientRecord client(host_);
  fill(client, kClientFillsBeforeEnvironment, params);
  client.setValue(environment.getCurrentLocale(), "locale");
  client.setValue(environment.osName(), "os");
  client.setValue(environment.getOSVersion(), "osVersion");
  create(kClient, &client, params);
  return true;
}

bool SQMManager::sqmCreateUserAcceptanceRecord(const SQMSessionParams* params) {
  SQMUserAcceptanceRecord answer(host_);
  create(kUserAcceptance, &answer, params);
  return true;
}

bool SQMManager::sqmCreateApplicationStartRecord(const SQMSessionParams* params) {
  const auto application = std::make_shared<SQMApplicationRecord>(host_);
  setSqmAppLicationRecord(application);
  if (params == nullptr) return true;
  // The number of the connection start record: that start has incremented the index since.
  create(kApplicationStart, application.get(), params, currentRecordIndex_ - 1);
  return true;
}

bool SQMManager::sqmCreateApplicationStopRecord(const SQMSessionParams* params) {
  if (params == nullptr) return false;
  const auto application = sqmAppLicationRecord();
  if (application) application->clearRecord();
  return create(kApplicationStop, application.get(), params, currentRecordIndex_);
}

std::shared_ptr<SQMApplicationRecord> SQMManager::sqmAppLicationRecord() const {
  const std::lock_guard lock(sqmAppLicationRecordMutex_);
  return sqmAppLicationRecord_;
}

void SQMManager::setSqmAppLicationRecord(std::shared_ptr<SQMApplicationRecord> record) {
  const std::lock_guard lock(sqmAppLicationRecordMutex_);
  sqmAppLicationRecord_.swap(record);  // the earlier record is released with the parameter, after the lock
}

bool SQMManager::create(const CreatingCall& call, SQM* record, const SQMSessionParams* params, std::int64_t index) {
  if (record != nullptr) fill(*record, call.fills, params, call.event, index);
  return finish(call, record);
}

/// What all calls do with a record that is filled: applies the filters, formats, stores and logs. Returns false when
/// recording is disabled. An absent record has neither name nor values, and its text is empty.
bool SQMManager::finish(const CreatingCall& call, SQM* record) {
  static const ValueDictionary kNoValues;
  const ValueDictionary* own = record == nullptr ? nullptr : record->recordValues();
  const ValueDictionary& values = own == nullptr ? kNoValues : *own;
  const auto name = record == nullptr ? std::nullopt : record->recordName();
  const auto subType = call.filterSubType  ? call.filterSubType
                       : record == nullptr ? std::nullopt
                                           : record->recordSubType();

  if (host_.filterManager->recordingDisabledForRecordName(name, subType, values)) {
    log(call.disabledText);
    return false;
  }
  auto filtered = host_.filterManager->appyFiltersForRecord(name, subType, values);
  std::string text = record == nullptr ? std::string{} : formatted(*record, std::move(filtered));

  const auto type = static_cast<std::int64_t>(call.type);
  if (call.order == CreatingCall::Order::storeThenLog) {
    mSQMRecStoreObj_->saveSQMRecordType(type, text);
    log(call.generatedText, text);
  } else {
    log(call.generatedText, text);
    mSQMRecStoreObj_->saveSQMRecordType(type, text);
  }
  return true;
}

void SQMManager::log(std::string_view format, std::string_view argument) {
  if (mLogFile_) mLogFile_->writeLogToFileWithInfo("USER", kLogLevel, format, {argument});
}

void SQMManager::saveToDisk() { mSQMRecStoreObj_->SaveSQMStoreToDisk(); }

void SQMManager::uploadSQM() {
  mSQMRecStoreObj_->removeSurplus();
  perform(nextUploadStep(mUploadState_, UploadEvent::started));
}

UploadTarget SQMManager::uploadTarget() {
  return {.start = [this] { uploadSQM(); },
          .save = [this] { saveToDisk(); },
          .waiting = [this] { return mSQMRecStoreObj_->storedRecords(); }};
}

void SQMManager::httpStatus(const Notification& notification) {
  if (notification.name == TrelkSQMUploadSuccess) {
    perform(nextUploadStep(mUploadState_, UploadEvent::succeeded));
  } else if (notification.name == TrelkSQMUploadFailure) {
    log("httpStatus: TrelkSQMUploadFailure notification recieved for SQM record of type mUploadState=%d.",
        std::to_string(static_cast<std::int32_t>(mUploadState_)));
    perform(nextUploadStep(mUploadState_, UploadEvent::failed));
  }
}

void SQMManager::perform(const UploadStep& step) {
  if (step.delivered) mSQMRecStoreObj_->deleteRecords(*step.delivered);
  const auto next = nextTypeOf(step, [this](RecordType type) { return mSQMRecStoreObj_->hasRecords(type); });
  if (step.postUnlessEmpty && next != step.postUnlessEmpty) mSQMRecStoreObj_->deleteRecords(*step.postUnlessEmpty);
  if (!next) return;
  mUploadState_ = uploadStateOf(*next);
  if (mSQMUpdaterObj_) mSQMUpdaterObj_->startUploadToURL(urlOf(*next), mSQMRecStoreObj_->document(*next));
}

}  // namespace sqm
