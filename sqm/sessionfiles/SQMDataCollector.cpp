#include "sqm/sessionfiles/SQMDataCollector.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "sqm/common/Dates.h"
#include "sqm/common/Format.h"
#include "sqm/common/UtilityFunctions.h"
#include "sqm/sessionfiles/internal/CollectingCalls.h"

namespace sqm {

namespace {

/// The servers know the texts by this pattern, letter for letter: the year is the week's, and the F, which looks like a
/// fraction of a second, is the day of the week in the month. Not to change.
constexpr std::string_view kStartTimePattern = "Y-MM-dd H:mm:s.F";

struct AccessPointOwner {
  std::string_view popType;
  std::string_view code;
};

constexpr std::array<AccessPointOwner, 4> kAccessPointOwners = {{
    {"", "3"},
    {"trelk", "0"},
    {"customer", "1"},
    {"home", "2"},
}};

std::string_view codeOfOwner(std::optional<std::string_view> popType) {
  const auto found = std::find_if(kAccessPointOwners.begin(), kAccessPointOwners.end(),
                                  [&](const AccessPointOwner& owner) { return popType == owner.popType; });
  return found == kAccessPointOwners.end() ? std::string_view() : found->code;
}

}  // namespace

void SQMDataCollector::collectDataOnCreation(Text first, Text lang, Text username, Text fullUserName, Text profileID,
                                             Text installId, Text sqmCounter) {
  clear();
  const std::array<Text, collecting::creation::kArguments> arguments = {first,     lang,      username,  fullUserName,
                                                                        profileID, installId, sqmCounter};
  collect(collecting::creation::kSteps, arguments);
}

void SQMDataCollector::collectDataonPreConnect(Text first, Text forSSID, Text accessProcedure, Text popType,
                                               Text wiFiSecurity, Text phoneVer, Text pbUpdateDate) {
  const std::array<Text, collecting::pre_connect::kArguments> arguments = {
      first, forSSID, accessProcedure, popType, wiFiSecurity, phoneVer, pbUpdateDate};
  collect(collecting::pre_connect::kSteps, arguments);
}

void SQMDataCollector::collectDataPostConnect(Text first, Text devicetype, Text clientMacAddress, Text apMacAddress,
                                              Text signalstrength, Text clientIP, Text serverIP) {
  const std::array<Text, collecting::post_connect::kArguments> arguments = {
      first, devicetype, clientMacAddress, apMacAddress, signalstrength, clientIP, serverIP};
  collect(collecting::post_connect::kSteps, arguments);
}

void SQMDataCollector::collectDataOnDisconnect(std::uint32_t first, std::int64_t finalSigStrength, Text phoneVer,
                                               Text pbUpdateDate, std::int64_t rxBytes, std::int64_t txBytes) {
  const std::string firstText = std::to_string(first);
  const std::string strengthText = std::to_string(finalSigStrength);
  const std::array<Text, collecting::disconnect::kArguments> arguments = {firstText, strengthText, phoneVer,
                                                                          pbUpdateDate};
  collect(collecting::disconnect::kSteps, arguments);
  setTxandRxBytes(std::to_string(txBytes), std::to_string(rxBytes));
}

void SQMDataCollector::setTxandRxBytes(Text sent, Text RxBytes) {
  const std::array<Text, collecting::transferred_bytes::kArguments> arguments = {sent.value_or(kNullText),
                                                                                 RxBytes.value_or(kNullText)};
  collect(collecting::transferred_bytes::kSteps, arguments);
}

void SQMDataCollector::setConnectStartTime() {
  mstarttime_ = host().clock->time();
  mConnectStartDate_ = host().clock->date();
  setStringValueForField(position::kConnectStart, startTimeText(*mConnectStartDate_));
}

void SQMDataCollector::setLoginStartTime() {
  mloginstarttime_ = host().clock->time();
  mLoginStartDate_ = host().clock->date();
  setIntValueForField(position::kSecondsToLogin, mloginstarttime_ - mstarttime_);
  setStringValueForField(position::kLoginStart, startTimeText(*mLoginStartDate_));
}

void SQMDataCollector::setLoginEndTime() {
  const auto duration = mLoginStartDate_ ? host().clock->date() - *mLoginStartDate_ : Date::duration::zero();
  const auto wholeSeconds = std::chrono::duration_cast<std::chrono::seconds>(duration);  // towards zero
  setIntValueForField(position::kLoginSeconds, wholeSeconds.count());
}

void SQMDataCollector::setErrorCode(std::int64_t code) { setIntValueForField(position::kErrorCode, code); }

void SQMDataCollector::setAutoConnect(std::int64_t autoConnect) {
  setIntValueForField(position::kAutoConnect, autoConnect);
}

std::string SQMDataCollector::getOSVersion() const { return host().utilities->getOSVersion(); }

void SQMDataCollector::saveRecord() const { saveRec(); }

void SQMDataCollector::collect(std::span<const CollectingStep> steps, std::span<const Text> arguments) {
  for (const CollectingStep& step : steps) setStringValueForField(step.position, valueOf(step, arguments));
}

SQMDataCollector::Text SQMDataCollector::valueOf(const CollectingStep& step, std::span<const Text> arguments) {
  using Source = CollectingStep::Source;
  const Text argument = arguments[step.argument];
  switch (step.source) {
    case Source::constant:
      return step.constant;
    case Source::osVersion:
      if (!mOSver_) mOSver_ = getOSVersion();
      return mOSver_;
    case Source::accessPointOwner:
      return codeOfOwner(argument);
    case Source::accessProcedure:
      return arguments.front() == "s" ? "" : argument;
    case Source::argument:
      break;
  }
  return argument;
}

/// The zone's offset is taken off the date, and the date is then written in that zone: it shows the wall clock of GMT.
/// Near the beginning and the end of summer time the moved date can have another offset than the date itself, and the
/// text is then off by the difference. That is how the servers have always got it.
std::string SQMDataCollector::startTimeText(Date date) const {
  return host().dates->text(date - host().dates->secondsFromGMT(date), kStartTimePattern);
}

}  // namespace sqm
