#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "sqm/common/LogFile.h"
#include "sqm/queue/QFRecordUploader.h"

#include "faces/c/internal/Objects.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace
using sqm::QFRecordUploader;
using sqm::UploadRequest;

namespace {

/// The process's queue and the host that it was made with.
struct Queue {
  SharedHost host = installedHost();
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
};

/// The log of the queue, which borrows it.
struct QueueLog {
  std::unique_ptr<sqm::LogFile> file;
};

UploadRequest requestOf(const sqm_queue_request& request) {
  return {ownedTextOf(request.url), ownedTextOf(request.data)};
}

const char* givenText(const std::optional<std::string>& text) { return text ? text->c_str() : nullptr; }

/// One text of the current request; null without a request.
char* currentText(std::optional<std::string> UploadRequest::*text) {
  return textFrom([&]() -> std::optional<std::string> {
    const auto request = queue().currentURLRequest();
    return request ? (*request).*text : std::nullopt;
  });
}

}  // namespace

namespace sqm::c {

QFRecordUploader& queue() { return immortal<Queue>().uploader; }

}  // namespace sqm::c

sqm_status sqm_queue_add(const char* data, const char* url) {
  return attempt([&] {
    if (!queue().quequeRecord(textOf(data), textOf(url))) {
      throw Failure(SQM_FAILED, "the data or the address is absent, or the rules do not allow the request");
    }
  });
}

sqm_status sqm_queue_upload(void) {
  return attempt([] { queue().uploadRecord(); });
}

bool sqm_queue_is_idle(void) {
  return valueOr(true, [] { return queue().isIdle(); });
}

bool sqm_queue_upload_in_progress(void) {
  return valueOr(false, [] { return queue().uploadInProgress(); });
}

sqm_status sqm_queue_set_upload_in_progress(bool in_progress) {
  return attempt([&] { queue().setUploadInProgress(in_progress); });
}

sqm_status sqm_queue_requests(void (*visit)(void* context, const sqm_queue_request* request), void* context,
                              size_t* count) {
  return attempt([&] {
    const auto requests = queue().recordQueue();
    if (!requests) throw Failure(SQM_FAILED, "the archive cannot be read");
    if (count != nullptr) *count = requests->size();
    if (visit == nullptr) return;
    for (const UploadRequest& request : *requests) {
      const sqm_queue_request given = {givenText(request.uploadURL), givenText(request.uploadData)};
      visit(context, &given);
    }
  });
}

sqm_status sqm_queue_set_requests(const sqm_queue_request* requests, size_t count) {
  return attempt([&] {
    require(requests != nullptr || count == 0, "the requests are NULL");
    sqm::UploadRequests all;
    for (std::size_t at = 0; at < count; ++at) all.push_back(requestOf(requests[at]));
    queue().setRecordQueue(std::move(all));
  });
}

char* sqm_queue_current_url(void) { return currentText(&UploadRequest::uploadURL); }

char* sqm_queue_current_data(void) { return currentText(&UploadRequest::uploadData); }

sqm_status sqm_queue_set_current(const sqm_queue_request* request) {
  return attempt(
      [&] { queue().setCurrentURLRequest(request == nullptr ? std::nullopt : std::optional(requestOf(*request))); });
}

sqm_status sqm_queue_set_log(const char* file) {
  return attempt([&] {
    std::unique_ptr<sqm::LogFile> log;
    if (file != nullptr) {
      log = immortal<Queue>().host->host.logFiles->initWithFile(file, sqm::kLogLevel);
      if (!log) throw Failure(SQM_FAILED, "the log cannot be opened");
    }
    queue().setLogfile(log.get());
    immortal<QueueLog>().file = std::move(log);
  });
}
