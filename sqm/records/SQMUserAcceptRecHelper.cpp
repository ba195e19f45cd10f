#include "sqm/records/SQMUserAcceptRecHelper.h"

#include "sqm/records/internal/CodeTable.h"

namespace sqm {

namespace {

constexpr CodeText kAlertMessageTypes[] = {{0, "roaming"}, {1, "softwareupdate"}};

}  // namespace

std::string_view SQMUserAcceptRecHelper::alertMessageType(std::int32_t code) const {
  return textForCode(kAlertMessageTypes, code, "Unknown");
}

}  // namespace sqm
