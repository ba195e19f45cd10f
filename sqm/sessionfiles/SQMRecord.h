#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Clock.h"
#include "sqm/common/Host.h"

namespace sqm {

/// A record of the file-based path: a row of 86 texts, addressed by position, written as one line to a file of its own.
/// The subclass gives the positions their meaning. docs/sqm-files.md describes the format.
///
/// Threading: one thread at a time.
/// Failure: an absent value throws `std::invalid_argument` and changes nothing. `saveRec` returns false.
class SQMRecord {
 public:
  static constexpr std::size_t kPositions = 86;

  /// A row of empty texts.
  explicit SQMRecord(Host& host) : host_(host) {}
  SQMRecord(const SQMRecord&) = delete;
  SQMRecord& operator=(const SQMRecord&) = delete;
  virtual ~SQMRecord() = default;

  /// Empties the positions 0 to 85 and resets the start dates. Keeps the folder, the record type and the version of the
  /// operating system.
  void clear();

  /// Any position can be set. Positions outside 0 to 85 are kept and never written to a file.
  void setIntValueForField(std::int64_t field, std::int64_t value);
  void setStringValueForField(std::int64_t field, std::optional<std::string_view> value);

  /// The text at a position, valid until the position changes. Nothing for a position outside 0 to 85 that was not set.
  std::optional<std::string_view> valueForField(std::int64_t field) const;

  /// The folder for the files. The host creates it.
  void setSQMDir(std::optional<std::string_view> folder) { sqmDirPath_ = folder; }

  /// The path for a file that is written now. The name is the local time in seconds: a second file within the same
  /// second replaces the first.
  std::string getSQMFileName() const;

  /// Writes the row to a new file. False when the file cannot be opened. A later error, such as a full disk, is not
  /// detected: the result is true, and the file holds the beginning of the line. Nothing is written, and the result is
  /// false, while the host's `recordJournal` does not allow that records are stored.
  bool saveRec() const;

  /// The name of the record type; empty for a type above 4. These numbers are not those of the record store.
  std::string_view recordName() const;
  std::uint64_t recordType() const { return recordType_; }
  void setRecordType(std::uint64_t type) { recordType_ = type; }

 protected:
  Host& host() const { return host_; }

  // NOLINTBEGIN(misc-non-private-member-variables-in-classes): the subclass sets them, `clear` resets them
  std::optional<std::string> mOSver_;
  std::optional<Date> mConnectStartDate_;
  std::optional<Date> mLoginStartDate_;
  // NOLINTEND(misc-non-private-member-variables-in-classes)

 private:
  std::string& slot(std::int64_t field);
  std::string line() const;

  Host& host_;
  std::array<std::string, kPositions> msqmRecord_;
  std::map<std::int64_t, std::string> outsideRow_;
  std::optional<std::string> sqmDirPath_;
  std::uint64_t recordType_ = 0;
};

}  // namespace sqm
