#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

namespace sqm {

/// Reserves room for `more` bytes at the end of `text`. False when there is no memory for them. For sizes that a file
/// chooses: they must not end the process.
inline bool tryReserve(std::string& text, std::uintmax_t more) {
  if (more > text.max_size() - text.size()) return false;
  try {
    text.reserve(text.size() + static_cast<std::size_t>(more));
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

}  // namespace sqm
