#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/sqmctl/Output.h"

namespace sqmctl {

// The three layers of a diagnostics report, from the outermost to the innermost. Each function throws Problem with the
// layer and the byte when its input is invalid.

/// Decodes the Base64. Ignores white space around it.
std::string compressedOf(std::string_view blob);

/// Decompresses the gzip. A text of more than `limit` bytes is a Problem; no more than that is ever in memory.
std::string textOf(std::string_view compressed, std::size_t limit);

/// Parses the JSON. A text with more than 100 levels is a Problem.
Json reportOf(std::string_view text);

}  // namespace sqmctl
