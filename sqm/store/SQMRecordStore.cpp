#include "sqm/store/SQMRecordStore.h"

#include <utility>

#include "sqm/common/PropertyList.h"
#include "sqm/common/SystemConsole.h"
#include "sqm/store/ListDocument.h"

namespace sqm {

namespace {

/// The order in which the files are written and read.
constexpr std::array kFileOrder = {RecordType::connection, RecordType::client, RecordType::device,
                                   RecordType::application, RecordType::userAcceptance};
static_assert(isPermutationOfTypes(kFileOrder));

}  // namespace

SQMRecordStore::SQMRecordStore(Host& host) : host_(host) { LoadFromDisk(); }

SQMRecordStore::~SQMRecordStore() { SaveSQMStoreToDisk(); }

bool SQMRecordStore::saveSQMRecordType(std::int64_t type, std::optional<std::string> withData) {
  return isRecordType(static_cast<RecordType>(type)) && append(static_cast<RecordType>(type), std::move(withData));
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
    written =
        host_.propertyLists->writeToFile(listOf(type), listFilePath(*host_.configuration, type), /*atomically=*/false);
  }
  return written;
}

void SQMRecordStore::LoadFromDisk() {
  for (const RecordType type : kFileOrder) {
    auto records = host_.propertyLists->arrayWithContentsOfFile(listFilePath(*host_.configuration, type));
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
  auto text = listDocument(type, listOf(type));
  const std::string_view prefix = rowOf(type).consolePrefix;
  if (text && !prefix.empty()) host_.console->writeLine(std::string(prefix) + *text);
  return text;
}

std::string SQMRecordStore::getSQMDirectoryPath() const { return sqmFolderPath(*host_.configuration); }

}  // namespace sqm
