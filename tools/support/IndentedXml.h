#pragma once

#include <cstddef>
#include <string>

#include "tools/support/Terminal.h"

namespace tools {

/// An XML text for a person to read: a line for each element, indented by `indent` blanks and more, the names coloured.
/// Values stand as the text has them, with their references. What is no XML, or more than elements and texts, stands as
/// it is on one line. Without a line feed at the end.
std::string indentedXml(const Terminal& terminal, const std::string& text, std::size_t indent);

}  // namespace tools
