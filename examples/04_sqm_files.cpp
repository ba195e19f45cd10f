// The file-based path: each session is saved as a file, and the files of a folder are posted as one body.
// Usage: 04_sqm_files HOME            collects and saves a session
//        04_sqm_files HOME SERVER     posts the saved sessions to SERVER, such as http://127.0.0.1:8080

#include <chrono>
#include <cstdio>
#include <string>

#include "sqm/common/NotificationCenter.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/sessionfiles/SQMUploader.h"
#include "sqm/upload/SQMUploadNotifications.h"

namespace {

/// Collects one connection, step by step, and saves it.
bool collectSession(sqm::Host& host, const std::string& folder) {
  sqm::SQMDataCollector session(host);
  session.setSQMDirPath(folder);
  session.collectDataOnCreation("user", "en", "ada", "trelk/ada", "profile-7", "client-4711", "17");
  session.collectDataonPreConnect("w", "Café Mitte", "wispr", "customer", "WPA2", "12.4", "2026-11-01");
  session.setConnectStartTime();
  session.setLoginStartTime();
  session.setLoginEndTime();
  session.collectDataPostConnect("portal", "WiFi", "02:00:5e:10:00:01", "02:00:5e:10:00:02", "-61", "192.0.2.17",
                                 "198.51.100.4");
  session.setErrorCode(0);
  session.setAutoConnect(1);
  session.collectDataOnDisconnect(1, -67, "12.4", "2026-11-01", /*rxBytes=*/48'730'112, /*txBytes=*/1'204'511);
  return session.saveRec();  // the file is named after this second
}

const char* meaningOf(int status) {
  static constexpr const char* kMeanings[] = {"never started", "reading the folder", "sending",
                                              "failed; the files stay for the next time", "completed"};
  return kMeanings[status];
}

/// Posts the folder, and shows the status at each step. Returns false when the files could not be delivered.
bool post(sqm::platform::StandardHost& host, const std::string& folder, const std::string& server) {
  const auto uploader = sqm::SQMUploader::create(host);
  if (!uploader) return false;
  uploader->setSQMDirPath(folder);
  uploader->setSQMUploadUrl(server + "/sqm");

  const auto show = [&] {
    const int status = uploader->getActivityStatus();
    std::printf("  status %d: %s\n", status, meaningOf(status));
  };
  bool isComplete = false;
  const auto completed = host.notificationCenter->addObserver(sqm::TrelkSQMUploadComplete, uploader.get(),
                                                              [&](const sqm::Notification&) { isComplete = true; });
  show();
  uploader->startSend();
  show();
  host.runUntilIdle(std::chrono::minutes(1));
  show();
  return isComplete;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: %s HOME [SERVER]\n", argv[0]);
    return 2;
  }
  auto options = sqm::platform::StandardHost::Options::recommended();  // a crash loses no record
  options.homeDirectory = argv[1];
  sqm::platform::StandardHost host(options);
  if (!host.makeFolders()) return 1;
  const std::string folder = host.configuration->applicationQuenfaFolderPath() + "/SQM";
  const bool isDone = argc == 2 ? collectSession(host, folder) : post(host, folder, argv[2]);
  return isDone ? 0 : 1;
}
