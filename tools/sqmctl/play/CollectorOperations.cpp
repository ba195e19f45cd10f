// The operations of the file-based path: one collector, one uploader, and the clock that the collector reads.

#include <cstddef>
#include <utility>

#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

namespace {

using sqm::SQMDataCollector;

Result directory(Player& player, const Arguments& arguments) {
  const std::string path = player.pathOf(arguments.text("path").value());
  player.makeFolder(path);
  player.addSessionFolder(path);
  player.collector().setSQMDirPath(path);
  return nullptr;
}

/// Calls an operation of the collector with all of its arguments, which are texts, in their order.
template <auto call, const auto& names>
Result withTexts(Player& player, const Arguments& arguments) {
  [&]<std::size_t... at>(std::index_sequence<at...>) {
    (player.collector().*call)(arguments.text(names[at].name).value()...);
  }
  (std::make_index_sequence<names.size()>());
  return nullptr;
}

constexpr auto kCreation = texts("first", "lang", "username", "fullUserName", "profileID", "installId", "sqmCounter");
constexpr auto kPreConnect =
    texts("first", "forSSID", "accessProcedure", "popType", "wiFiSecurity", "phoneVer", "pbUpdateDate");
constexpr auto kPostConnect =
    texts("first", "devicetype", "clientMacAddress", "apMacAddress", "signalstrength", "clientIP", "serverIP");

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

template <auto call>
constexpr auto kPlain = plain<&Player::collector, call>;
template <auto call>
constexpr auto kWithInteger = withInteger<&Player::collector, call>;

constexpr Argument kDirectory[] = {required("path", kPath)};
constexpr Argument kUploadDirectory[] = {required("path", kPath), required("url", kText), kTimeout};
constexpr Argument kAdvance[] = {required("seconds", kNumber)};

constexpr Operation kOperations[] = {
    {"collector.directory", kDirectory, directory},
    {"collector.creation", kCreation, withTexts<&SQMDataCollector::collectDataOnCreation, kCreation>},
    {"collector.preConnect", kPreConnect, withTexts<&SQMDataCollector::collectDataonPreConnect, kPreConnect>},
    {"collector.connectStart", {}, kPlain<&SQMDataCollector::setConnectStartTime>},
    {"collector.loginStart", {}, kPlain<&SQMDataCollector::setLoginStartTime>},
    {"collector.loginEnd", {}, kPlain<&SQMDataCollector::setLoginEndTime>},
    {"collector.postConnect", kPostConnect, withTexts<&SQMDataCollector::collectDataPostConnect, kPostConnect>},
    {"collector.errorCode", kValue, kWithInteger<&SQMDataCollector::setErrorCode>},
    {"collector.autoConnect", kValue, kWithInteger<&SQMDataCollector::setAutoConnect>},
    {"collector.disconnect", kDisconnect, disconnect},
    {"collector.save", {}, kPlain<&SQMDataCollector::saveRecord>},
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
