#include "tools/fleet/sim/Recorder.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

#include "sqm/manager/SQMSessionParams.h"
#include "sqm/records/SQMApplicationRecHelper.h"
#include "sqm/records/SQMUserAcceptRecHelper.h"

namespace fleet {

namespace {

/// The parameters of one event, by the names of their fields.
class Values {
 public:
  explicit Values(const sqm::FieldNameTable& names) : names_(names) {}

  Values& set(std::string_view name, std::string_view value) {
    params_.setStringValue(value, numberOf(name));
    return *this;
  }
  Values& set(std::string_view name, std::int64_t value) {
    params_.setIntValue(value, numberOf(name));
    return *this;
  }
  const sqm::SQMSessionParams* params() const { return &params_; }

 private:
  std::int64_t numberOf(std::string_view name) const {
    const auto number = names_.fieldNamed(name);
    if (!number) throw std::runtime_error("the field-name table has no \"" + std::string(name) + "\"");
    return static_cast<std::int64_t>(*number);
  }

  const sqm::FieldNameTable& names_;
  sqm::SQMSessionParams params_;
};

std::string isoText(Time time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02ld:%02ld:%02ldZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<long>(clock.hours().count()), static_cast<long>(clock.minutes().count()),
                static_cast<long>(clock.seconds().count()));
  return text.data();
}

std::string secondsText(int tenths) { return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10); }

std::string numbered(std::string_view prefix, std::uint64_t number) {
  return std::string(prefix) + std::to_string(number);
}

/// What is being recorded: the texts that several records share.
struct Subject {
  const World& world;
  const sqm::FieldNameTable& names;
  std::uint32_t client;
  const Profile profile = profileOf(world, client);
  const std::string clientId = numbered("client-", client);
  const std::string user = numbered("user-", client);
};

// --- Connections --------------------------------------------------------------------------------------------------

std::string_view statusAtStart(const Connection& connection) {
  return connection.isConnected() ? "connected" : "failed";
}

std::string_view statusAtEnd(const Connection& connection) {
  switch (connection.outcome) {
    case Connection::Outcome::failed:
      return "failed";
    case Connection::Outcome::ended:
      return "disconnected";
    case Connection::Outcome::dropped:
      break;
  }
  return "dropped";
}

Values connectionValues(const Subject& subject, const Connection& connection) {
  Values values(subject.names);
  values.set("clientId", subject.clientId)
      .set("sessionId",
           numbered(subject.clientId + "-", static_cast<std::uint64_t>(connection.begin.time_since_epoch().count())))
      .set("userName", subject.user);
  if (connection.isConnected()) values.set("ipAddress", "192.0.2." + std::to_string(subject.client % 250 + 1));
  return values;
}

void setWiFi(Values& values, const Network& network, const Connection& connection) {
  const auto number = connection.network;
  values.set("adapterName", "wlan0")
      .set("ssid", network.name)
      .set("profileName", network.name)
      .set("signalStrength", connection.signal)
      .set("channel", static_cast<std::int64_t>(1 + number % 13))
      .set("securityMode", network.place == Place::hotspot ? "none" : "WPA2")
      .set("accessPoint",
           "02:00:5e:10:" + std::to_string(10 + number / 90 % 90) + ":" + std::to_string(10 + number % 90))
      .set("band", number % 3 == 0 ? "2.4 GHz" : "5 GHz")
      .set("radioType", "802.11ac")
      .set("loginResult", connection.isConnected() ? "success" : connection.reason)
      .set("accessPointOwner", numbered("", static_cast<std::uint64_t>(network.place)));
  if (connection.isConnected()) values.set("loginSeconds", secondsText(connection.connectTenths));
}

void setMobile(Values& values, const Network& network, const Connection& connection) {
  const bool isRoaming = network.place == Place::foreignCarrier;
  values.set("adapterName", "wwan0")
      .set("deviceModel", "LTE modem")
      .set("carrier", network.name)
      .set("accessPointName", "internet")
      .set("technology", connection.technology)
      .set("roaming", isRoaming ? "1" : "0")
      .set("homeNetwork", "26201")
      .set("registration", isRoaming ? "roaming" : "home")
      .set("operatorName", network.name)
      .set("receivedPower", connection.signal);
  if (connection.isConnected()) values.set("attachSeconds", secondsText(connection.connectTenths));
}

void recordStart(sqm::SQMManager& manager, const Subject& subject, const Connection& connection) {
  const Network& network = subject.world.network(connection.network);
  Values values = connectionValues(subject, connection);
  values.set("eventTime", isoText(connection.begin))
      .set("connectionStatus", statusAtStart(connection))
      .set("launchType", connection.isAutomatic ? "automatic" : "user")
      .set("autoConnect", connection.isAutomatic ? "1" : "0");
  if (network.medium == Medium::wiFi) setWiFi(values, network, connection);
  if (network.medium == Medium::mobile) setMobile(values, network, connection);
  if (network.medium == Medium::ethernet) values.set("adapterName", "eth0").set("wiredSpeed", "1000");
  manager.setDeviceType(static_cast<std::int64_t>(network.medium));
  manager.sqmCreateStartRecord(values.params());
}

