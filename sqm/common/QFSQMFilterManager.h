#pragma once

#include <optional>
#include <string_view>

#include "sqm/common/ValueDictionary.h"

namespace sqm {

/// Decides which records are recorded, and with which values. The name is absent when the manager has no record; the
/// sub-type is absent then, too, and when the field-name table has no name for its field.
///
/// Threading: called inside the manager's creating calls; an implementation must not call them itself.
class QFSQMFilterManager {
 public:
  virtual ~QFSQMFilterManager() = default;

  /// True when records of this name and sub-type are not to be recorded.
  virtual bool recordingDisabledForRecordName(std::optional<std::string_view> recordName,
                                              std::optional<std::string_view> subType,
                                              const ValueDictionary& andSQMValues) = 0;

  /// The values to format in place of the record's own; nothing to format the record's own.
  virtual std::optional<ValueDictionary> appyFiltersForRecord(std::optional<std::string_view> record,
                                                              std::optional<std::string_view> subType,
                                                              const ValueDictionary& values) = 0;
};

}  // namespace sqm
