#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace sqm {

/// What stands at the beginning of a text: a multi-byte character, or the maximal subpart of an ill-formed one.
struct Utf8Sequence {
  std::size_t length;
  bool isWellFormed;
};

/// Looks at the beginning of `text`, which is not empty and whose first byte is no ASCII character. The ranges of the
/// second byte are those of table 3-7 of The Unicode Standard; the length of an ill-formed sequence follows its section
/// 3.9.
inline Utf8Sequence utf8SequenceAt(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned lead = byte(0);
  const std::size_t length = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
  unsigned low = 0x80;
  unsigned high = 0xBF;
  if (lead == 0xE0) low = 0xA0;
  if (lead == 0xED) high = 0x9F;
  if (lead == 0xF0) low = 0x90;
  if (lead == 0xF4) high = 0x8F;
  std::size_t at = 1;
  for (; at < length && at < text.size() && byte(at) >= low && byte(at) <= high; ++at) {
    low = 0x80;
    high = 0xBF;
  }
  return {at, length > 1 && at == length};
}

/// True when eight ASCII characters stand at `at`.
inline bool isAsciiWordAt(std::string_view text, std::size_t at) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::uint64_t word = 0;
  if (text.size() - at < sizeof word) return false;
  std::memcpy(&word, text.data() + at, sizeof word);
  return (word & kHighBits) == 0;
}

/// True when `text` is well-formed UTF-8. A NUL is a character like any other.
inline bool isWellFormedUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    if (isAsciiWordAt(text, at)) {
      at += sizeof(std::uint64_t);
      continue;
    }
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      ++at;
      continue;
    }
    const Utf8Sequence sequence = utf8SequenceAt(text.substr(at));
    if (!sequence.isWellFormed) return false;
    at += sequence.length;
  }
  return true;
}

}  // namespace sqm
