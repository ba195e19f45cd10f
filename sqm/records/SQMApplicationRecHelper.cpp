#include "sqm/records/SQMApplicationRecHelper.h"

#include "sqm/records/internal/CodeTable.h"

namespace sqm {

namespace {

constexpr CodeText kLaunchTypes[] = {{1, "connectondemand"}, {2, "autoreconnect"}};

constexpr CodeText kConnectionStatuses[] = {
    {1, "Connection Success"},    {2, "Cancelled By User"},  {3, "Dropped By Policy"},  {4, "Authentication Failure"},
    {5, "Invalid Configuration"}, {6, "Connection Timeout"}, {7, "Internal VPN Error"},
};

constexpr CodeText kConnectionResults[] = {{1, "success"}, {2, "fail"}};

constexpr CodeText kDisconnectReasons[] = {{1, "Disconnected By User"}, {2, "Disconnected By Policy"}};

}  // namespace

std::string_view SQMApplicationRecHelper::launchType(std::int32_t code) const {
  return textForCode(kLaunchTypes, code, "autolaunch");
}

std::string_view SQMApplicationRecHelper::connectionStatusCode(std::int32_t code) const {
  return textForCode(kConnectionStatuses, code, "Unknown");
}

std::string_view SQMApplicationRecHelper::connectionResult(std::int32_t code) const {
  return textForCode(kConnectionResults, code, "unknown");  // in lower case, unlike the other two
}

std::string_view SQMApplicationRecHelper::vpnDisconnectReasonCode(std::int32_t code) const {
  return textForCode(kDisconnectReasons, code, "Unknown");
}

}  // namespace sqm
