#include "sqm/queue/QFRecordUploader.h"

#include <utility>

#include "sqm/common/Files.h"
#include "sqm/common/HttpTransaction.h"
#include "sqm/common/KeyedCoder.h"
#include "sqm/common/LogFile.h"
#include "sqm/common/MainThread.h"
#include "sqm/common/QFSerializer.h"
#include "sqm/common/RecordJournal.h"
#include "sqm/common/UploadQueueRules.h"
#include "sqm/upload/internal/UploadChannel.h"

namespace sqm {

QFRecordUploader* QFRecordUploader::sharedQFRecordUploader() {
  Host* host = Host::installed();
  return host == nullptr ? nullptr : shared(*host);
}

QFRecordUploader* QFRecordUploader::alloc() {
  Host* host = Host::installed();
  return host == nullptr ? nullptr : SharedInstance::alloc(*host);
}

QFRecordUploader* QFRecordUploader::initWithCoder(KeyedCoder& coder) {
  Host* host = Host::installed();
  return host == nullptr ? nullptr : SharedInstance::alloc(*host, coder);
}

QFRecordUploader::QFRecordUploader(Host& host) : host_(host), httpAgent_(host.httpTransactions->makeTransaction()) {
  if (httpAgent_) {
    httpAgent_->startSession("TrelkConnect", "UploadData.log");
    registrations_ = observeTransaction(*host_.notificationCenter, *httpAgent_,
                                        [this](const Notification& notification) { httpStatus(notification); });
  }
  archivePath_ = archivePath(*host_.configuration);
  recordQueue_ = host_.files->exists(archivePath_) ? host_.serializer->objectFromFile(archivePath_) : UploadRequests{};
  followRules();
}

QFRecordUploader::QFRecordUploader(Host& host, KeyedCoder& coder)
    : host_(host),
      archivePath_(archivePath(*host.configuration)),
      recordQueue_(coder.decodeObjectForKey(kQFRecordData)) {
  followRules();
}

void QFRecordUploader::followRules() {
  rules_ = host_.queueRules;
  if (rules_ == nullptr) return;
  if (recordQueue_) rules_->queueLoaded(*recordQueue_);
  rulesChanged_ = host_.notificationCenter->addObserver(kKeptRecordsChangedNotification, nullptr,
                                                        [this](const Notification& /*posted*/) { applyRules(); });
}

void QFRecordUploader::encodeWithCoder(KeyedCoder& coder) const { coder.encodeObject(recordQueue(), kQFRecordData); }

bool QFRecordUploader::quequeRecord(std::optional<std::string_view> data,
                                    std::optional<std::string_view> serverDetails) {
  if (!data || !serverDetails || (rules_ != nullptr && !rules_->mayQueue())) return false;
  UploadRequest request{std::string(*serverDetails), std::string(*data)};
  log("QFRecordUploader :: quequeRecord- saved URL:%@ post Data:%@", {*request.uploadURL, *request.uploadData});
  const std::lock_guard lock(mutex_);
  if (recordQueue_) {
    recordQueue_->push_back(std::move(request));
    if (rules_ != nullptr) rules_->requestQueued(*recordQueue_, /*isSending=*/remaining_ > 0);
  }
  writeArchive();
  return true;
}

void QFRecordUploader::uploadRecord() {
  std::optional<UploadRequest> request;
  {
    const std::lock_guard lock(mutex_);
    if (!recordQueue_ || recordQueue_->empty()) return;
    request = recordQueue_->front();
    currentURLRequest_ = request;
  }
  if (!request->uploadURL || !request->uploadData) {
    log("QFRecordUploader :: uploadRecord - URL or post data is empty");
    return;
  }
  log("QFRecordUploader :: uploadRecord - sending HTTP request to URL:%@ post Data:%@",
      {*request->uploadURL, *request->uploadData});
  uploadInProgress_ = true;
  if (!httpAgent_) return;
  ++remaining_;
  httpAgent_->sendHttpRequest(request->uploadURL, kHttpMethodPost, *std::move(request->uploadData));
}

void QFRecordUploader::httpStatus(const Notification& notification) {
  if (!httpAgent_) return;
  if (remaining_ > 0) --remaining_;
  const int status = httpAgent_->httpResponseStatusCode();
  log("QFRecordUploader :: httpStatus- recieved response as %@ response code:%d",
      {httpAgent_->httpResponseContent(), std::to_string(status)});
  // When two requests are under way, one may fail while the transaction still has the other's status 200.
  const bool isAnswer = notification.name == TrelkHttpTransactionCompletedNotification;
  if (!isAnswer || status != kHttpStatusOk) return;
  if (!removeHead()) return;
  ++remaining_;
  host_.mainThread->post([this] {
    --remaining_;
    uploadRecord();
  });
}

/// Removes the confirmed request from the queue. Returns true when others follow. The queue may be empty already, after
/// a request was sent twice.
bool QFRecordUploader::removeHead() {
  const std::lock_guard lock(mutex_);
  uploadInProgress_ = false;
  if (!recordQueue_ || recordQueue_->empty()) return false;
  recordQueue_->erase(recordQueue_->begin());
  if (rules_ != nullptr) rules_->requestPosted(*recordQueue_);
  writeArchive();
  return !recordQueue_->empty();
}

void QFRecordUploader::applyRules() {
  const std::lock_guard lock(mutex_);
  if (!recordQueue_) return;
  rules_->rulesChanged(*recordQueue_);
  if (recordQueue_->empty()) currentURLRequest_.reset();
  writeArchive();
}

/// Writes the queue if there is one. The serializer reports a failure.
void QFRecordUploader::writeArchive() {
  if (recordQueue_) host_.serializer->serializeObject(*recordQueue_, archivePath_);
}

UploadTarget QFRecordUploader::uploadTarget() {
  return {.start = [this] { uploadRecord(); },
          .isIdle = [this] { return isIdle(); },
          .waiting =
              [this] {
                const std::lock_guard lock(mutex_);
                return recordQueue_ ? recordQueue_->size() : 0;
              }};
}

std::optional<UploadRequests> QFRecordUploader::recordQueue() const {
  const std::lock_guard lock(mutex_);
  return recordQueue_;
}

void QFRecordUploader::setRecordQueue(std::optional<UploadRequests> queue) {
  const std::lock_guard lock(mutex_);
  recordQueue_ = std::move(queue);
}

void QFRecordUploader::useRecordQueue(const std::function<void(std::optional<UploadRequests>& queue)>& use) {
  const std::lock_guard lock(mutex_);
  use(recordQueue_);
}

std::optional<UploadRequest> QFRecordUploader::currentURLRequest() const {
  const std::lock_guard lock(mutex_);
  return currentURLRequest_;
}

void QFRecordUploader::setCurrentURLRequest(std::optional<UploadRequest> request) {
  const std::lock_guard lock(mutex_);
  currentURLRequest_ = std::move(request);
}

void QFRecordUploader::log(std::string_view format, std::initializer_list<std::string_view> arguments) const {
  if (LogFile* file = logfile_) file->writeLogToFileWithInfo("USER", kLogLevel, format, arguments);
}

}  // namespace sqm
