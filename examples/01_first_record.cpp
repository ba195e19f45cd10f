#include <chrono>
#include <string>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"

int main(int argc, char** argv) {
  const std::string server = argc > 1 ? argv[1] : "http://127.0.0.1:8080";
  // HTTP, files, logs, locale: the services the library needs. With these options a crash loses no record.
  sqm::platform::StandardHost host(sqm::platform::StandardHost::Options::recommended());
  if (!host.makeFolders()) return 1;

  sqm::SQMManager manager(host);  // holds what earlier runs saved
  manager.SetSQMConnectionURL(server + "/connection");
  manager.setDeviceType(1);  // Wi-Fi

  sqm::SQMSessionParams attempt;  // value N feeds the field that entry N of SQMFieldNames.plist names
  attempt.setStringValue("2026-11-21T09:30:00Z", 6);
  attempt.setStringValue("Café & Bar", 26);
  attempt.setIntValue(-61, 23);
  manager.sqmCreateStartRecord(&attempt);
  manager.sqmCreateStopRecord(&attempt);
  manager.saveToDisk();

  return host.shutDown(std::chrono::seconds(10), {manager.uploadTarget()}).isCutOff ? 1 : 0;  // sends and saves
}
