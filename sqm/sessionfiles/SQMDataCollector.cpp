#include "sqm/sessionfiles/SQMDataCollector.h"

#include <array>
#include <chrono>
#include <utility>

#include "sqm/common/Dates.h"
#include "sqm/common/Format.h"
#include "sqm/common/UtilityFunctions.h"
#include "sqm/sessionfiles/SqmPosition.h"

namespace sqm {

namespace {

/// A Unicode date pattern. Y is the week-based year, and F, in the place of a fraction of a second, the number of the
/// weekday in the month. The servers expect both: not to change.
constexpr std::string_view kStartTimePattern = "Y-MM-dd H:mm:s.F";

/// The codes of the owners of access points, by `popType`.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kOwnerCodes = {
    {{"", "3"}, {"trelk", "0"}, {"customer", "1"}, {"home", "2"}}};

std::string_view codeOfOwner(std::optional<std::string_view> popType) {
  for (const auto& [owner, code] : kOwnerCodes) {
    if (popType == owner) return code;
  }
  return {};
}

}  // namespace

void SQMDataCollector::set(SqmPosition position, Text text) {
  setStringValueForField(static_cast<std::int64_t>(position), text);
}

void SQMDataCollector::set(SqmPosition position, std::int64_t number) {
  setIntValueForField(static_cast<std::int64_t>(position), number);
}

void SQMDataCollector::collectDataOnCreation(Text first, Text lang, Text username, Text fullUserName, Text profileID,
                                             Text installId, Text sqmCounter) {
  clear();
  set(SqmPosition::username, username);
  set(SqmPosition::fullUserName, fullUserName);
  if (!mOSver_) mOSver_ = getOSVersion();
  set(SqmPosition::osVersion, mOSver_);
  set(SqmPosition::reserved3, "");
  set(SqmPosition::creation, first);
  set(SqmPosition::profileID, profileID);
  set(SqmPosition::installId, installId);
  set(SqmPosition::lang, lang);
  set(SqmPosition::sqmCounter, sqmCounter);
  set(SqmPosition::application, "Barrim.exe 4.70");
  set(SqmPosition::reserved9, "");
  set(SqmPosition::reserved43, "0");
  set(SqmPosition::errorCode, -100);
  set(SqmPosition::reserved77, 1);
  set(SqmPosition::reserved42, "");
  set(SqmPosition::reserved82, "");
  set(SqmPosition::reserved83, "");
  set(SqmPosition::autoConnect, 0);
}

void SQMDataCollector::collectDataonPreConnect(Text first, Text forSSID, Text accessProcedure, Text popType,
                                               Text wiFiSecurity, Text phoneVer, Text pbUpdateDate) {
  set(SqmPosition::preConnect, first);
  set(SqmPosition::secondForSSID, forSSID);
  set(SqmPosition::forSSID, forSSID);
  set(SqmPosition::accessProcedure, first == "s" ? "" : accessProcedure);
  set(SqmPosition::accessPointOwner, codeOfOwner(popType));
  set(SqmPosition::wiFiSecurity, wiFiSecurity);
  set(SqmPosition::phoneVer, phoneVer);
  set(SqmPosition::reserved29, "");
  set(SqmPosition::reserved35, "");
  set(SqmPosition::reserved36, "");
  set(SqmPosition::pbUpdateDate, pbUpdateDate);
}

void SQMDataCollector::collectDataPostConnect(Text first, Text devicetype, Text clientMacAddress, Text apMacAddress,
                                              Text signalstrength, Text clientIP, Text serverIP) {
  set(SqmPosition::postConnect, first);
  set(SqmPosition::devicetype, devicetype);
  set(SqmPosition::clientIP, clientIP);
  set(SqmPosition::serverIP, serverIP);
  set(SqmPosition::clientMacAddress, clientMacAddress);
  set(SqmPosition::apMacAddress, apMacAddress);
  set(SqmPosition::signalstrength, signalstrength);
}

void SQMDataCollector::collectDataOnDisconnect(std::uint32_t first, std::int64_t finalSigStrength, Text phoneVer,
                                               Text pbUpdateDate, std::int64_t rxBytes, std::int64_t txBytes) {
  set(SqmPosition::disconnect, first);
  set(SqmPosition::finalSigStrength, finalSigStrength);
  set(SqmPosition::phoneVer, phoneVer);
  set(SqmPosition::pbUpdateDate, pbUpdateDate);
  setTxandRxBytes(std::to_string(txBytes), std::to_string(rxBytes));
}

void SQMDataCollector::setTxandRxBytes(Text sent, Text RxBytes) {
  set(SqmPosition::txBytes, sent.value_or(kNullText));
  set(SqmPosition::rxBytes, RxBytes.value_or(kNullText));
}

void SQMDataCollector::setConnectStartTime() {
  mstarttime_ = host().clock->time();
  mConnectStartDate_ = host().clock->date();
  set(SqmPosition::connectStart, startTimeText(*mConnectStartDate_));
}

void SQMDataCollector::setLoginStartTime() {
  mloginstarttime_ = host().clock->time();
  mLoginStartDate_ = host().clock->date();
  set(SqmPosition::secondsToLogin, mloginstarttime_ - mstarttime_);
  set(SqmPosition::loginStart, startTimeText(*mLoginStartDate_));
}

void SQMDataCollector::setLoginEndTime() {
  const auto duration = mLoginStartDate_ ? host().clock->date() - *mLoginStartDate_ : Date::duration::zero();
  const auto wholeSeconds = std::chrono::duration_cast<std::chrono::seconds>(duration);  // towards zero
  set(SqmPosition::loginSeconds, wholeSeconds.count());
}

void SQMDataCollector::setErrorCode(std::int64_t code) { set(SqmPosition::errorCode, code); }

void SQMDataCollector::setAutoConnect(std::int64_t autoConnect) { set(SqmPosition::autoConnect, autoConnect); }

std::string SQMDataCollector::getOSVersion() const { return host().utilities->getOSVersion(); }

void SQMDataCollector::saveRecord() const { saveRec(); }

/// Subtracts the zone's offset from the date and renders the result in that zone, which gives the time in GMT. Within
/// hours of a change to or from summer time the moved date can have another offset than the date itself; the text is
/// then off by the difference. The servers have always received it so: not to change.
std::string SQMDataCollector::startTimeText(Date date) const {
  return host().dates->text(date - host().dates->secondsFromGMT(date), kStartTimePattern);
}

}  // namespace sqm
