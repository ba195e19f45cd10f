#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace sqm {

/// The positions of the row in a `.sqm` file that `SQMDataCollector` writes; all others stay empty. The value is the
/// position. Servers read the row by position: not to change. docs/sqm-files.md describes each.
enum class SqmPosition : std::uint8_t {
  username = 0,
  osVersion = 1,
  application = 2,
  reserved3 = 3,
  postConnect = 4,
  devicetype = 5,
  forSSID = 7,
  reserved9 = 9,
  connectStart = 12,
  loginStart = 13,
  secondsToLogin = 14,
  serverIP = 15,
  clientIP = 16,
  errorCode = 18,
  creation = 19,
  profileID = 20,
  fullUserName = 21,
  accessPointOwner = 24,
  accessProcedure = 28,
  reserved29 = 29,
  lang = 30,
  sqmCounter = 31,
  loginSeconds = 32,
  disconnect = 33,
  preConnect = 34,
  reserved35 = 35,
  reserved36 = 36,
  clientMacAddress = 37,
  apMacAddress = 38,
  secondForSSID = 40,
  installId = 41,
  reserved42 = 42,
  reserved43 = 43,
  signalstrength = 58,
  finalSigStrength = 66,
  txBytes = 70,
  rxBytes = 71,
  phoneVer = 75,
  pbUpdateDate = 76,
  reserved77 = 77,
  wiFiSecurity = 79,
  reserved82 = 82,
  reserved83 = 83,
  autoConnect = 85,
};

struct SqmPositionName {
  SqmPosition position;
  std::string_view name;  ///< empty for a reserved position, which never holds anything but a constant
};

/// Every position of the enumeration with its name, in order.
inline constexpr std::array<SqmPositionName, 44> kSqmPositionNames = {{
    {SqmPosition::username, "username"},
    {SqmPosition::osVersion, "osVersion"},
    {SqmPosition::application, "application"},
    {SqmPosition::reserved3, ""},
    {SqmPosition::postConnect, "postConnect"},
    {SqmPosition::devicetype, "devicetype"},
    {SqmPosition::forSSID, "forSSID"},
    {SqmPosition::reserved9, ""},
    {SqmPosition::connectStart, "connectStart"},
    {SqmPosition::loginStart, "loginStart"},
    {SqmPosition::secondsToLogin, "secondsToLogin"},
    {SqmPosition::serverIP, "serverIP"},
    {SqmPosition::clientIP, "clientIP"},
    {SqmPosition::errorCode, "errorCode"},
    {SqmPosition::creation, "creation"},
    {SqmPosition::profileID, "profileID"},
    {SqmPosition::fullUserName, "fullUserName"},
    {SqmPosition::accessPointOwner, "accessPointOwner"},
    {SqmPosition::accessProcedure, "accessProcedure"},
    {SqmPosition::reserved29, ""},
    {SqmPosition::lang, "lang"},
    {SqmPosition::sqmCounter, "sqmCounter"},
    {SqmPosition::loginSeconds, "loginSeconds"},
    {SqmPosition::disconnect, "disconnect"},
    {SqmPosition::preConnect, "preConnect"},
    {SqmPosition::reserved35, ""},
    {SqmPosition::reserved36, ""},
    {SqmPosition::clientMacAddress, "clientMacAddress"},
    {SqmPosition::apMacAddress, "apMacAddress"},
    {SqmPosition::secondForSSID, "forSSID"},
    {SqmPosition::installId, "installId"},
    {SqmPosition::reserved42, ""},
    {SqmPosition::reserved43, ""},
    {SqmPosition::signalstrength, "signalstrength"},
    {SqmPosition::finalSigStrength, "finalSigStrength"},
    {SqmPosition::txBytes, "txBytes"},
    {SqmPosition::rxBytes, "rxBytes"},
    {SqmPosition::phoneVer, "phoneVer"},
    {SqmPosition::pbUpdateDate, "pbUpdateDate"},
    {SqmPosition::reserved77, ""},
    {SqmPosition::wiFiSecurity, "wiFiSecurity"},
    {SqmPosition::reserved82, ""},
    {SqmPosition::reserved83, ""},
    {SqmPosition::autoConnect, "autoConnect"},
}};
static_assert(std::is_sorted(kSqmPositionNames.begin(), kSqmPositionNames.end(), [](const auto& a, const auto& b) {
  return a.position <= b.position;  // neither out of order nor twice
}));

}  // namespace sqm
