#include "sqm/store/SQMRecordStore.h"

#include <utility>

#include "sqm/common/PropertyList.h"
#include "sqm/common/SystemConsole.h"

namespace sqm {

namespace {

/// The order in which the files are written and read.
constexpr std::array kFileOrder = {RecordType::connection, RecordType::client, RecordType::device,
                                   RecordType::application, RecordType::userAcceptance};
static_assert(isPermutationOfTypes(kFileOrder));

}  // namespace

SQMRecordStore::SQMRecordStore(Host& host) : host_(host) { LoadFromDisk(); }

SQMRecordStore::~SQMRecordStore() { SaveSQMStoreToDisk(); }

bool SQMRecordStore::saveSQMRecordType(std::int64_t type, TextView withData) {
  return isRecordType(static_cast<RecordType>(type)) && append(static_cast<RecordType>(type), withData);
}

bool SQMRecordStore::append(RecordType type, TextView data) {
  if (data) listOf(type).append(data);
  return false;
}

bool SQMRecordStore::deleteRecords(RecordType type) {
  listOf(type) = {};
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
    if (records) listOf(type).appendPresent(*std::move(records));
  }
}

SQMRecordStore::Text SQMRecordStore::document(RecordType type) const {
  const std::string_view prefix = rowOf(type).consolePrefix;
  auto text = listDocument(type, listOf(type), prefix);
  if (text && !prefix.empty()) {
    host_.console->writeLine(*text);
    text->erase(0, prefix.size());  // a document may be large: it is made once
  }
  return text;
}

std::string SQMRecordStore::getSQMDirectoryPath() const { return sqmFolderPath(*host_.configuration); }

}  // namespace sqm
