#include "sqm/store/SQMRecordStore.h"

#include <numeric>
#include <string_view>
#include <utility>

#include "sqm/common/PropertyList.h"
#include "sqm/common/SystemConsole.h"
#include "sqm/common/TrelkConfiguration.h"

namespace sqm {

namespace {

/// What an empty list gives for a document.
enum class EmptyList : std::uint8_t { nothing, emptyDocument };

struct ListKind {
  RecordType type;
  std::string_view file;     // on disk: not to change
  std::string_view opening;  // on the wire, as the servers expect it: not to change
  std::string_view closing;
  EmptyList whenEmpty = EmptyList::nothing;
  std::string_view consolePrefix = {};  // where there is one, the document goes to the system console too
};

/// By record type.
constexpr std::array<ListKind, SQMRecordStore::kTypes> kLists = {{
    {RecordType::client, "SQMClient.plist", "<clientList>", "</clientList>"},
    {RecordType::connection, "SQMConnection.plist", "<connectionList>", "</connectionList>", EmptyList::emptyDocument},
    {RecordType::device, "SQMDevice.plist", "<deviceList>", "</deviceList>"},
    {RecordType::application, "SQMApplication.plist", "<sqmList>", "</sqmList>"},
    {RecordType::userAcceptance, "SQMUserAcceptance.plist", "<userAcceptanceList>", "</userAcceptanceList>",
     EmptyList::nothing, "User appectance string:"},
}};

constexpr bool isInTypeOrder() {
  for (std::size_t at = 0; at < kLists.size(); ++at) {
    if (static_cast<std::size_t>(kLists[at].type) != at) return false;
  }
  return true;
}
static_assert(isInTypeOrder());

/// The order in which the files are written and read.
constexpr std::array<RecordType, SQMRecordStore::kTypes> kFileOrder = {RecordType::connection, RecordType::client,
                                                                       RecordType::device, RecordType::application,
                                                                       RecordType::userAcceptance};

constexpr std::string_view kFolder = "/Library/Application Support/Trelk/Trelk Quenfa/SQM";
constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="utf-8"?>)";

const ListKind& kindOf(RecordType type) { return kLists[static_cast<std::size_t>(type)]; }

}  // namespace

SQMRecordStore::SQMRecordStore(Host& host) : host_(host) { LoadFromDisk(); }

SQMRecordStore::~SQMRecordStore() { SaveSQMStoreToDisk(); }

bool SQMRecordStore::saveSQMRecordType(std::int64_t type, std::optional<std::string> withData) {
  if (type < 0 || type >= static_cast<std::int64_t>(kTypes)) return false;
  return append(static_cast<RecordType>(type), std::move(withData));
}

bool SQMRecordStore::saveSQMClientRecordToStore(std::optional<std::string> data) {
  return append(RecordType::client, std::move(data));
}

bool SQMRecordStore::saveSQMConnRecordToStore(std::optional<std::string> data) {
  return append(RecordType::connection, std::move(data));
}

bool SQMRecordStore::saveSQMDeviceRecordToStore(std::optional<std::string> data) {
  return append(RecordType::device, std::move(data));
}

bool SQMRecordStore::saveSQMApplicationRecordToStore(std::optional<std::string> data) {
  return append(RecordType::application, std::move(data));
}

bool SQMRecordStore::saveSQMUserAcceptanceRecordToStore(std::optional<std::string> data) {
  return append(RecordType::userAcceptance, std::move(data));
}

bool SQMRecordStore::append(RecordType type, std::optional<std::string> data) {
  if (data) listOf(type).push_back(*std::move(data));
  return false;
}

bool SQMRecordStore::deleteSQMClientRecordFromStore() { return deleteRecords(RecordType::client); }

bool SQMRecordStore::deleteSQMConnectionRecordsFromStore() { return deleteRecords(RecordType::connection); }

bool SQMRecordStore::deleteSQMDeviceRecordFromStore() { return deleteRecords(RecordType::device); }

bool SQMRecordStore::deleteSQMApplicationRecordFromStore() { return deleteRecords(RecordType::application); }

bool SQMRecordStore::deleteSQMUserAcceptanceRecordFromStore() { return deleteRecords(RecordType::userAcceptance); }

bool SQMRecordStore::deleteRecords(RecordType type) {
  listOf(type).clear();
  return true;
}

bool SQMRecordStore::SaveSQMStoreToDisk() {
  bool written = false;
  for (const RecordType type : kFileOrder) {
    written = host_.propertyLists->writeToFile(listOf(type), pathOf(type), /*atomically=*/false);
  }
  return written;
}

void SQMRecordStore::LoadFromDisk() {
  for (const RecordType type : kFileOrder) {
    auto records = host_.propertyLists->arrayWithContentsOfFile(pathOf(type));
    if (!records) continue;
    List& list = listOf(type);
    list.reserve(list.size() + records->size());
    for (auto& record : *records) {
      if (record) list.push_back(*std::move(record));
    }
  }
}

std::optional<std::string> SQMRecordStore::getClientRecordXMLAsString() const { return document(RecordType::client); }

std::optional<std::string> SQMRecordStore::getConnectionRecordXMLAsString() const {
  return document(RecordType::connection);
}

std::optional<std::string> SQMRecordStore::getDeviceRecordXMLAsString() const { return document(RecordType::device); }

std::optional<std::string> SQMRecordStore::getApplicationRecordXMLAsString() const {
  return document(RecordType::application);
}

std::optional<std::string> SQMRecordStore::getUserAcceptanceRecordXMLAsString() const {
  return document(RecordType::userAcceptance);
}

std::optional<std::string> SQMRecordStore::document(RecordType type) const {
  const ListKind& kind = kindOf(type);
  const List& list = listOf(type);
  if (list.empty() && kind.whenEmpty == EmptyList::nothing) return std::nullopt;

  const std::size_t wrapping = kDeclaration.size() + kind.opening.size() + kind.closing.size();
  std::string text;
  text.reserve(std::accumulate(list.begin(), list.end(), wrapping,
                               [](std::size_t sum, const std::string& record) { return sum + record.size(); }));
  text.append(kDeclaration).append(kind.opening);
  for (const std::string& record : list) text.append(record);
  text.append(kind.closing);

  if (!kind.consolePrefix.empty()) host_.console->writeLine(std::string(kind.consolePrefix) + text);
  return text;
}

std::string SQMRecordStore::getSQMDirectoryPath() const {
  return host_.configuration->homeDirectory() + std::string(kFolder);
}

std::string SQMRecordStore::pathOf(RecordType type) const {
  return getSQMDirectoryPath() + "/" + std::string(kindOf(type).file);
}

}  // namespace sqm
