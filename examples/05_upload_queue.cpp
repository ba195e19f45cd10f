// Queues requests on disk, and sends those that an earlier process could not send.
// Usage: 05_upload_queue HOME queue SERVER    queues three requests, tries to send them, and is killed
//        05_upload_queue HOME send            sends the remaining requests
// HOME replaces the user's home directory, and SERVER is an address such as http://127.0.0.1:8080.

#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>

#include "sqm/common/LogFile.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/queue/QFRecordUploader.h"

namespace {

std::size_t queued() {
  const auto requests = sqm::QFRecordUploader::sharedQFRecordUploader()->recordQueue();
  return requests ? requests->size() : 0;
}

/// Sends the oldest request, and runs the loop until the queue stops.
void send(sqm::platform::StandardHost& host) {
  auto& uploader = *sqm::QFRecordUploader::sharedQFRecordUploader();
  uploader.uploadRecord();
  host.runLoop().runUntil([&] { return uploader.isIdle(); }, std::chrono::minutes(1));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view mode = argc > 2 ? argv[2] : "";
  if (!(mode == "queue" && argc == 4) && !(mode == "send" && argc == 3)) {
    std::fprintf(stderr, "usage: %s HOME queue SERVER\n       %s HOME send\n", argv[0], argv[0]);
    return 2;
  }
  auto options = sqm::platform::StandardHost::Options::recommended();  // a crash loses no record
  options.homeDirectory = argv[1];
  sqm::platform::StandardHost host(options);
  if (!host.makeFolders()) return 1;
  sqm::Host::install(host);  // the process-wide uploader uses it

  auto& uploader = *sqm::QFRecordUploader::sharedQFRecordUploader();  // holds the requests of earlier processes
  const auto log = host.logFiles->initWithFile("UploadQueue.log", 2);
  uploader.setLogfile(log.get());

  if (mode == "queue") {
    const std::string address = std::string(argv[3]) + "/queue";
    uploader.quequeRecord("09:31 the portal's page does not load", address);
    uploader.quequeRecord("09:40 the tunnel went down", address);
    uploader.quequeRecord("09:41 the tunnel is up again", address);
    send(host);
    std::printf("  queued 3 requests, and tried to send them: %zu wait\n", queued());
    std::fflush(stdout);
    std::raise(SIGKILL);
  }

  std::printf("  %zu requests wait\n", queued());
  send(host);
  std::printf("  %zu are left\n", queued());
  return queued() == 0 ? 0 : 1;
}
