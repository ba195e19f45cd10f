#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/records/SQM.h"

namespace sqm {

struct RecordKind;
struct Row;

/// A record that works by the table of its kind. The record classes add their own operations.
///
/// A new record reads the field-name table "SQMFieldNames" of the main bundle. Without that resource it has neither
/// names nor a value dictionary; with one that cannot be read it has a dictionary and no names.
class TableRecord : public SQM {
 public:
  TableRecord(const TableRecord&) = delete;
  TableRecord& operator=(const TableRecord&) = delete;

  std::int64_t FormatRecord(std::optional<std::string>& slot) override;
  std::int64_t SetAttribute(std::int64_t field, const std::optional<std::string_view>& withValue) override;
  std::int64_t SetAttributeAfterXMLCompatibleFormat(std::int64_t field,
                                                    const std::optional<std::string_view>& withValue) override;
  bool clearRecord() override;
  ValueDictionary* recordValues() override { return values_ ? &*values_ : nullptr; }
  std::optional<std::string_view> recordName() const override;
  std::optional<std::string_view> recordSubType() const override;
  void updateRecordValues(ValueDictionary values) override;

  /// The status that `FormatRecord` gives to a record with these values.
  std::int64_t ValidateRecordData() const;

 protected:
  TableRecord(Host& host, const RecordKind& kind);

  /// True when a value, the empty text included, is stored in the field.
  bool holds(std::int64_t field) const;

  /// The text of some rows of the layout.
  std::string format(std::span<const Row> rows) const;

 private:
  enum class Setter : std::uint8_t { plain, xmlCompatible };

  std::int64_t store(std::int64_t field, const std::optional<std::string_view>& value, Setter setter);
  std::int64_t storeEscaped(std::size_t field, std::string_view value);
  std::int64_t storeAbsent(std::int64_t field);
  [[noreturn]] void throwAbsent(std::int64_t field) const;
  void format(std::string& text, std::span<const Row> rows) const;
  std::optional<std::string_view> nameOf(std::int64_t field) const;

  Host& host_;
  const RecordKind& kind_;
  std::shared_ptr<const FieldNameTable> names_;
  std::optional<ValueDictionary> values_;
  std::string escaped_;  // the setters' buffer for escaped text; a member so that its capacity is reused
};

}  // namespace sqm
