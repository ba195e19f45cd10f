#pragma once

#include <optional>
#include <string_view>

#include "sqm/common/ValueDictionary.h"

namespace sqm {

/// Decides what is recorded. An absent name means that there was no record to ask for it; an absent sub-type, that or
/// that the field-name table has none.
///
/// Threading: called from inside the manager's creating calls, which it must not call itself.
class QFSQMFilterManager {
 public:
  virtual ~QFSQMFilterManager() = default;

  /// True when records of this name and sub-type are not to be recorded.
  virtual bool recordingDisabledForRecordName(std::optional<std::string_view> recordName,
                                              std::optional<std::string_view> subType,
                                              const ValueDictionary& andSQMValues) = 0;

  /// The values to format in place of the record's own; nothing when they go out as they are.
  virtual std::optional<ValueDictionary> appyFiltersForRecord(std::optional<std::string_view> record,
                                                              std::optional<std::string_view> subType,
                                                              const ValueDictionary& values) = 0;
};

}  // namespace sqm
