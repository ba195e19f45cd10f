#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "sqm/common/TextSlots.h"
#include "sqm/records/SQM.h"

namespace sqm {

/// The values of one event, by small integer keys: the value of key N becomes field N of the event's record. The client
/// fills one, passes it to a creating call of `SQMManager`, and clears or refills it.
///
/// Keys 1 to 91 can be stored, keys 0 to 90 can be read.
///
/// Ownership: the client's; the manager does not keep it.
/// Threading: one thread.
class SQMSessionParams {
 public:
  /// Stores a value; an absent one removes the key. Returns status 3, and stores nothing, for a key outside 1 to 91.
  std::int64_t setStringValue(std::optional<std::string_view> value, std::int64_t forKey);

  /// Stores the value as decimal text.
  std::int64_t setIntValue(std::int64_t value, std::int64_t forKey);

  /// The stored text; empty where nothing is stored and for a key outside 0 to 90. Valid until the container changes.
  std::string_view valueForKey(std::int64_t key) const;

  /// Removes every value. Always returns true.
  bool clearRecord();

 private:
  TextSlots mSQMSessionParametersDict_;  // by key
};

}  // namespace sqm
