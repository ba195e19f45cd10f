#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "sqm/records/SQM.h"
#include "sqm/records/internal/RecordLayout.h"

namespace sqm {

/// The differences between the kinds of record: names, layout, and the results of setters and validation. There are no
/// others.
struct RecordKind {
  /// The key without which the record is not formatted.
  enum class Required : std::uint8_t {
    entry6,        ///< the field-name entry 6
    literalDigit6  ///< the text "6" itself, which no setter stores: only values that a filter completed carry it
  };

  std::string_view name;
  std::optional<std::string_view> subType = {};   ///< a fixed sub-type
  std::optional<std::uint8_t> subTypeEntry = {};  ///< the entry whose text is the sub-type
  Rows layout = {};                               ///< no rows: a kind that formats nothing
  Required required = Required::entry6;
  RecordStatus requiredMissing = kRecordRejected;    ///< the status without the required key
  RecordStatus withoutDictionary = kRecordRejected;  ///< the result of validation without a value dictionary
  std::uint8_t highestField = 90;                    ///< fields above it are not stored
  RecordStatus fieldRejected = kRecordOk;            ///< the setters' status for such a field, and without a dictionary
  RecordStatus plainSetterNameMissing = kRecordOk;   ///< the plain setter's status where the table has no name
  bool absentValueRemoves = false;                   ///< otherwise an absent value is an error of the caller
  bool clearKeepsValues = false;
};

extern const RecordKind kConnectionKind;
extern const RecordKind kWiFiConnectionKind;
extern const RecordKind kMBConnectionKind;
extern const RecordKind kEthernetConnectionKind;
extern const RecordKind kClientKind;
extern const RecordKind kDeviceKind;
extern const RecordKind kApplicationKind;
extern const RecordKind kUserAcceptanceKind;

}  // namespace sqm
