#pragma once

#include <cstddef>
#include <string>

#include "tools/support/Terminal.h"

namespace tools {

/// An XML text for people: a line for each element, indented by at least `indent` blanks, with coloured names. Values
/// are as in the text, with their references. A text that is not XML, or contains more than elements and texts, is
/// returned unchanged on one line. Without a line feed at the end.
std::string indentedXml(const Terminal& terminal, const std::string& text, std::size_t indent);

}  // namespace tools
