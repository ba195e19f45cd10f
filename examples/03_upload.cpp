// Uploads the records that another process saved, and reports each document.
// Usage: 03_upload HOME SERVER, where HOME replaces the user's home directory, and SERVER is an address such
// as http://127.0.0.1:8080.

#include <chrono>
#include <cstdio>
#include <string>

#include "sqm/common/NotificationCenter.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/upload/SQMUploadNotifications.h"

namespace {

std::string nameOf(sqm::UploadState state) {
  const auto type = sqm::typeInFlight(state);
  return std::string(type ? sqm::rowOf(*type).name : "nothing");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s HOME SERVER\n", argv[0]);
    return 2;
  }
  const std::string server = argv[2];
  auto options = sqm::platform::StandardHost::Options::recommended();  // a crash loses no record
  options.homeDirectory = argv[1];
  sqm::platform::StandardHost host(options);

  sqm::SQMManager manager(host);
  for (const auto& row : sqm::kRecordTypeTable) manager.setURL(row.type, server + "/" + std::string(row.name));

  // The manager registered first: when this observer is called, the manager has already started the next post.
  int failures = 0;
  sqm::UploadState inFlight = sqm::UploadState::idle;
  const auto arrived =
      host.notificationCenter->addObserver(sqm::TrelkSQMUploadSuccess, nullptr, [&](const sqm::Notification&) {
        std::printf("  %-15s arrived\n", nameOf(inFlight).c_str());
        inFlight = manager.uploadState();
      });
  const auto failed =
      host.notificationCenter->addObserver(sqm::TrelkSQMUploadFailure, nullptr, [&](const sqm::Notification&) {
        std::printf("  %-15s could not be sent; the remaining records wait for the next upload\n",
                    nameOf(inFlight).c_str());
        ++failures;
      });

  manager.uploadSQM();
  inFlight = manager.uploadState();
  const bool isOver = host.runUntilIdle(std::chrono::minutes(1));
  manager.saveToDisk();
  return isOver && failures == 0 ? 0 : 1;
}
