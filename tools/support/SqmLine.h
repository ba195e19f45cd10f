#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace tools {

/// What stands at a position of the line of a `.sqm` file, in a word; empty where no call lays anything but a constant.
std::string_view sqmPositionName(std::size_t position);

/// A session, as a `.sqm` file holds it.
struct SqmSession {
  std::vector<std::string_view> fields;  ///< as many as there seem to be; they lie in the text that was read
  std::string_view problem;              ///< why it is not one whole session; empty when it is
};

/// Takes a line apart. Nothing in it is escaped, so that a value can look like the border of two fields; a session with
/// other than 86 fields has a problem.
SqmSession sqmSessionOf(std::string_view text);

}  // namespace tools
