#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace collector {

/// One record of a body. Its texts come from the client: trust nothing in them.
struct Record {
  std::string_view type;                                    ///< "connection", "sqm", ...
  std::optional<std::string> subType;                       ///< the element around a group of its fields
  std::optional<std::string> event;                         ///< "start" or "stop", as a rule
  std::vector<std::pair<std::string, std::string>> values;  ///< by name, in the document's order, entities decoded
  std::string_view raw;                                     ///< its text, within the body
  std::optional<std::string> problem;                       ///< why values are missing
};

/// The limit of records read from one body; a client's list is far shorter.
inline constexpr std::size_t kMostRecords = 100'000;

using TakeRecord = std::function<void(const Record&)>;

/// Splits a body into its records and calls `take` with each in order. Returns the first problem of the body, or
/// nothing.
///
/// - A document of one of the five lists gives a record for every element in the list. One that is not well-formed has
///   no values and does not affect the others.
/// - Another element gives one record when the path is that of a record type. Otherwise, and for a body that is not
///   XML, there are no records.
/// - A body to /sqm gives a record for every line of 86 texts.
/// - A body to /queue is one record.
std::optional<std::string> readRecords(std::string_view path, std::string_view body, const TakeRecord& take);

/// The same for a body that is a document.
std::optional<std::string> readDocument(std::string_view path, std::string_view body, const TakeRecord& take);

}  // namespace collector
