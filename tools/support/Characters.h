#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "sqm/common/internal/Utf8.h"

namespace tools {

/// What stands at the beginning of a text.
struct Character {
  std::size_t bytes = 0;
  std::optional<char32_t> code = {};  ///< nothing where it is no well-formed UTF-8
};

/// Looks at the beginning of a text, which is not empty.
inline Character characterAt(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  if (byte(0) < 0x80) return {1, byte(0)};
  const sqm::Utf8Sequence sequence = sqm::utf8SequenceAt(text);
  if (!sequence.isWellFormed) return {sequence.length, std::nullopt};
  char32_t code = byte(0) & (0x7FU >> sequence.length);
  for (std::size_t at = 1; at < sequence.length; ++at) code = code << 6 | (byte(at) & 0x3FU);
  return {sequence.length, code};
}

}  // namespace tools
