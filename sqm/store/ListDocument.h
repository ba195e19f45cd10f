#pragma once

#include <optional>
#include <span>
#include <string>

#include "sqm/store/RecordTypes.h"

namespace sqm {

/// True when there is a document to post for a list of this type.
constexpr bool hasDocument(RecordType type, bool hasRecords) {
  return hasRecords || rowOf(type).whenEmpty == WhenEmpty::emptyDocument;
}

/// The document that is posted for a list: UTF-8, one line, an XML declaration and the records' texts, unchanged and
/// in their order, in the element of their type. Nothing when there is none for a list without records.
std::optional<std::string> listDocument(RecordType type, std::span<const std::string> records);

}  // namespace sqm
