#pragma once

#include <cstddef>

#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

/// Writes the line of one operation on standard output, by one call, so that who reads it sees it at once. Throws
/// Problem, a failure, when nobody takes it.
void writeResult(std::size_t line, std::string_view operation, Result result);

}  // namespace sqmctl::play
