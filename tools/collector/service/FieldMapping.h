#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace collector {

/// What a field of a record, or a text in a field, means to the collector. Clients choose the names of their fields.
enum class Meaning : std::uint8_t {
  // fields
  client,
  session,
  event,
  index,
  time,
  version,
  network,
  status,
  reason,
  connectSeconds,
  signal,
  technology,
  roaming,
  vpnProfile,
  gateway,
  // texts
  isStart,
  isStop,
  isWiFi,
  isMobile,
  isEthernet,
  isConnected,
  isFailed,
  isDropped,
  isRoaming,
};
inline constexpr std::size_t kMeanings = 24;

/// The fields of a record as (name, value), in the record's order.
using FieldValues = std::vector<std::pair<std::string, std::string>>;

/// Which field, or text, has which meaning. Each meaning has any number of texts. For a field they are its names, of
/// which the first that has a value counts; for a text they are its spellings.
///
/// Threading: any thread, as long as it is not assigned to.
class FieldMapping {
 public:
  /// The names of examples/SQMFieldNames.plist and the texts of the library's code tables.
  FieldMapping();

  /// The default with the changes of a file: lines `meaning = text`, where several lines of a meaning give it several
  /// texts, an empty text gives it none, and `#` begins a comment. Throws std::invalid_argument, whose text is for the
  /// user, when the file cannot be read or a line is wrong.
  static FieldMapping ofFile(const std::string& file);

  /// The same with the content of a file; `file` names it in messages.
  static FieldMapping ofLines(std::istream& lines, const std::string& file);

  /// The default as the text of such a file, with what each meaning is.
  static std::string defaultText();

  /// The value of a field: that of the first of its names whose value is not empty. Empty when there is none.
  std::string_view valueOf(Meaning field, const FieldValues& values) const;

  /// True when `value` is one of the spellings of a text. The case of ASCII letters does not matter.
  bool is(Meaning text, std::string_view value) const;

 private:
  std::array<std::vector<std::string>, kMeanings> texts_;
};

}  // namespace collector
