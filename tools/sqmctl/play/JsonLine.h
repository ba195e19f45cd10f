#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "sqm/common/JsonValue.h"

namespace sqmctl::play {

/// Objects and lists inside each other, in one line, the line's own object included.
inline constexpr std::size_t kDeepestNesting = 100;

/// What keeps a line from being read, for the user.
struct Fault {
  std::string text;
};

/// Reads a line that holds one JSON object and nothing else. Its keys keep their order. Numbers keep their digits;
/// those of more than 64 bits or out of a double's range included, which are the reader's to judge.
std::variant<sqm::JsonObject, Fault> objectOf(std::string_view line);

}  // namespace sqmctl::play
