#pragma once

#include <string>
#include <string_view>

namespace collector {

/// A cell of CSV (RFC 4180), in quotes. A text from a record controls neither a spreadsheet nor a terminal: an
/// apostrophe is put before what a spreadsheet would take for a formula, which begins with = + - @, a tab or a line end
/// and is no number (OWASP, "CSV Injection"); control characters are written as their numbers.
std::string csvCell(std::string_view text);

}  // namespace collector
