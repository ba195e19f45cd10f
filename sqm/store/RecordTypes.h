#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/TextArray.h"
#include "sqm/common/TrelkConfiguration.h"

namespace sqm {

/// The kinds of record that the store keeps in lists of their own, by their number.
enum class RecordType : std::int64_t { client = 0, connection = 1, device = 2, application = 3, userAcceptance = 4 };

/// False for a number that is not one of the enumerators.
constexpr bool isRecordType(RecordType type) {
  switch (type) {  // without a default, so that the compiler reports an enumerator that is missing here
    case RecordType::client:
    case RecordType::connection:
    case RecordType::device:
    case RecordType::application:
    case RecordType::userAcceptance:
      return true;
  }
  return false;
}

/// Every type, in the order of the numbers.
inline constexpr auto kRecordTypes = [] {
  constexpr std::size_t kCount = [] {
    std::size_t count = 0;
    for (int number = 0; number < 256; ++number) {
      if (isRecordType(static_cast<RecordType>(number))) ++count;
    }
    return count;
  }();
  std::array<RecordType, kCount> types{};
  for (std::size_t at = 0; at < kCount; ++at) types[at] = static_cast<RecordType>(at);
  return types;
}();
static_assert(std::ranges::all_of(kRecordTypes, isRecordType), "the numbers count from 0 without a gap");

/// True when a table has exactly one row for each type, in any order. `typeOf` gives a row's type: `&Row::type`.
template <typename Table, typename Projection = std::identity>
constexpr bool isPermutationOfTypes(const Table& table, Projection typeOf = {}) {
  return std::size(table) == kRecordTypes.size() && std::ranges::is_permutation(table, kRecordTypes, {}, typeOf);
}

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
constexpr const RecordTypeRow& rowOf(RecordType type) {
  return *std::ranges::find(kRecordTypeTable, type, &RecordTypeRow::type);
}

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
