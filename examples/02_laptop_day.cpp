// A laptop's day: every kind of event is recorded, and saved for another process to upload.
// Usage: 02_laptop_day HOME, where HOME replaces the user's home directory.

#include <cstdio>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/RuleFilter.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/PreferencesFile.h"
#include "sqm/records/SQMApplicationRecHelper.h"
#include "sqm/records/SQMUserAcceptRecHelper.h"

#include "examples/Story.h"

namespace {

using story::event;
using story::print;

enum Medium : std::int64_t { wiFi = 1, mobileBroadband = 2, ethernet = 3 };

/// The client and the modem report what they are.
void morning(sqm::SQMManager& manager) {
  print("08:55", "the client starts and reports itself and its modem");
  const auto client = event({{6, "2026-11-21T08:55:00Z"},
                             {7, "client-4711"},
                             {1, "Example Client"},
                             {2, "4.70"},
                             {3, "12"},
                             {4, "install-0815"}});
  manager.sqmCreateClientRecord(&client);
  const auto device = event({{6, "2026-11-21T08:55:02Z"},
                             {43, "LTE modem"},
                             {64, "Example & Sons"},
                             {54, "11.2"},
                             {66, "490154203237518"},
                             {71, "wwan0"},
                             {72, "USB"}});
  manager.sqmCreateDeviceRecord(&device);
}

/// Wi-Fi in a café whose network name needs escaping, which the library does, and a VPN session in it.
void wiFiWithVpn(sqm::SQMManager& manager) {
  const auto& codes = *sqm::SQMApplicationRecHelper::sharedSQMApplicationRecHelper();
  manager.setDeviceType(wiFi);
  print("09:30", "Wi-Fi: connected to “Café <Bar> & \"Friends\" ☕”");
  const auto start = event({{6, "2026-11-21T09:30:00Z"},
                            {7, "client-4711"},
                            {11, "session-1"},
                            {12, "connected"},
                            {13, "ada"},
                            {16, "192.0.2.17"},
                            {23, std::int64_t{-61}},
                            {24, "11"},
                            {25, "WPA2"},
                            {26, "Café <Bar> & \"Friends\" ☕"},
                            {27, "02:00:5e:10:00:01"},
                            {30, "2.4 GHz"},
                            {87, "3"}});
  manager.sqmCreateStartRecord(&start);

  print("09:31", "VPN: the session starts by itself");
  const auto vpnStart = event({{6, "2026-11-21T09:31:00Z"},
                               {13, "ada"},
                               {75, codes.launchType(1)},
                               {76, "Head office"},
                               {79, codes.connectionStatusCode(1)},
                               {80, codes.connectionResult(1)},
                               {82, "IKEv2"},
                               {83, "2"},
                               {85, "vpn.example.com"},
                               {86, "4.70"}});
  manager.sqmCreateApplicationStartRecord(&vpnStart);

  print("11:58", "VPN: the user ends it");
  const auto vpnStop = event({{6, "2026-11-21T11:58:00Z"},
                              {13, "ada"},
                              {75, codes.launchType(1)},
                              {76, "Head office"},
                              {82, "IKEv2"},
                              {84, codes.vpnDisconnectReasonCode(1)},
                              {85, "vpn.example.com"},
                              {86, "4.70"}});
  manager.sqmCreateApplicationStopRecord(&vpnStop);

  print("12:00", "Wi-Fi: disconnected");
  const auto stop = event({{6, "2026-11-21T12:00:00Z"},
                           {7, "client-4711"},
                           {11, "session-1"},
                           {12, "disconnected"},
                           {13, "ada"},
                           {20, "user"},
                           {21, std::int64_t{1'204'511}},
                           {22, std::int64_t{48'730'112}}});
  manager.sqmCreateStopRecord(&stop);
}

/// On the train, abroad.
void mobileBroadbandWithPrompt(sqm::SQMManager& manager) {
  const auto& prompts = *sqm::SQMUserAcceptRecHelper::sharedSQMUserAcceptRecHelper();
  manager.setDeviceType(mobileBroadband);
  print("13:10", "mobile broadband: the user is asked about roaming, and agrees");
  const auto answer = event({{6, "2026-11-21T13:10:00Z"},
                             {13, "ada"},
                             {88, prompts.alertMessageType(0)},
                             {89, "yes"},
                             {90, std::int64_t{4}}});
  manager.sqmCreateUserAcceptanceRecord(&answer);

  print("13:11", "mobile broadband: connected");
  const auto start = event({{6, "2026-11-21T13:11:00Z"},
                            {7, "client-4711"},
                            {11, "session-2"},
                            {12, "connected"},
                            {13, "ada"},
                            {43, "LTE modem"},
                            {44, "Example Mobile"},
                            {45, "internet"},
                            {46, "LTE"},
                            {47, "1"},
                            {50, "roaming"},
                            {51, "26201"},
                            {52, "Zürich & Umgebung"},
                            {59, std::int64_t{-97}}});
  manager.sqmCreateStartRecord(&start);
  print("14:45", "mobile broadband: dropped in a tunnel");
  const auto stop = event({{6, "2026-11-21T14:45:00Z"},
                           {7, "client-4711"},
                           {11, "session-2"},
                           {12, "dropped"},
                           {13, "ada"},
                           {20, "signal lost"},
                           {21, std::int64_t{88'120}},
                           {22, std::int64_t{912'404}}});
  manager.sqmCreateStopRecord(&stop);
}

/// At the desk.
void wired(sqm::SQMManager& manager) {
  manager.setDeviceType(ethernet);
  print("15:30", "Ethernet: connected");
  const auto start = event({{6, "2026-11-21T15:30:00Z"},
                            {7, "client-4711"},
                            {11, "session-3"},
                            {12, "connected"},
                            {13, "ada"},
                            {73, "1000"}});
  manager.sqmCreateStartRecord(&start);
  print("18:02", "Ethernet: disconnected");
  const auto stop = event({{6, "2026-11-21T18:02:00Z"},
                           {7, "client-4711"},
                           {11, "session-3"},
                           {12, "disconnected"},
                           {13, "ada"},
                           {20, "cable"}});
  manager.sqmCreateStopRecord(&stop);
}

/// In the evening the host's policy excludes VPN sessions from the records.
void eveningWithoutVpnRecords(sqm::SQMManager& manager) {
  print("20:15", "VPN: a session, which the filter keeps out of the records");
  const auto start = event({{6, "2026-11-21T20:15:00Z"}, {13, "ada"}, {76, "Private"}, {85, "vpn.example.org"}});
  manager.sqmCreateApplicationStartRecord(&start);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s HOME\n", argv[0]);
    return 2;
  }
  auto options = sqm::platform::StandardHost::Options::recommended();  // a crash loses no record
  options.homeDirectory = argv[1];
  sqm::platform::StandardHost host(options);
  if (!host.makeFolders()) return 1;
  host.preferences().setClientTimeStamp("\"2026-11-21T08:55:00Z\"");
  // A filter completes user-acceptance records.
  const sqm::platform::ReplaceRule completion = {.name = "useracceptance", .values = {{"6", "complete"}}};
  host.filter().setRules({}, {completion});

  sqm::SQMManager manager(host);
  morning(manager);
  wiFiWithVpn(manager);
  mobileBroadbandWithPrompt(manager);
  wired(manager);
  host.filter().setRules({{.name = "application", .subType = "vpn"}}, {completion});
  eveningWithoutVpnRecords(manager);

  manager.saveToDisk();
  print("23:00", "the laptop is switched off");
  return 0;
}
