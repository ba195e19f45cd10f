#include "sqm/manager/SQMSessionParams.h"

#include <cstddef>
#include <string>

namespace sqm {

namespace {

constexpr std::int64_t kHighestStored = 91;
constexpr std::uint64_t kHighestRead = 90;
static_assert(kHighestStored < TextSlots::kSlots);

}  // namespace

std::int64_t SQMSessionParams::setStringValue(std::optional<std::string_view> value, std::int64_t forKey) {
  if (forKey < 1 || forKey > kHighestStored) return kRecordRejected;
  const auto slot = static_cast<std::size_t>(forKey);
  if (value) {
    mSQMSessionParametersDict_.set(slot, *value);
  } else {
    mSQMSessionParametersDict_.erase(slot);
  }
  return kRecordOk;
}

std::int64_t SQMSessionParams::setIntValue(std::int64_t value, std::int64_t forKey) {
  return setStringValue(std::to_string(value), forKey);
}

std::string_view SQMSessionParams::valueForKey(std::int64_t key) const {
  const auto unsignedKey = static_cast<std::uint64_t>(key);  // a negative key is above the highest
  if (unsignedKey > kHighestRead) return {};
  return mSQMSessionParametersDict_[static_cast<std::size_t>(unsignedKey)].value_or(std::string_view{});
}

bool SQMSessionParams::clearRecord() {
  mSQMSessionParametersDict_.clear();
  return true;
}

}  // namespace sqm
