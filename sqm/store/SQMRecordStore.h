#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sqm/common/Host.h"

namespace sqm {

/// The kinds of record that the store keeps apart, by their number.
enum class RecordType : std::int64_t { client = 0, connection = 1, device = 2, application = 3, userAcceptance = 4 };

/// Keeps the XML text of the records that have been made and not yet uploaded: one ordered list for each record type,
/// in memory, and on disk in five property-list files in the SQM folder below the user's home directory.
///
/// A new store appends what the files hold; `SaveSQMStoreToDisk` and destruction write the lists back. The store never
/// makes the SQM folder: the host does.
///
/// Threading: one thread, the one that drives the manager.
/// Failure: by the results, which are given as they are relied on: the saving calls give false also when they stored.
class SQMRecordStore {
 public:
  static constexpr std::size_t kTypes = 5;

  explicit SQMRecordStore(Host& host);
  SQMRecordStore(const SQMRecordStore&) = delete;
  SQMRecordStore& operator=(const SQMRecordStore&) = delete;
  ~SQMRecordStore();

  /// Appends the record's text to the list of its type. Always false: so is an absent text or another type, which store
  /// nothing.
  bool saveSQMRecordType(std::int64_t type, std::optional<std::string> withData);
  bool saveSQMClientRecordToStore(std::optional<std::string> data);
  bool saveSQMConnRecordToStore(std::optional<std::string> data);
  bool saveSQMDeviceRecordToStore(std::optional<std::string> data);
  bool saveSQMApplicationRecordToStore(std::optional<std::string> data);
  bool saveSQMUserAcceptanceRecordToStore(std::optional<std::string> data);

  /// Empties one list in memory; its file follows at the next save. Always true.
  bool deleteSQMClientRecordFromStore();
  bool deleteSQMConnectionRecordsFromStore();
  bool deleteSQMDeviceRecordFromStore();
  bool deleteSQMApplicationRecordFromStore();
  bool deleteSQMUserAcceptanceRecordFromStore();

  /// Writes every list to its file, in place. The result is that of the last write, the user-acceptance list's.
  bool SaveSQMStoreToDisk();

  /// Appends what the files hold to the lists; a file that is missing or no property-list array is passed over.
  void LoadFromDisk();

  /// The list documents that are posted: UTF-8, one line, an XML declaration and the records in one element. An empty
  /// list gives nothing; an empty connection list gives a document without records.
  std::optional<std::string> getClientRecordXMLAsString() const;
  std::optional<std::string> getConnectionRecordXMLAsString() const;
  std::optional<std::string> getDeviceRecordXMLAsString() const;
  std::optional<std::string> getApplicationRecordXMLAsString() const;
  std::optional<std::string> getUserAcceptanceRecordXMLAsString() const;

  /// The same operations by record type.
  bool deleteRecords(RecordType type);
  std::optional<std::string> document(RecordType type) const;

  /// The SQM folder, asked for anew: absolute, without a trailing separator.
  std::string getSQMDirectoryPath() const;

  /// The file of a type's list in that folder.
  std::string pathOf(RecordType type) const;

 private:
  using List = std::vector<std::string>;

  bool append(RecordType type, std::optional<std::string> data);
  List& listOf(RecordType type) { return lists_[static_cast<std::size_t>(type)]; }
  const List& listOf(RecordType type) const { return lists_[static_cast<std::size_t>(type)]; }

  Host& host_;
  std::array<List, kTypes> lists_;
};

}  // namespace sqm
