#pragma once

#include <cstddef>
#include <string>

namespace sqmctl {

/// The content of a file, or of standard input for "-". Throws Problem when it cannot be read or has more than `limit`
/// bytes.
std::string contentOfInput(const std::string& file, std::size_t limit);

}  // namespace sqmctl
