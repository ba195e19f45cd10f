#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "sqm/common/Json.h"

namespace sqmctl::play {

/// The most levels of objects and lists in a line, its own object included.
inline constexpr std::size_t kDeepestNesting = 100;

/// Why a line cannot be read, for the user.
struct Fault {
  std::string text;
};

/// Parses a line that consists of one JSON object. The keys keep their order, and the numbers keep their digits.
/// Numbers of more than 64 bits are accepted here; the types of the arguments reject them.
std::variant<sqm::JsonObject, Fault> objectOf(std::string_view line);

/// A text, which is well-formed UTF-8, for a message: in quotes, on one line, and shortened when it is long.
std::string shownText(std::string_view text);

/// A value for a message. An object or a list is shown by its type only.
std::string shown(const sqm::JsonValue& value);

}  // namespace sqmctl::play
