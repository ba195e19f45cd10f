#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/ValueDictionary.h"

namespace sqm {

/// What the operations of a record return.
enum RecordStatus : std::int64_t {
  kRecordOk = 0,                       ///< also of a setter that stored nothing
  kRecordRejected = 3,                 ///< no output slot, a rejected field number, or a required field missing
  kConnectionRequiredFieldMissing = 4  ///< a required field missing in a connection or application record
};

/// A record as the manager uses it: setters by field number, and the record's XML element.
///
/// Threading: one thread, the caller's.
/// Failure: reported by the status, except for errors of the caller, which throw and change nothing.
/// std::out_of_range: a field number that is negative, or from 0 to 90 and beyond the end of a short field-name table.
/// std::invalid_argument: an absent value. The client record throws neither for a negative number nor for an absent
/// value: it rejects the number, as it does one above 7, with status 3, and removes the field's value. A record without
/// a field-name table throws nothing.
class SQM {
 public:
  virtual ~SQM() = default;

  /// Replaces the text in the slot by the record's XML element. Returns status 3, and changes nothing, when the slot
  /// holds no text. When the record does not validate, the slot becomes the empty text and the status says why.
  virtual std::int64_t FormatRecord(std::optional<std::string>& slot) = 0;

  /// Stores the value, unchanged, in the field. A number above 90 stores nothing.
  virtual std::int64_t SetAttribute(std::int64_t field, const std::optional<std::string_view>& withValue) = 0;

  /// Stores the value, made safe as XML element content, in the field.
  virtual std::int64_t SetAttributeAfterXMLCompatibleFormat(std::int64_t field,
                                                            const std::optional<std::string_view>& withValue) = 0;

  /// Removes the values. Returns false when the record has no value dictionary. The client record keeps its values and
  /// always returns true.
  virtual bool clearRecord() = 0;

  /// The record's own value dictionary, not a copy; null when it has none.
  virtual ValueDictionary* recordValues() = 0;

  virtual std::optional<std::string_view> recordName() const { return std::nullopt; }
  virtual std::optional<std::string_view> recordSubType() const { return std::nullopt; }

  /// Replaces the record's values.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): overriders move the values.
  virtual void updateRecordValues(ValueDictionary /*values*/) {}
};

// Variables named after three enumerations (record types, field numbers, error codes), because clients link against
// them. The library neither reads nor writes them.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): clients may write them.
extern std::int32_t NsqmRecType;
extern std::int32_t NSSQMFields;
extern std::int32_t NSSqmError;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace sqm
