#pragma once

#include <cstddef>

#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

/// Writes the result line of one operation to standard output, unbuffered, so that its reader can follow the run.
/// Throws Problem (failure) when the line cannot be written.
void writeResult(std::size_t line, std::string_view operation, Result result);

}  // namespace sqmctl::play
