#pragma once

#include <string>
#include <string_view>

#include "sqm/common/Json.h"

namespace sqmctl::play {

/// A text, which is well-formed UTF-8, for a message: in quotes, on one line, and shortened when it is long.
std::string shownText(std::string_view text);

/// A value for a message. An object or a list is shown by its type only.
std::string shown(const sqm::JsonValue& value);

}  // namespace sqmctl::play
