#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/RecordType.h"
#include "sqm/common/TextArray.h"
#include "sqm/common/TrelkConfiguration.h"

namespace sqm {

/// What is posted for a list without records.
enum class WhenEmpty : std::uint8_t { nothing, emptyDocument };

/// The properties of a record type.
struct RecordTypeRow {
  RecordType type;
  std::string_view name;     ///< on command lines, in addresses and for people
  std::string_view key;      ///< in scenario files
  std::string_view file;     ///< of the list, in the SQM folder; on disk: not to change
  std::string_view element;  ///< around the records of a document; on the wire, as the servers expect it
  WhenEmpty whenEmpty = WhenEmpty::nothing;
  std::string_view consolePrefix = {};  ///< not empty: each document is also written to the system console, after this
};

inline constexpr std::array<RecordTypeRow, kRecordTypes.size()> kRecordTypeTable = {{
    {RecordType::client, "client", "client", "SQMClient.plist", "clientList"},
    {RecordType::connection, "connection", "connection", "SQMConnection.plist", "connectionList",
     WhenEmpty::emptyDocument},
    {RecordType::device, "device", "device", "SQMDevice.plist", "deviceList"},
    {RecordType::application, "application", "application", "SQMApplication.plist", "sqmList"},
    {RecordType::userAcceptance, "user-acceptance", "userAcceptance", "SQMUserAcceptance.plist", "userAcceptanceList",
     WhenEmpty::nothing, "User appectance string:"},
}};
static_assert(isPermutationOfTypes(kRecordTypeTable, &RecordTypeRow::type));

/// The row of a type in the table.
constexpr const RecordTypeRow& rowOf(RecordType type) { return *findRow(kRecordTypeTable, &RecordTypeRow::type, type); }

/// The file of a type's list: absolute.
inline std::string listFilePath(const TrelkConfiguration& configuration, RecordType type) {
  return sqmFolderPath(configuration) + "/" + std::string(rowOf(type).file);
}

/// True when there is a document to post for a list of this type.
constexpr bool hasDocument(RecordType type, bool hasRecords) {
  return hasRecords || rowOf(type).whenEmpty == WhenEmpty::emptyDocument;
}

/// The document that is posted for a list: UTF-8, one line, an XML declaration and the records' texts, unchanged and
/// in their order, in the element of their type. Nothing when there is none for a list without records. `before` is
/// put in front of it.
std::optional<std::string> listDocument(RecordType type, const TextArray& records, std::string_view before = {});

}  // namespace sqm
