// The scenario of scenario.m, line by line, from C++. Arguments: home, folder of the table, server.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/common/Clock.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/diagnostics/SQMDiagnosticsRecord.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/PreferencesFile.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/sessionfiles/SQMUploader.h"
#include "sqm/upload/SQMUploadNotifications.h"

namespace {

using namespace std::chrono_literals;

void print(const char* what, std::optional<std::string_view> value) {
  std::printf("%s: %s\n", what, std::string(value.value_or("(absent)")).c_str());
}

void printNumber(const char* what, std::int64_t value) {
  std::printf("%s: %lld\n", what, static_cast<long long>(value));
}

void printResult(const char* what, bool result) { printNumber(what, result ? 1 : 0); }

/// The clock of the host.
class FixedClock final : public sqm::Clock {
 public:
  std::int64_t time() const override { return 1763975258; }
  sqm::Date date() const override { return sqm::Date(std::chrono::seconds(time())); }
};

sqm::SQMSessionParams newEvent() {
  sqm::SQMSessionParams event;
  for (std::int64_t key = 1; key <= 91; ++key) event.setIntValue(key * 7 - 100, key);
  event.setStringValue("2026-11-21T09:30:00Z", 6);
  event.setStringValue("<Café> & \"Bar\" 😀", 26);
  event.setStringValue("", 24);
  event.setStringValue(std::nullopt, 33);
  return event;
}

void record(sqm::SQMManager& manager, const sqm::SQMSessionParams& event) {
  for (std::int32_t medium = 0; medium <= 3; ++medium) {
    manager.setDeviceType(medium);
    print("medium", sqm::SQMManager::mediaType(medium));
    printResult("start", manager.sqmCreateStartRecord(&event));
    printResult("stop", manager.sqmCreateStopRecord(&event));
  }
  printResult("device", manager.sqmCreateDeviceRecord(&event));
  printResult("client", manager.sqmCreateClientRecord(&event));
  printResult("application start", manager.sqmCreateApplicationStartRecord(&event));
  printResult("application stop", manager.sqmCreateApplicationStopRecord(&event));
  printResult("user acceptance", manager.sqmCreateUserAcceptanceRecord(&event));
}

void collect(sqm::Host& host, const std::string& folder) {
  sqm::SQMDataCollector collector(host);
  collector.setSQMDirPath(folder);
  collector.collectDataOnCreation("new", "en", "user", "user@realm", "profile", "install", "12");
  collector.collectDataonPreConnect("s", "Café", "access", "customer", "wpa2", "4.70", "2026-11-01");
  collector.setConnectStartTime();
  collector.setLoginStartTime();
  collector.setLoginEndTime();
  collector.collectDataPostConnect("1", "2", "00:00:00:00:00:01", "00:00:00:00:00:02", "-61", "10.0.0.2", "10.0.0.1");
  collector.setErrorCode(0);
  collector.setAutoConnect(1);
  collector.collectDataOnDisconnect(3, -70, "4.70", "2026-11-02", 5'000'000'000, 7);
  printResult("saved", collector.saveRec());
  const std::string file = collector.getSQMFileName();
  print("file", std::string_view(file).substr(file.rfind('/') + 1));
  for (std::int64_t position = 0; position < 86; ++position) print("position", collector.valueForField(position));
}

void report() {
  sqm::SQMDiagnosticsRecord& record = *sqm::SQMDiagnosticsRecord::sharedSQMDiagnosticsRecord();
  record.setSsid("Café");
  record.setSigStrength("-61");
  record.setRavixUagent("agent");
  record.setErrorCode("2");
  record.discoveryDetails()->push_back("Portal found");
  record.loginPollDetails()->push_back(sqm::JsonObject{{"status", "200"}});
  print("discovery", record.formatDiscoveryDetails());
  print("poll", record.formatLoginPollDetails());
  print("report", record.formattedDiagnosticJsonBlob());
  record.resetDiagnosticsRecord();
  print("reset", record.ssid());
  print("report", record.formattedDiagnosticJsonBlob());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const std::string home = argv[1];
  const std::string server = argv[3];
  FixedClock clock;
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home;
  options.resourceDirectory = argv[2];
  options.services.clock = &clock;
  sqm::platform::StandardHost host(options);
  sqm::Host::install(host);
  printResult("folders", host.makeFolders());
  printResult("stamp", host.preferences().setClientTimeStamp("\"1763975258\""));
  std::vector<sqm::NotificationCenter::Registration> observers;
  for (const auto name : {sqm::TrelkSQMUploadSuccess, sqm::TrelkSQMUploadFailure, sqm::TrelkSQMUploadComplete,
                          sqm::TrelkSQMUploadError}) {
    observers.push_back(host.notificationCenter->addObserver(
        name, nullptr, [](const sqm::Notification& posted) { print("notified", posted.name); }));
  }

  sqm::SQMManager manager(host);
  manager.SetSQMClientURL(server + "/client");
  manager.SetSQMConnectionURL(server + "/connection");
  manager.SetSQMDeviceURL(server + "/device");
  manager.SetSQMApplicationURL(server + "/application");
  manager.SetSQMUserAcceptanceURL(server + "/userAcceptance");
  record(manager, newEvent());
  manager.uploadSQM();
  printResult("idle", host.runUntilIdle(240s));
  printNumber("state", static_cast<std::int64_t>(*sqm::typeInFlight(manager.uploadState())));
  record(manager, newEvent());
  manager.saveToDisk();

  collect(host, home);
  const auto uploader = sqm::SQMUploader::create(host);
  uploader->setSQMDirPath(home);
  uploader->setSQMUploadUrl(server + "/sqm");
  uploader->startSend();
  printResult("idle", host.runUntilIdle(240s));
  printNumber("status", uploader->getActivityStatus());
  collect(host, home);

  sqm::QFRecordUploader& queue = *sqm::QFRecordUploader::sharedQFRecordUploader();
  printResult("queued", queue.quequeRecord("one", server + "/one"));
  printResult("queued", queue.quequeRecord("two é", server + "/two"));
  queue.uploadRecord();
  printResult("idle", host.runUntilIdle(240s));
  printResult("queued", queue.quequeRecord("three", "http://127.0.0.1:1/"));
  printNumber("left", static_cast<std::int64_t>(queue.recordQueue()->size()));
  report();
  return 0;
}
