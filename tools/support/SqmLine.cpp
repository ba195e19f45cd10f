#include "tools/support/SqmLine.h"

#include <algorithm>
#include <array>
#include <span>

#include "sqm/sessionfiles/internal/CollectingCalls.h"

namespace tools {

namespace {

struct Position {
  std::size_t number = 0;
  std::string_view name;
};

constexpr Position kPositions[] = {
    {0, "username"},
    {1, "osVersion"},
    {2, "application"},
    {4, "postConnect"},
    {5, "devicetype"},
    {7, "forSSID"},
    {sqm::position::kConnectStart, "connectStart"},
    {sqm::position::kLoginStart, "loginStart"},
    {sqm::position::kSecondsToLogin, "secondsToLogin"},
    {15, "serverIP"},
    {16, "clientIP"},
    {sqm::position::kErrorCode, "errorCode"},
    {19, "creation"},
    {20, "profileID"},
    {21, "fullUserName"},
    {24, "accessPointOwner"},
    {28, "accessProcedure"},
    {30, "lang"},
    {31, "sqmCounter"},
    {sqm::position::kLoginSeconds, "loginSeconds"},
    {33, "disconnect"},
    {34, "preConnect"},
    {37, "clientMacAddress"},
    {38, "apMacAddress"},
    {40, "forSSID"},
    {41, "installId"},
    {58, "signalstrength"},
    {66, "finalSigStrength"},
    {70, "txBytes"},
    {71, "rxBytes"},
    {75, "phoneVer"},
    {76, "pbUpdateDate"},
    {79, "wiFiSecurity"},
    {sqm::position::kAutoConnect, "autoConnect"},
};

constexpr std::string_view nameOf(std::size_t number) {
  for (const Position& position : kPositions) {
    if (position.number == number) return position.name;
  }
  return {};
}

constexpr bool isNamed(std::span<const sqm::CollectingStep> steps) {
  return std::all_of(steps.begin(), steps.end(), [](const sqm::CollectingStep& step) {
    return step.source == sqm::CollectingStep::Source::constant || !nameOf(step.position).empty();
  });
}
static_assert(isNamed(sqm::collecting::creation::kSteps) && isNamed(sqm::collecting::pre_connect::kSteps) &&
              isNamed(sqm::collecting::post_connect::kSteps) && isNamed(sqm::collecting::disconnect::kSteps) &&
              isNamed(sqm::collecting::transferred_bytes::kSteps));

constexpr std::string_view kBorder = "\",\"";

}  // namespace

std::string_view sqmPositionName(std::size_t position) { return nameOf(position); }

SqmSession sqmSessionOf(std::string_view text) {
  SqmSession session;
  if (!text.starts_with('"')) {
    session.problem = "it does not begin with a quote";
    return session;
  }
  const bool isEnded = text.ends_with("\"\n");
  std::string_view rest = text.substr(1);
  if (isEnded) rest.remove_suffix(std::min(rest.size(), std::string_view("\"\n").size()));
  for (auto border = rest.find(kBorder); border != std::string_view::npos; border = rest.find(kBorder)) {
    session.fields.push_back(rest.substr(0, border));
    rest.remove_prefix(border + kBorder.size());
  }
  session.fields.push_back(rest);
  if (!isEnded) {
    session.problem = "it is cut short: it does not end with a quote and a line feed";
  } else if (session.fields.size() < sqm::SQMRecord::kPositions) {
    session.problem = "it has fewer than 86 fields";
  } else if (session.fields.size() > sqm::SQMRecord::kPositions) {
    session.problem = "it has more than 86 fields: a value that looks like the border of two, or two sessions";
  }
  return session;
}

}  // namespace tools
