// Reports a failed connection attempt: prints the report, a line of text that the user can send in.
// To read it: 06_diagnostics | base64 -d | gunzip

#include <cstdio>
#include <string>

#include "sqm/diagnostics/SQMDiagnosticsRecord.h"
#include "sqm/platform/StandardHost.h"

int main() {
  sqm::platform::StandardHost host(
      sqm::platform::StandardHost::Options::recommended());  // what a client should begin with
  sqm::Host::install(host);                                  // the process-wide record uses it
  auto& record = *sqm::SQMDiagnosticsRecord::sharedSQMDiagnosticsRecord();
  record.setRavixUagent("ConnectivityClient/4.2");  // the same for every probe

  record.resetDiagnosticsRecord();  // a new attempt begins
  record.setSsid("Café & Bar");
  record.setSigStrength("-61");
  record.setApmac("02:00:5e:10:00:01");
  record.setNic("en1");

  record.resetRavixDiagnosticsRecord();  // the probe for a captive portal
  record.setRavixUrl("http://probe.example/");
  record.setRavixHttpStatusCode("302");
  record.setRavixResp("Location: https://portal.example/login");

  record.discoveryDetails()->emplace_back("Portal found");
  record.setAuthProtocol("portal");
  record.setLoginURL("https://portal.example/login");
  for (const char* each : {"1", "2", "3"}) {
    record.loginPollDetails()->emplace_back(sqm::JsonObject{{"Try", each}, {"Answer", "pending"}});
  }
  record.setErrorCode("2");
  record.setErrorDetails("Timeout");

  const std::string report = record.formattedDiagnosticJsonBlob();
  std::puts(report.c_str());
  return report.empty() ? 1 : 0;
}
