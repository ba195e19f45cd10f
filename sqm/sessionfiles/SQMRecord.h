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

/// A record of the file-based path: a row of 86 texts, addressed by position, which is written as one line to a file of
/// its own. What the positions mean is the subclass's business. The format is described in docs/sqm-files.md.
///
/// Threading: one thread at a time.
/// Failure: an absent value throws `std::invalid_argument` and changes nothing; saving reports by its result.
class SQMRecord {
 public:
  static constexpr std::size_t kPositions = 86;

  /// A row of empty texts.
  explicit SQMRecord(Host& host) : host_(host) {}
  SQMRecord(const SQMRecord&) = delete;
  SQMRecord& operator=(const SQMRecord&) = delete;
  virtual ~SQMRecord() = default;

  /// Empties the positions 0 to 85 and forgets the start dates. The folder, the record type and the version of the
  /// operating system stay.
  void clear();

  /// Any position can be set. One outside 0 to 85 is kept, and never written to a file.
  void setIntValueForField(std::int64_t field, std::int64_t value);
  void setStringValueForField(std::int64_t field, std::optional<std::string_view> value);

  /// The text at a position; nothing outside 0 to 85 where none was set. Valid until the position changes.
  std::optional<std::string_view> valueForField(std::int64_t field) const;

  /// The folder that files are written to, which the host makes.
  void setSQMDir(std::optional<std::string_view> folder) { sqmDirPath_ = folder; }

  /// The path of a file that is written now: the local time to the second gives its name, so that a second file within
  /// the same second takes the place of the first.
  std::string getSQMFileName() const;

  /// Writes the row to a new file. False when the file cannot be opened. An error after that, such as a full disk, is
  /// not detected: the result is true, and the file holds the beginning of the line.
  bool saveRec() const;

  /// What the record type is called; empty for a type above 4. The numbers are this path's own, not the record store's.
  std::string_view recordName() const;
  std::uint64_t recordType() const { return recordType_; }
  void setRecordType(std::uint64_t type) { recordType_ = type; }

 protected:
  Host& host() const { return host_; }

  // NOLINTBEGIN(misc-non-private-member-variables-in-classes): the subclass's to fill, this class's to forget.
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
