#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace collector {

/// One record of a body. Its texts are what the client wrote: nothing in them is to be trusted.
struct Record {
  std::string_view type;                                    ///< "connection", "sqm", ...
  std::optional<std::string> subType;                       ///< the element around a group of its fields
  std::optional<std::string> event;                         ///< "start" or "stop", as a rule
  std::vector<std::pair<std::string, std::string>> values;  ///< by name, in the document's order, entities decoded
  std::string_view raw;                                     ///< its text, within the body
  std::optional<std::string> problem;                       ///< why its values are not, or not all, to be had
};

/// More records of one body than these are not taken apart; a client's list is shorter by far.
inline constexpr std::size_t kMostRecords = 100'000;

using TakeRecord = std::function<void(const Record&)>;

/// Takes a body apart into its records, which are handed to `take` in order. Gives what is wrong with the body: the
/// first problem, or nothing.
///
/// - A document of one of the five lists gives a record for every element in the list. One that is not well-formed
/// comes
///   without values, and the others are not harmed by it.
/// - Another element gives one record when the path says of what type; otherwise, and for all else that is not XML,
///   there are no records.
/// - A body to /sqm gives a record for every line of 86 texts.
/// - A body to /queue is one record as it is.
std::optional<std::string> readRecords(std::string_view path, std::string_view body, const TakeRecord& take);

// The parts of it.

std::optional<std::string> readDocument(std::string_view path, std::string_view body, const TakeRecord& take);
std::optional<std::string> readSessionLines(std::string_view body, const TakeRecord& take);

}  // namespace collector
