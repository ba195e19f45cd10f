#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/common/RecordJournal.h"
#include "sqm/common/TextArray.h"
#include "sqm/store/RecordTypes.h"

namespace sqm {

/// Keeps the XML text of the records that have been made and not yet uploaded: one ordered list for each record type,
/// in memory, and on disk in property-list files in the SQM folder below the user's home directory.
///
/// A new store appends the files' records to its lists. `SaveSQMStoreToDisk` and the destructor write the lists back.
/// The store never makes the SQM folder: the host does.
///
/// Threading: one thread, the one that drives the manager.
/// Failure: reported by the results alone. The saving calls return false also when they stored the record.
class SQMRecordStore {
 public:
  using Text = std::optional<std::string>;
  using TextView = std::optional<std::string_view>;

  explicit SQMRecordStore(Host& host);
  SQMRecordStore(const SQMRecordStore&) = delete;
  SQMRecordStore& operator=(const SQMRecordStore&) = delete;
  ~SQMRecordStore();

  /// Appends the record's text to the list of its type. An absent text and a number that is no type's are ignored.
  /// Always returns false.
  bool saveSQMRecordType(std::int64_t type, TextView withData);
  bool saveSQMClientRecordToStore(TextView data) { return append(RecordType::client, data); }
  bool saveSQMConnRecordToStore(TextView data) { return append(RecordType::connection, data); }
  bool saveSQMDeviceRecordToStore(TextView data) { return append(RecordType::device, data); }
  bool saveSQMApplicationRecordToStore(TextView data) { return append(RecordType::application, data); }
  bool saveSQMUserAcceptanceRecordToStore(TextView data) { return append(RecordType::userAcceptance, data); }

  /// Empties one list in memory; its file changes at the next save. Always returns true. With a `recordJournal` that
  /// `keepsUnsent`, what was stored after the last document of the list stays: it was not in it.
  bool deleteSQMClientRecordFromStore() { return deleteRecords(RecordType::client); }
  bool deleteSQMConnectionRecordsFromStore() { return deleteRecords(RecordType::connection); }
  bool deleteSQMDeviceRecordFromStore() { return deleteRecords(RecordType::device); }
  bool deleteSQMApplicationRecordFromStore() { return deleteRecords(RecordType::application); }
  bool deleteSQMUserAcceptanceRecordFromStore() { return deleteRecords(RecordType::userAcceptance); }

  /// Writes every list to its file, in place. Returns the result of the last write, that of the user acceptances; the
  /// results of the others are not reported.
  bool SaveSQMStoreToDisk();

  /// Appends the files' records to the lists. A file that is missing or is no property-list array is ignored.
  void LoadFromDisk();

  /// The documents that are posted: `listDocument` of each list. That of the user acceptances is written to the system
  /// console, too.
  Text getClientRecordXMLAsString() const { return document(RecordType::client); }
  Text getConnectionRecordXMLAsString() const { return document(RecordType::connection); }
  Text getDeviceRecordXMLAsString() const { return document(RecordType::device); }
  Text getApplicationRecordXMLAsString() const { return document(RecordType::application); }
  Text getUserAcceptanceRecordXMLAsString() const { return document(RecordType::userAcceptance); }

  /// Removes what the host's `recordJournal` does not allow to be kept. Call it before an upload.
  void removeSurplus();

  /// The same operations by record type.
  bool deleteRecords(RecordType type);
  Text document(RecordType type) const;
  bool hasRecords(RecordType type) const { return !listOf(type).empty(); }

  /// The records of all lists.
  std::size_t storedRecords() const;

  /// The SQM folder, from the host's current configuration: absolute, without a trailing separator.
  std::string getSQMDirectoryPath() const;

 private:
  bool append(RecordType type, TextView data);
  void remove(RecordType type, std::size_t count, Removal why);
  void removeSurplus(RecordType type);
  TextArray& listOf(RecordType type) { return lists_[indexOf(type)]; }
  const TextArray& listOf(RecordType type) const { return lists_[indexOf(type)]; }

  Host& host_;
  RecordJournal* journal_ = nullptr;  // the host's, once the lists are loaded
  ByType<TextArray> lists_;
  /// How many records the last document of a list held, since which the list was not deleted.
  mutable ByType<std::optional<std::size_t>> inDocument_;
  NotificationCenter::Registration keptRecordsChanged_;
};

}  // namespace sqm
