#include "sqm/records/TableRecord.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include "sqm/common/MainBundle.h"
#include "sqm/common/PropertyList.h"
#include "sqm/common/UserPrefs.h"
#include "sqm/common/UtilityFunctions.h"
#include "sqm/records/internal/RecordFormatter.h"
#include "sqm/records/internal/RecordKinds.h"

namespace sqm {

namespace {

constexpr std::int64_t kRequiredEntry = 6;
constexpr std::string_view kRequiredLiteral = "6";

/// The time stamp when the preferences hold none. Like every time stamp it includes its quotes.
constexpr std::string_view kNoTimeStamp = "\"0000000000\"";

/// The table of a record without one.
const std::shared_ptr<const FieldNameTable>& noNames() {
  static const auto names =
      std::make_shared<const FieldNameTable>(std::vector<TextArray::value_type>(FieldNameTable::kFields));
  return names;
}

}  // namespace

TableRecord::TableRecord(Host& host, const RecordKind& kind) : host_(host), kind_(kind) {
  const auto path = host_.mainBundle->pathForResource("SQMFieldNames", "plist");
  if (!path) return;
  names_ = host_.propertyLists->fieldNamesOfFile(*path);
  values_.emplace(names_);
}

std::int64_t TableRecord::FormatRecord(std::optional<std::string>& slot) {
  if (kind_.layout.empty()) return kRecordOk;
  if (!slot) return kRecordRejected;
  const std::int64_t status = ValidateRecordData();
  if (status == kRecordOk) {
    format(*slot, kind_.layout);
  } else {
    slot->clear();
  }
  return status;
}

std::int64_t TableRecord::SetAttribute(std::int64_t field, const std::optional<std::string_view>& withValue) {
  return store(field, withValue, Setter::plain);
}

std::int64_t TableRecord::SetAttributeAfterXMLCompatibleFormat(std::int64_t field,
                                                               const std::optional<std::string_view>& withValue) {
  return store(field, withValue, Setter::xmlCompatible);
}

std::int64_t TableRecord::store(std::int64_t field, const std::optional<std::string_view>& value, Setter setter) {
  const bool isRejected = field > kind_.highestField || (field < 0 && kind_.fieldRejected != kRecordOk);
  if (isRejected) return kind_.fieldRejected;
  const bool isNamed = names_ && names_->hasName(field);
  if (!values_) return kind_.fieldRejected;
  if (!isNamed) return setter == Setter::plain ? kind_.plainSetterNameMissing : kRecordOk;

  if (!value) return storeAbsent(field);
  const auto index = static_cast<std::size_t>(field);
  if (setter == Setter::xmlCompatible && !value->empty()) return storeEscaped(index, *value);
  values_->setField(*names_, index, *value);
  return kRecordOk;
}

std::int64_t TableRecord::storeEscaped(std::size_t field, std::string_view value) {
  escaped_.clear();
  host_.utilities->appendXmlCompatible(escaped_, value);
  values_->setField(*names_, field, escaped_);
  return kRecordOk;
}

std::int64_t TableRecord::storeAbsent(std::int64_t field) {
  if (!kind_.absentValueRemoves) throwAbsent(field);
  values_->erase(*names_->name(field));
  return kRecordOk;
}

void TableRecord::throwAbsent(std::int64_t field) const {
  throw std::invalid_argument("field " + std::to_string(field) + " of a record of kind " + std::string(kind_.name) +
                              " was given an absent value");
}

bool TableRecord::clearRecord() {
  if (kind_.clearKeepsValues) return true;
  if (!values_) return false;
  values_->clear();
  return true;
}

std::optional<std::string_view> TableRecord::recordName() const { return kind_.name; }

std::optional<std::string_view> TableRecord::recordSubType() const {
  return kind_.subTypeEntry ? nameOf(*kind_.subTypeEntry) : kind_.subType;
}

void TableRecord::updateRecordValues(ValueDictionary values) { values_ = std::move(values).madeWith(names_); }

std::int64_t TableRecord::ValidateRecordData() const {
  if (!values_) return kind_.withoutDictionary;
  const bool isThere =
      kind_.required == RecordKind::Required::entry6 ? holds(kRequiredEntry) : values_->contains(kRequiredLiteral);
  return isThere ? kRecordOk : kind_.requiredMissing;
}

bool TableRecord::holds(std::int64_t field) const {
  return values_ && names_ && names_->hasName(field) && values_->findField(*names_, static_cast<std::size_t>(field));
}

std::string TableRecord::format(Rows rows) const {
  std::string text;
  format(text, rows);
  return text;
}

void TableRecord::format(std::string& text, Rows rows) const {
  const auto& names = names_ ? names_ : noNames();
  const auto formatValues = [&](const ValueDictionary& values) {
    const std::string_view stamp = host_.userPrefs->clientTimeStamp();
    formatRows(text, rows,
               {.names = *names,
                .values = values,
                .timeStamp = stamp.empty() ? kNoTimeStamp : stamp,
                .utilities = *host_.utilities});
  };
  if (values_ && values_->fieldsOf(*names) != nullptr) return formatValues(*values_);
  // There is no table, or the client assigned the values of another dictionary.
  formatValues(values_.value_or(ValueDictionary()).madeWith(names));
}

std::optional<std::string_view> TableRecord::nameOf(std::int64_t field) const {
  return names_ ? names_->name(field) : std::nullopt;
}

}  // namespace sqm
