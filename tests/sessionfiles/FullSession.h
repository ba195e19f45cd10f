#pragma once

#include <chrono>
#include <string>

#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/testing/FakeServices.h"

// A session in Berlin on the evening of 15 November 2026, from the creation of its record to the save. It writes
// tests/golden/full_session.sqm.

inline constexpr sqm::Date kSessionConnectStart = std::chrono::sys_days(std::chrono::November / 15 / 2026) +
                                                  std::chrono::hours(20) + std::chrono::minutes(1) +
                                                  std::chrono::seconds(5);
inline constexpr sqm::Date kSessionLoginStart = kSessionConnectStart + std::chrono::milliseconds(5900);
inline constexpr std::string_view kSessionFile = "0Q20261115210738.sqm";

inline void collectFullSession(sqm::SQMDataCollector& collector, sqm::testing::ManualClock& clock) {
  clock.set(kSessionConnectStart - std::chrono::seconds(3));
  collector.collectDataOnCreation("creation", "de", "jo@example.net", "trelk/jo@example.net", "profile-7", "install-41",
                                  "17");
  collector.collectDataonPreConnect("w", "Caf\xC3\xA9 Mitte", "wispr", "trelk", "WPA2", "12.4", "2026-11-01");
  clock.set(kSessionConnectStart);
  collector.setConnectStartTime();
  clock.set(kSessionLoginStart);
  collector.setLoginStartTime();
  clock.advance(std::chrono::milliseconds(2700));
  collector.setLoginEndTime();
  collector.collectDataPostConnect("post", "WiFi", "00:1b:63:84:45:e6", "00:24:6c:11:22:33", "-61", "192.0.2.17",
                                   "198.51.100.4");
  collector.setErrorCode(0);
  collector.setAutoConnect(1);
  clock.set(kSessionConnectStart + std::chrono::minutes(6) + std::chrono::seconds(33));
  collector.collectDataOnDisconnect(4, -67, "12.5", "2026-11-15", 1'048'576, 65'536);
  collector.saveRecord();
}
