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
  kConnectionRequiredFieldMissing = 4  ///< the same fault, as connection and application records report it
};

/// What every record offers to the manager: setters by field number, and its XML element.
///
/// Threading: one thread, the caller's.
/// Failure: by the status, but for errors of the caller: std::out_of_range for a field number from 0 to 90 that lies
/// beyond a short field-name table, or is negative; std::invalid_argument for an absent value where the record takes
/// none. Neither changes anything.
class SQM {
 public:
  virtual ~SQM() = default;

  /// Replaces the text in the slot by the record's XML element. An empty slot is left alone: status 3. A record that
  /// does not validate leaves the empty text and its status.
  virtual std::int64_t FormatRecord(std::optional<std::string>& slot) = 0;

  /// Stores the value, as it stands, in the field.
  virtual std::int64_t SetAttribute(std::int64_t field, const std::optional<std::string_view>& withValue) = 0;

  /// Stores the value, made safe as XML element content, in the field.
  virtual std::int64_t SetAttributeAfterXMLCompatibleFormat(std::int64_t field,
                                                            const std::optional<std::string_view>& withValue) = 0;

  /// Removes the values; false when the record has no value dictionary.
  virtual bool clearRecord() = 0;

  /// The record's own value dictionary: a change made through it shows in the next formatting. Null when it has none.
  virtual ValueDictionary* recordValues() = 0;

  virtual std::optional<std::string_view> recordName() const { return std::nullopt; }
  virtual std::optional<std::string_view> recordSubType() const { return std::nullopt; }

  /// Puts the given values in the place of the record's own.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): who has values keeps them.
  virtual void updateRecordValues(ValueDictionary /*values*/) {}
};

// The names of three enumerations (record types, field numbers, error codes) that clients link against. The library
// neither reads nor writes them.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): they are variables of the clients'.
extern std::int32_t NsqmRecType;
extern std::int32_t NSSQMFields;
extern std::int32_t NSSqmError;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace sqm
