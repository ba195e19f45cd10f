#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

/// The name of a position in the line of a `.sqm` file; its number where it has no name.
std::string sqmPositionName(std::size_t position);

/// The fields of a line, and whether it is a whole session.
struct SqmSession {
  std::vector<std::string_view> fields;  ///< views of the text that was split
  std::string_view problem;              ///< why it is not one whole session; empty when it is
};

/// Splits a line. Values are not escaped, so a value can look like a border between two fields; a session with other
/// than 86 fields has a problem.
SqmSession sqmSessionOf(std::string_view text);

/// The length of the first line of `body`, which begins with a double quote. A line ends at a quote and a line feed,
/// after 86 fields or before another quote; a line without such an end is the whole body.
std::size_t sqmLineLength(std::string_view body);

}  // namespace tools
