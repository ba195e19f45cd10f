#include "sqm/sessionfiles/SQMRecord.h"

#include <chrono>
#include <numeric>
#include <stdexcept>

#include "sqm/common/Dates.h"
#include "sqm/common/Files.h"
#include "sqm/common/Format.h"
#include "sqm/common/RecordJournal.h"
#include "sqm/common/internal/TimeStamp.h"

namespace sqm {

namespace {

constexpr std::array<std::string_view, 5> kRecordNames = {"client", "connection", "device", "confirmation",
                                                          "connectionQuality"};

bool isInRow(std::int64_t field) { return field >= 0 && field < static_cast<std::int64_t>(SQMRecord::kPositions); }

}  // namespace

void SQMRecord::clear() {
  for (std::string& value : msqmRecord_) value.clear();
  mConnectStartDate_.reset();
  mLoginStartDate_.reset();
}

void SQMRecord::setIntValueForField(std::int64_t field, std::int64_t value) { slot(field) = std::to_string(value); }

void SQMRecord::setStringValueForField(std::int64_t field, std::optional<std::string_view> value) {
  if (!value) throw std::invalid_argument("SQMRecord: a value is absent");
  slot(field) = *value;
}

std::string& SQMRecord::slot(std::int64_t field) {
  return isInRow(field) ? msqmRecord_[static_cast<std::size_t>(field)] : outsideRow_[field];
}

std::optional<std::string_view> SQMRecord::valueForField(std::int64_t field) const {
  if (isInRow(field)) return msqmRecord_[static_cast<std::size_t>(field)];
  const auto found = outsideRow_.find(field);
  return found == outsideRow_.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

std::string SQMRecord::getSQMFileName() const {
  const std::chrono::sys_seconds now{std::chrono::seconds(host_.clock->time())};
  const std::string stamp = compactTimeStamp(now + host_.dates->secondsFromGMT(now));
  const std::array<std::string_view, 2> arguments = {sqmDirPath_ ? std::string_view(*sqmDirPath_) : kNullText, stamp};
  std::string path;
  appendFormatted(path, "%@/0Q%s.sqm", arguments);
  return path;
}

bool SQMRecord::saveRec() const {
  if (host_.recordJournal != nullptr && !host_.recordJournal->mayStore()) return false;
  return !host_.files->write(getSQMFileName(), line());
}

/// The row as it is written to a file: a value ends before its first NUL, as C strings do.
std::string SQMRecord::line() const {
  constexpr std::size_t kPunctuation = 3;  // two quotes, and a comma or the line feed
  std::string text;
  text.reserve(std::accumulate(msqmRecord_.begin(), msqmRecord_.end(), kPositions * kPunctuation,
                               [](std::size_t sum, const std::string& value) { return sum + value.size(); }));
  // NOLINTNEXTLINE(readability-redundant-string-cstr): up to the first NUL
  for (const std::string& value : msqmRecord_) text.append("\"").append(value.c_str()).append("\",");
  text.back() = '\n';
  return text;
}

std::string_view SQMRecord::recordName() const {
  return recordType_ < kRecordNames.size() ? kRecordNames[static_cast<std::size_t>(recordType_)] : std::string_view();
}

}  // namespace sqm
