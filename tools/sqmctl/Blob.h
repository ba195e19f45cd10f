#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/sqmctl/Output.h"

namespace sqmctl {

// The three layers of a diagnostics report, from the outside to the inside. Each throws Problem with the layer and the
// place in it when it is not what it should be.

/// The bytes behind the Base64. White space around it is passed over.
std::string compressedOf(std::string_view blob);

/// The text behind the gzip. A text of more than `limit` bytes is a Problem, however small the compressed form is; no
/// more than that is ever held.
std::string textOf(std::string_view compressed, std::size_t limit);

/// The value behind the JSON. A text that nests too deep to be shown is a Problem.
Json reportOf(std::string_view text);

}  // namespace sqmctl
