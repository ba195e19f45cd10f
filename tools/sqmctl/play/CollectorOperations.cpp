// The operations of the file-based path: one collector, one uploader, and the clock that the collector reads.

#include <nlohmann/json.hpp>

#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

namespace {

using sqm::SQMDataCollector;

Result directory(Player& player, const Arguments& arguments) {
  const std::string path = player.pathOf(arguments.text("path").value());
  player.makeFolder(path);
  player.collector().setSQMDirPath(path);
  return nullptr;
}

constexpr Argument kCreation[] = {required("first", kText),     required("lang", kText),
                                  required("username", kText),  required("fullUserName", kText),
                                  required("profileID", kText), required("installId", kText),
                                  required("sqmCounter", kText)};

Result creation(Player& player, const Arguments& arguments) {
  const auto text = [&](std::string_view name) { return arguments.text(name).value(); };
  player.collector().collectDataOnCreation(text("first"), text("lang"), text("username"), text("fullUserName"),
                                           text("profileID"), text("installId"), text("sqmCounter"));
  return nullptr;
}

constexpr Argument kPreConnect[] = {required("first", kText),           required("forSSID", kText),
                                    required("accessProcedure", kText), required("popType", kText),
                                    required("wiFiSecurity", kText),    required("phoneVer", kText),
                                    required("pbUpdateDate", kText)};

Result preConnect(Player& player, const Arguments& arguments) {
  const auto text = [&](std::string_view name) { return arguments.text(name).value(); };
  player.collector().collectDataonPreConnect(text("first"), text("forSSID"), text("accessProcedure"), text("popType"),
                                             text("wiFiSecurity"), text("phoneVer"), text("pbUpdateDate"));
  return nullptr;
}

constexpr Argument kPostConnect[] = {
    required("first", kText),        required("devicetype", kText),     required("clientMacAddress", kText),
    required("apMacAddress", kText), required("signalstrength", kText), required("clientIP", kText),
    required("serverIP", kText)};

Result postConnect(Player& player, const Arguments& arguments) {
  const auto text = [&](std::string_view name) { return arguments.text(name).value(); };
  player.collector().collectDataPostConnect(text("first"), text("devicetype"), text("clientMacAddress"),
                                            text("apMacAddress"), text("signalstrength"), text("clientIP"),
                                            text("serverIP"));
  return nullptr;
}

constexpr Argument kDisconnect[] = {required("first", kUnsigned32), required("finalSigStrength", kInteger),
                                    required("rxBytes", kInteger),  required("txBytes", kInteger),
                                    required("phoneVer", kText),    required("pbUpdateDate", kText)};

Result disconnect(Player& player, const Arguments& arguments) {
  player.collector().collectDataOnDisconnect(static_cast<std::uint32_t>(arguments.integer("first")),
                                             arguments.integer("finalSigStrength"), arguments.text("phoneVer").value(),
                                             arguments.text("pbUpdateDate").value(), arguments.integer("rxBytes"),
                                             arguments.integer("txBytes"));
  return nullptr;
}

Result uploadDirectory(Player& player, const Arguments& arguments) {
  player.uploader().setSQMDirPath(player.pathOf(arguments.text("path").value()));
  player.uploader().setSQMUploadUrl(arguments.text("url"));
  const Player::Names notifications = player.uploadDirectory(timeoutOf(arguments));
  return {{"status", player.uploader().getActivityStatus()}, {"notifications", notifications}};
}

/// Calls an operation of the collector without arguments.
template <auto call>
Result plain(Player& player, const Arguments& /*arguments*/) {
  (player.collector().*call)();
  return nullptr;
}

/// Calls an operation of the collector with one integer.
template <void (SQMDataCollector::*call)(std::int64_t)>
Result withInteger(Player& player, const Arguments& arguments) {
  (player.collector().*call)(arguments.integer("value"));
  return nullptr;
}

constexpr Argument kDirectory[] = {required("path", kPath)};
constexpr Argument kValue[] = {required("value", kInteger)};
constexpr Argument kUploadDirectory[] = {required("path", kPath), required("url", kText), kTimeout};
constexpr Argument kAdvance[] = {required("seconds", kNumber)};

constexpr Operation kOperations[] = {
    {"collector.directory", kDirectory, directory},
    {"collector.creation", kCreation, creation},
    {"collector.preConnect", kPreConnect, preConnect},
    {"collector.connectStart", {}, plain<&SQMDataCollector::setConnectStartTime>},
    {"collector.loginStart", {}, plain<&SQMDataCollector::setLoginStartTime>},
    {"collector.loginEnd", {}, plain<&SQMDataCollector::setLoginEndTime>},
    {"collector.postConnect", kPostConnect, postConnect},
    {"collector.errorCode", kValue, withInteger<&SQMDataCollector::setErrorCode>},
    {"collector.autoConnect", kValue, withInteger<&SQMDataCollector::setAutoConnect>},
    {"collector.disconnect", kDisconnect, disconnect},
    {"collector.save", {}, plain<&SQMDataCollector::saveRecord>},
    {"directory.upload", kUploadDirectory, uploadDirectory},
    {"advance", kAdvance,
     [](Player& player, const Arguments& arguments) -> Result {
       player.clock()->advance(arguments.number("seconds"));
       return nullptr;
     },
     Operation::Needs::standingClock},
};

}  // namespace

std::span<const Operation> collectorOperations() { return kOperations; }

}  // namespace sqmctl::play
