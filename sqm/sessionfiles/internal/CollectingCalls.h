#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "sqm/sessionfiles/SQMRecord.h"

namespace sqm {

/// What one collecting call lays at one position of the row. Made by the functions below.
struct CollectingStep {
  enum class Source : std::uint8_t {
    argument,          ///< the argument as it is
    constant,          ///< a text that never changes
    osVersion,         ///< the version of the operating system, asked for once in the life of the collector
    accessPointOwner,  ///< the code of the owner that the argument names
    accessProcedure    ///< the argument, or the empty text when the call's first argument is "s"
  };

  std::uint8_t position;
  Source source;
  std::uint8_t argument = 0;
  std::string_view constant = {};
};

/// The positions that are not, or not only, filled from an argument of a collecting call.
namespace position {
inline constexpr std::uint8_t kConnectStart = 12;
inline constexpr std::uint8_t kLoginStart = 13;
inline constexpr std::uint8_t kSecondsToLogin = 14;
inline constexpr std::uint8_t kErrorCode = 18;
inline constexpr std::uint8_t kLoginSeconds = 32;
inline constexpr std::uint8_t kAutoConnect = 85;
}  // namespace position

namespace collecting {

constexpr CollectingStep argument(std::uint8_t position, std::uint8_t argument) {
  return {position, CollectingStep::Source::argument, argument};
}
constexpr CollectingStep constant(std::uint8_t position, std::string_view text) {
  return {position, CollectingStep::Source::constant, 0, text};
}
constexpr CollectingStep empty(std::uint8_t position) { return constant(position, ""); }
constexpr CollectingStep osVersion(std::uint8_t position) { return {position, CollectingStep::Source::osVersion}; }
constexpr CollectingStep accessPointOwner(std::uint8_t position, std::uint8_t argument) {
  return {position, CollectingStep::Source::accessPointOwner, argument};
}
constexpr CollectingStep accessProcedure(std::uint8_t position, std::uint8_t argument) {
  return {position, CollectingStep::Source::accessProcedure, argument};
}

// The calls, each with its arguments in the order in which they are given, and its steps in the order of writing.

namespace creation {
enum : std::uint8_t { kFirst, kLang, kUsername, kFullUserName, kProfileID, kInstallId, kSqmCounter, kArguments };
inline constexpr std::array kSteps = {
    argument(0, kUsername),
    argument(21, kFullUserName),
    osVersion(1),
    empty(3),
    argument(19, kFirst),
    argument(20, kProfileID),
    argument(41, kInstallId),
    argument(30, kLang),
    argument(31, kSqmCounter),
    constant(2, "Barrim.exe 4.70"),
    empty(9),
    constant(43, "0"),
    constant(position::kErrorCode, "-100"),
    constant(77, "1"),
    empty(42),
    empty(82),
    empty(83),
    constant(position::kAutoConnect, "0"),
};
}  // namespace creation

namespace pre_connect {
enum : std::uint8_t {
  kFirst,
  kForSSID,
  kAccessProcedure,
  kPopType,
  kWiFiSecurity,
  kPhoneVer,
  kPbUpdateDate,
  kArguments
};
inline constexpr std::array kSteps = {
    argument(34, kFirst),
    argument(40, kForSSID),  // the network's name is written twice
    argument(7, kForSSID),
    accessProcedure(28, kAccessProcedure),
    accessPointOwner(24, kPopType),
    argument(79, kWiFiSecurity),
    argument(75, kPhoneVer),
    empty(29),
    empty(35),
    empty(36),
    argument(76, kPbUpdateDate),
};
}  // namespace pre_connect

namespace post_connect {
enum : std::uint8_t {
  kFirst,
  kDevicetype,
  kClientMacAddress,
  kApMacAddress,
  kSignalstrength,
  kClientIP,
  kServerIP,
  kArguments
};
inline constexpr std::array kSteps = {
    argument(4, kFirst),           argument(5, kDevicetype),        argument(16, kClientIP),
    argument(15, kServerIP),       argument(37, kClientMacAddress), argument(38, kApMacAddress),
    argument(58, kSignalstrength),
};
}  // namespace post_connect

namespace disconnect {
enum : std::uint8_t { kFirst, kFinalSigStrength, kPhoneVer, kPbUpdateDate, kArguments };
inline constexpr std::array kSteps = {
    argument(33, kFirst),
    argument(66, kFinalSigStrength),
    argument(75, kPhoneVer),
    argument(76, kPbUpdateDate),
};
}  // namespace disconnect

namespace transferred_bytes {
enum : std::uint8_t { kSent, kReceived, kArguments };
inline constexpr std::array kSteps = {
    argument(70, kSent),
    argument(71, kReceived),
};
}  // namespace transferred_bytes

/// True when every step names a position of the row and an argument of the call, and no position is written twice.
constexpr bool isSound(std::span<const CollectingStep> steps, std::size_t arguments) {
  std::array<bool, SQMRecord::kPositions> isWritten{};
  for (const CollectingStep& step : steps) {
    if (step.position >= isWritten.size() || isWritten[step.position] || step.argument >= arguments) return false;
    isWritten[step.position] = true;
  }
  return true;
}

static_assert(isSound(creation::kSteps, creation::kArguments));
static_assert(isSound(pre_connect::kSteps, pre_connect::kArguments));
static_assert(isSound(post_connect::kSteps, post_connect::kArguments));
static_assert(isSound(disconnect::kSteps, disconnect::kArguments));
static_assert(isSound(transferred_bytes::kSteps, transferred_bytes::kArguments));

}  // namespace collecting

}  // namespace sqm