void recordStop(sqm::SQMManager& manager, const Subject& subject, const Connection& connection) {
  Values values = connectionValues(subject, connection);
  values.set("eventTime", isoText(connection.end))
      .set("connectionStatus", statusAtEnd(connection))
      .set("disconnectReason", connection.reason)
      .set("bytesSent", connection.bytesSent)
      .set("bytesReceived", connection.bytesReceived);
  manager.sqmCreateStopRecord(values.params());
}

// --- VPN sessions -------------------------------------------------------------------------------------------------

const sqm::SQMApplicationRecHelper& vpnCodes() {
  return *sqm::SQMApplicationRecHelper::sharedSQMApplicationRecHelper();
}

Values vpnValues(const Subject& subject, const Vpn& vpn) {
  Values values(subject.names);
  values.set("userName", subject.user)
      .set("vpnLaunch", vpnCodes().launchType(vpn.launchType))
      .set("vpnProfile", "Head office")
      .set("vpnProtocol", "IKEv2")
      .set("vpnGateway", "vpn.example.com")
      .set("vpnClientVersion", subject.profile.version);
  return values;
}

void recordVpnStart(sqm::SQMManager& manager, const Subject& subject, const Vpn& vpn) {
  constexpr std::int32_t kSuccess = 1;
  constexpr std::int32_t kFailure = 2;
  Values values = vpnValues(subject, vpn);
  values.set("eventTime", isoText(vpn.begin))
      .set("vpnStatus", vpnCodes().connectionStatusCode(vpn.status))
      .set("vpnResult", vpnCodes().connectionResult(vpn.isSuccess() ? kSuccess : kFailure))
      .set("vpnSetupSeconds", secondsText(vpn.setupTenths));
  manager.sqmCreateApplicationStartRecord(values.params());
}

void recordVpnStop(sqm::SQMManager& manager, const Subject& subject, const Vpn& vpn) {
  Values values = vpnValues(subject, vpn);
  values.set("eventTime", isoText(vpn.end))
      .set("vpnDisconnectReason", vpnCodes().vpnDisconnectReasonCode(vpn.endReason));
  manager.sqmCreateApplicationStopRecord(values.params());
}

// --- The others ---------------------------------------------------------------------------------------------------

void recordClient(sqm::SQMManager& manager, const Subject& subject, Time at) {
  Values values(subject.names);
  values.set("eventTime", isoText(at))
      .set("clientId", subject.clientId)
      .set("productName", "Example Client")
      .set("productVersion", subject.profile.version)
      .set("profileVersion", "12")
      .set("installId", numbered("install-", subject.client));
  manager.sqmCreateClientRecord(values.params());
}

void recordDevice(sqm::SQMManager& manager, const Subject& subject, Time at) {
  Values values(subject.names);
  values.set("eventTime", isoText(at))
      .set("deviceModel", "LTE modem")
      .set("manufacturer", "Example & Sons")
      .set("firmware", "11.2")
      .set("equipmentId", numbered("4901542032", 10'000 + subject.client))
      .set("driverName", "wwan0")
      .set("busType", "USB");
  manager.sqmCreateDeviceRecord(values.params());
}

void recordPrompt(sqm::SQMManager& manager, const Subject& subject, Time at) {
  constexpr std::int32_t kRoaming = 0;
  Values values(subject.names);
  values.set("eventTime", isoText(at))
      .set("userName", subject.user)
      .set("promptKind", sqm::SQMUserAcceptRecHelper::sharedSQMUserAcceptRecHelper()->alertMessageType(kRoaming))
      .set("promptAnswer", "yes")
      .set("promptSeconds", 4);
  manager.sqmCreateUserAcceptanceRecord(values.params());
}

}  // namespace

void Recorder::record(sqm::SQMManager& manager, std::uint32_t client, const Day& day, const Event& event) const {
  const Subject subject{world_, names_, client};
  switch (event.kind) {
    case Event::Kind::clientStart:
      return recordClient(manager, subject, event.at);
    case Event::Kind::device:
      return recordDevice(manager, subject, event.at);
    case Event::Kind::prompt:
      return recordPrompt(manager, subject, event.at);
    case Event::Kind::connect:
      return recordStart(manager, subject, day.connections[event.connection]);
    case Event::Kind::vpnStart:
      return recordVpnStart(manager, subject, *day.connections[event.connection].vpn);
    case Event::Kind::vpnStop:
      return recordVpnStop(manager, subject, *day.connections[event.connection].vpn);
    case Event::Kind::disconnect:
      return recordStop(manager, subject, day.connections[event.connection]);
    case Event::Kind::upload:
    case Event::Kind::sleep:
      return;
  }
}

}  // namespace fleet
