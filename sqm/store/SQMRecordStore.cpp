#include "sqm/store/SQMRecordStore.h"

#include <utility>

#include "sqm/common/PropertyList.h"
#include "sqm/common/RecordJournal.h"
#include "sqm/common/SystemConsole.h"

namespace sqm {

namespace {

/// The order in which the files are written and read.
constexpr std::array kFileOrder = {RecordType::connection, RecordType::client, RecordType::device,
                                   RecordType::application, RecordType::userAcceptance};
static_assert(isPermutationOfTypes(kFileOrder));

}  // namespace

SQMRecordStore::SQMRecordStore(Host& host) : host_(host) {
  LoadFromDisk();
  journal_ = host_.recordJournal;
  if (journal_ != nullptr) journal_->listsLoaded(lists_);
}

SQMRecordStore::~SQMRecordStore() { SaveSQMStoreToDisk(); }

bool SQMRecordStore::saveSQMRecordType(std::int64_t type, TextView withData) {
  return isRecordType(static_cast<RecordType>(type)) && append(static_cast<RecordType>(type), withData);
}

bool SQMRecordStore::append(RecordType type, TextView data) {
  if (!data) return false;
  listOf(type).append(data);
  if (journal_ != nullptr) journal_->recordStored(lists_, type);
  return false;
}

bool SQMRecordStore::deleteRecords(RecordType type) {
  TextArray& list = listOf(type);
  if (journal_ == nullptr) {
    list = {};
    return true;
  }
  const std::size_t count =
      std::exchange(inDocument_[static_cast<std::size_t>(type)], std::nullopt).value_or(list.size());
  list.removeFirst(count);
  if (count > 0) journal_->recordsRemoved(lists_, type, count);
  return true;
}

bool SQMRecordStore::SaveSQMStoreToDisk() {
  if (journal_ != nullptr) journal_->saveBegins(lists_);
  bool written = false;
  bool allWritten = true;
  for (const RecordType type : kFileOrder) {
    written =
        host_.propertyLists->writeToFile(listOf(type), listFilePath(*host_.configuration, type), /*atomically=*/false);
    allWritten = allWritten && written;
  }
  if (journal_ != nullptr) journal_->saveEnds(lists_, allWritten);
  return written;
}

void SQMRecordStore::LoadFromDisk() {
  for (const RecordType type : kFileOrder) {
    auto records = host_.propertyLists->arrayWithContentsOfFile(listFilePath(*host_.configuration, type));
    if (!records) continue;
    if (journal_ == nullptr) {
      listOf(type).appendPresent(*std::move(records));
    } else {
      for (const auto record : *records) append(type, record);  // the journal is told of each
    }
  }
}

SQMRecordStore::Text SQMRecordStore::document(RecordType type) const {
  inDocument_[static_cast<std::size_t>(type)] = listOf(type).size();
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
