// Uploads what another process has saved, and shows how far it is.
// Usage: 03_upload HOME SERVER, where HOME stands for the user's home directory, and SERVER is like
// http://127.0.0.1:8080.

#include <chrono>
#include <cstdio>
#include <string>

#include "sqm/common/NotificationCenter.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/upload/SQMUploadNotifications.h"

namespace {

const char* nameOf(sqm::UploadState state) {
  switch (state) {
    case sqm::UploadState::client:
      return "client";
    case sqm::UploadState::connection:
      return "connections";
    case sqm::UploadState::device:
      return "device";
    case sqm::UploadState::application:
      return "VPN sessions";
    case sqm::UploadState::userAcceptance:
      return "prompts";
    case sqm::UploadState::idle:
      break;
  }
  return "nothing";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s HOME SERVER\n", argv[0]);
    return 2;
  }
  const std::string server = argv[2];
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = argv[1];
  options.atomicSaves = true;
  sqm::platform::StandardHost host(options);

  sqm::SQMManager manager(host);
  manager.SetSQMClientURL(server + "/client");
  manager.SetSQMConnectionURL(server + "/connection");
  manager.SetSQMDeviceURL(server + "/device");
  manager.SetSQMApplicationURL(server + "/application");
  manager.SetSQMUserAcceptanceURL(server + "/user-acceptance");

  // The manager hears of a success first, and has moved on when this observer does.
  int failures = 0;
  sqm::UploadState inFlight = sqm::UploadState::idle;
  const auto arrived =
      host.notificationCenter->addObserver(sqm::TrelkSQMUploadSuccess, nullptr, [&](const sqm::Notification&) {
        std::printf("  %-13s arrived\n", nameOf(inFlight));
        inFlight = manager.uploadState();
      });
  const auto failed =
      host.notificationCenter->addObserver(sqm::TrelkSQMUploadFailure, nullptr, [&](const sqm::Notification&) {
        std::printf("  %-13s could not be sent; what is left stays for the next time\n", nameOf(inFlight));
        ++failures;
      });

  manager.uploadSQM();
  inFlight = manager.uploadState();
  const bool isOver = host.runUntilIdle(std::chrono::minutes(1));
  manager.saveToDisk();
  return isOver && failures == 0 ? 0 : 1;
}
