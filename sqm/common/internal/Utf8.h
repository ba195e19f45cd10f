#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "sqm/common/internal/TextScan.h"

namespace sqm {

/// The first sequence of a text: a multi-byte character, or the maximal subpart of an ill-formed one.
struct Utf8Sequence {
  std::size_t length;
  bool isWellFormed;
};

/// The first sequence of `text`, which is not empty and does not begin with an ASCII character. The ranges of the
/// second byte are those of table 3-7 of The Unicode Standard; the length of an ill-formed sequence follows its
/// section 3.9.
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

/// The first character of a text.
struct Utf8Character {
  std::size_t length = 0;
  std::optional<char32_t> code = {};  ///< absent for an ill-formed sequence
};

/// The first character of `text`, which is not empty.
inline Utf8Character utf8CharacterAt(std::string_view text) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  if (byte(0) < 0x80) return {1, byte(0)};
  const Utf8Sequence sequence = utf8SequenceAt(text);
  if (!sequence.isWellFormed) return {sequence.length, std::nullopt};
  char32_t code = byte(0) & (0x7FU >> sequence.length);
  for (std::size_t at = 1; at < sequence.length; ++at) code = code << 6 | (byte(at) & 0x3FU);
  return {sequence.length, code};
}

/// The length of the longest prefix of `text` that has at most `limit` bytes and ends between two sequences, so that
/// both parts are as well-formed, or as ill-formed, as the whole. It is at most three bytes below the limit.
inline std::size_t utf8PrefixLength(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return text.size();
  constexpr std::size_t kMostContinuationBytes = 3;
  for (std::size_t back = 1; back <= kMostContinuationBytes && back <= limit; ++back) {
    const std::size_t start = limit - back;
    const auto byte = static_cast<unsigned char>(text[start]);
    if ((byte & 0xC0) == 0x80) continue;  // the sequence begins further to the left
    return byte >= 0xC0 && utf8SequenceAt(text.substr(start)).length > back ? start : limit;
  }
  return limit;
}

/// True when `text` is well-formed UTF-8, in which a NUL is a character like any other.
inline bool isWellFormedUtf8(std::string_view text) { return passedLength<StopAt::illFormedUtf8>(text) == text.size(); }

}  // namespace sqm
