#pragma once

#include <cstddef>
#include <string>

namespace sqmctl {

/// What a file holds, or, for "-", standard input. Throws Problem when it cannot be read, or holds more than `limit`
/// bytes.
std::string contentOfInput(const std::string& file, std::size_t limit);

}  // namespace sqmctl
