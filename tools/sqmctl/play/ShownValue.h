#pragma once

#include <string>
#include <string_view>

#include "sqm/common/JsonValue.h"

namespace sqmctl::play {

/// A text as a message shows it: in quotes, on one line, and not all of it when it is long.
std::string shownText(std::string_view text);

/// A value as a message shows it: what it is, or, of an object or a list, that it is one.
std::string shown(const sqm::JsonValue& value);

}  // namespace sqmctl::play
