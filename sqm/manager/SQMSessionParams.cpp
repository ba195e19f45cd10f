#include "sqm/manager/SQMSessionParams.h"

namespace sqm {

std::int64_t SQMSessionParams::setStringValue(std::optional<std::string_view> value, std::int64_t forKey) {
  if (forKey < 1 || forKey > static_cast<std::int64_t>(kHighestStored)) return kRecordRejected;
  mSQMSessionParametersDict_[static_cast<std::size_t>(forKey)] = value.value_or("");
  return kRecordOk;
}

std::int64_t SQMSessionParams::setIntValue(std::int64_t value, std::int64_t forKey) {
  return setStringValue(std::to_string(value), forKey);
}

std::string_view SQMSessionParams::valueForKey(std::int64_t key) const {
  const auto unsignedKey = static_cast<std::uint64_t>(key);  // a negative key is above the highest
  return unsignedKey > kHighestRead ? std::string_view{}
                                    : mSQMSessionParametersDict_[static_cast<std::size_t>(unsignedKey)];
}

bool SQMSessionParams::clearRecord() {
  for (std::string& value : mSQMSessionParametersDict_) value.clear();
  return true;
}

}  // namespace sqm
