#include "sqm/store/SQMRecordStore.h"

#include <algorithm>
#include <array>
#include <new>
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

SQMRecordStore::SQMRecordStore(Host& host) : host_(host) {
  LoadFromDisk();
  journal_ = host_.recordJournal;
  if (journal_ == nullptr) return;
  journal_->listsLoaded(lists_);
  removeSurplus();
  keptRecordsChanged_ = host_.notificationCenter->addObserver(
      kKeptRecordsChangedNotification, nullptr, [this](const Notification& /*posted*/) { SaveSQMStoreToDisk(); });
}

SQMRecordStore::~SQMRecordStore() {
  try {
    SaveSQMStoreToDisk();
  } catch (const std::bad_alloc&) {
    return;  // nobody is left to report it to
  }
}

bool SQMRecordStore::saveSQMRecordType(std::int64_t type, TextView withData) {
  return isRecordType(static_cast<RecordType>(type)) && append(static_cast<RecordType>(type), withData);
}

bool SQMRecordStore::append(RecordType type, TextView data) {
  if (!data || (journal_ != nullptr && !journal_->mayStore())) return false;
  listOf(type).append(data);
  if (journal_ == nullptr) return false;
  journal_->recordStored(lists_, type);
  removeSurplus(type);
  return false;
}

bool SQMRecordStore::deleteRecords(RecordType type) {
  TextArray& list = listOf(type);
  if (journal_ == nullptr) {
    list = {};
    return true;
  }
  remove(type, std::exchange(inDocument_[indexOf(type)], std::nullopt).value_or(list.size()), Removal::posted);
  if (!journal_->keepsUnsent()) remove(type, list.size(), Removal::unsent);
  return true;
}

void SQMRecordStore::remove(RecordType type, std::size_t count, Removal why) {
  if (count == 0) return;
  listOf(type).removeFirst(count);
  journal_->recordsRemoved(lists_, type, count, why);
}

void SQMRecordStore::removeSurplus(RecordType type) {
  for (;;) {
    const Surplus surplus = journal_->surplusOf(lists_, type);
    if (surplus.count == 0) return;
    auto& inDocument = inDocument_[indexOf(type)];
    if (inDocument) *inDocument -= std::min(*inDocument, surplus.count);
    remove(type, surplus.count, surplus.why);
  }
}

void SQMRecordStore::removeSurplus() {
  if (journal_ == nullptr) return;
  for (const RecordType type : kRecordTypes) removeSurplus(type);
}

bool SQMRecordStore::SaveSQMStoreToDisk() {
  removeSurplus();
  if (journal_ != nullptr) journal_->saveBegins(lists_);
  ByType<bool> written{};
  for (const RecordType type : kFileOrder) {
    written[indexOf(type)] =
        host_.propertyLists->writeToFile(listOf(type), listFilePath(*host_.configuration, type), /*atomically=*/false);
  }
  if (journal_ != nullptr) journal_->saveEnds(lists_, written);
  return written[indexOf(kFileOrder.back())];
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
  inDocument_[indexOf(type)] = listOf(type).size();
  const std::string_view prefix = rowOf(type).consolePrefix;
  auto text = listDocument(type, listOf(type), prefix);
  if (text && !prefix.empty()) {
    host_.console->writeLine(*text);
    text->erase(0, prefix.size());  // a document may be large: it is made once
  }
  return text;
}

std::size_t SQMRecordStore::storedRecords() const {
  std::size_t count = 0;
  for (const TextArray& list : lists_) count += list.size();
  return count;
}

std::string SQMRecordStore::getSQMDirectoryPath() const { return sqmFolderPath(*host_.configuration); }

}  // namespace sqm
