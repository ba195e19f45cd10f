#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace sqm {

/// What a scan of text stops at.
enum class StopAt : std::uint8_t {
  illFormedUtf8,
  notXml,        ///< ill-formed UTF-8, and characters that XML 1.0 does not allow
  markup,        ///< the same, and & < > " '
  propertyList,  ///< as `notXml`, and & < > and the carriage return
  json           ///< ill-formed UTF-8, control characters, and the quotation mark and backslash of RFC 8259
};

/// The beginning of a text that a scan has passed: whole characters.
struct Passed {
  std::size_t length;
  bool isStopped;  ///< the next character is one to stop at; otherwise it has not been scanned
};

/// The scan compares so many bytes at once, in vectors that GCC and Clang translate for any processor.
inline constexpr std::size_t kScanBlock = 16;
using ScanBytes __attribute__((vector_size(kScanBlock))) = std::int8_t;  // signed: bytes from 0x80 are negative

/// The result of comparing vectors: each byte is 0 or 0xFF.
class ScanMask {
 public:
  explicit ScanMask(const ScanBytes& mask) : words_(std::bit_cast<std::array<std::uint64_t, 2>>(mask)) {}
  bool isAny() const { return (words_[0] | words_[1]) != 0; }
  /// The position of the first byte that is set; `kScanBlock` when none is.
  std::size_t first() const { return words_[0] != 0 ? firstIn(words_[0]) : 8 + firstIn(words_[1]); }

 private:
  static std::size_t firstIn(std::uint64_t word) {
    return static_cast<std::size_t>(std::endian::native == std::endian::little ? std::countr_zero(word)
                                                                               : std::countl_zero(word)) /
           8;
  }

  std::array<std::uint64_t, 2> words_;
};

/// Not for vectors: a processor without them returns those in another way.
template <typename Word>
inline Word wordAt(const void* at) {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

constexpr std::int8_t scanByte(unsigned value) { return static_cast<std::int8_t>(value); }

/// Adds to `stops` the bytes with which a sequence becomes ill-formed: those beside the ranges of table 3-7 of The
/// Unicode Standard. A character begins with the first byte.
template <StopAt stopAt>
inline void addIllFormed(const ScanBytes& bytes, ScanBytes& stops) {
  const ScanBytes zero = {};
  const ScanBytes before1 =
      __builtin_shufflevector(zero, bytes, 0, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30);
  const ScanBytes before2 =
      __builtin_shufflevector(zero, bytes, 0, 0, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29);
  const ScanBytes before3 =
      __builtin_shufflevector(zero, bytes, 0, 0, 0, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28);
  const ScanBytes continues = bytes < scanByte(0xC0);
  const ScanBytes shouldContinue = ((before1 & scanByte(0xC0)) == scanByte(0xC0)) |
                                   ((before2 & scanByte(0xE0)) == scanByte(0xE0)) |
                                   ((before3 & scanByte(0xF0)) == scanByte(0xF0));
  stops |= continues ^ shouldContinue;
  stops |= ((bytes & scanByte(0xFE)) == scanByte(0xC0)) | ((bytes >= scanByte(0xF5)) & (bytes < 0));
  stops |= ((before1 == scanByte(0xE0)) & (bytes < scanByte(0xA0))) |
           ((before1 == scanByte(0xED)) & (bytes >= scanByte(0xA0)));
  stops |= ((before1 == scanByte(0xF0)) & (bytes < scanByte(0x90))) |
           ((before1 == scanByte(0xF4)) & (bytes >= scanByte(0x90)));
  if constexpr (stopAt != StopAt::illFormedUtf8 && stopAt != StopAt::json) {  // U+FFFE and U+FFFF
    stops |= (before2 == scanByte(0xEF)) & (before1 == scanByte(0xBF)) & (bytes >= scanByte(0xBE));
  }
}

/// Removes the control characters that do not stop the scan.
template <StopAt stopAt>
inline void passWhiteSpace(const ScanBytes& bytes, ScanBytes& stops) {
  if constexpr (stopAt == StopAt::json) return;
  stops &= (bytes != '\t') & (bytes != '\n');
  if constexpr (stopAt != StopAt::propertyList) stops &= bytes != '\r';
}

/// How many of the bytes before `end` belong to a character that is not complete there.
inline std::size_t incompleteBefore(const char* block, std::size_t end) {
  for (std::size_t back = 1; back <= std::min<std::size_t>(end, 3); ++back) {
    const auto byte = static_cast<unsigned char>(block[end - back]);
    if (byte >= 0xC0) return back < (byte < 0xE0 ? 2U : byte < 0xF0 ? 3U : 4U) ? back : 0;
  }
  return 0;
}

/// A block of text, and a mask of the bytes that may stop the scan: those that do, white space, and all beyond ASCII.
template <StopAt stopAt>
struct ScanBlock {
  /// `block`: the address of 16 bytes.
  explicit ScanBlock(const void* block) {
    std::memcpy(&bytes, block, sizeof bytes);
    stops |= bytes < scanByte(stopAt == StopAt::illFormedUtf8 ? 0 : 0x20);
    if constexpr (stopAt == StopAt::markup) {
      stops |= ((bytes & scanByte(0xFE)) == '&') | ((bytes & scanByte(0xFD)) == '<') | (bytes == '"');
    } else if constexpr (stopAt == StopAt::propertyList) {
      stops |= (bytes == '&') | ((bytes & scanByte(0xFD)) == '<');
    } else if constexpr (stopAt == StopAt::json) {
      stops |= (bytes == '"') | (bytes == '\\');
    }
  }

  ScanBytes bytes{};
  ScanBytes stops{};
};

/// The highest bit of each byte: for a mask, which bytes are set. The lowest is that of the first byte.
inline std::uint64_t bitsOf(const ScanBytes& mask) {
#ifdef __SSE2__
  using Chars __attribute__((vector_size(sizeof mask))) = char;
  return static_cast<unsigned>(__builtin_ia32_pmovmskb128(Chars(mask)));
#else
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  constexpr std::uint64_t kGather = 0x0002040810204081;  // moves the high bit of byte i to bit 56 + i
  std::uint64_t words[2];
  std::memcpy(words, &mask, sizeof words);
  if constexpr (std::endian::native == std::endian::big) {
    for (std::uint64_t& word : words) word = __builtin_bswap64(word);
  }
  return ((words[0] & kHighBits) * kGather >> 56) | ((words[1] & kHighBits) * kGather >> 56 << 8);
#endif
}

/// The bytes that `stopsIn` scans at once.
inline constexpr std::size_t kScanGroup = 64;

/// A bit for each of the 64 bytes at `bytes` that may stop the scan, the lowest for the first: those that do, white
/// space, and all beyond ASCII. All are found at once, so that none waits until the one before has been replaced.
template <StopAt stopAt>
inline std::uint64_t stopsIn(const char* bytes) {
  std::uint64_t stops = 0;
  for (std::size_t at = 0; at < kScanGroup; at += kScanBlock)
    stops |= bitsOf(ScanBlock<stopAt>(bytes + at).stops) << at;
  return stops;
}

/// A bit for each of the 64 bytes at `bytes` that is beyond ASCII, the lowest for the first.
inline std::uint64_t beyondAsciiIn(const char* bytes) {
  std::uint64_t found = 0;
  for (std::size_t at = 0; at < kScanGroup; at += kScanBlock) {
    ScanBytes block{};
    std::memcpy(&block, bytes + at, sizeof block);
    found |= bitsOf(block) << at;
  }
  return found;
}

/// Scans the 16 bytes at `block`, where a character begins.
template <StopAt stopAt>
inline Passed passedInBlock(const char* block) {
  auto [bytes, stops] = ScanBlock<stopAt>(block);
  const ScanMask found(stops);
  if (!found.isAny()) return {kScanBlock, false};

  const ScanBytes beyondAscii = bytes < 0;
  if (!ScanMask(beyondAscii).isAny()) {
    std::size_t end = found.first();
    if (block[end] >= ' ') return {end, true};
    passWhiteSpace<stopAt>(bytes, stops);
    end = ScanMask(stops).first();
    return {end, end < kScanBlock};
  }
  stops &= ~beyondAscii;
  if (ScanMask(stops).isAny()) passWhiteSpace<stopAt>(bytes, stops);
  addIllFormed<stopAt>(bytes, stops);
  const std::size_t end = ScanMask(stops).first();
  return {end - incompleteBefore(block, end), end < kScanBlock};
}

/// False when none of the 1 to 15 bytes stops the scan. They are compared in any order and some of them twice, which is
/// faster than copying them into a block.
template <StopAt stopAt>
inline bool mayStop(std::string_view text) {
  using Words __attribute__((vector_size(kScanBlock))) = std::uint64_t;
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  Words words;
  if (text.size() >= 8) {
    words = Words{wordAt<std::uint64_t>(begin), wordAt<std::uint64_t>(end - 8)};
  } else if (text.size() >= 4) {
    words = Words{} + (std::uint64_t{wordAt<std::uint32_t>(begin)} << 32 | wordAt<std::uint32_t>(end - 4));
  } else {
    const auto byte = [&](std::size_t at) { return std::uint64_t{static_cast<unsigned char>(begin[at])}; };
    words = Words{} + (byte(0) << 16 | byte(text.size() / 2) << 8 | byte(text.size() - 1) | 0x2020202020000000);
  }
  return ScanMask(ScanBlock<stopAt>(&words).stops).isAny();
}

/// Scans at most 16 bytes of `text`, which is not empty and begins with a character.
template <StopAt stopAt>
inline Passed passed(std::string_view text) {
  if (text.size() >= kScanBlock) return passedInBlock<stopAt>(text.data());
  if (!mayStop<stopAt>(text)) return {text.size(), false};
  char block[kScanBlock];
  std::memset(block, ' ', sizeof block);
  std::memcpy(block, text.data(), text.size());
  const Passed result = passedInBlock<stopAt>(block);
  return {std::min(result.length, text.size()), result.isStopped};
}

/// As `passedLength`.
template <StopAt stopAt>
std::size_t passedLengthInBlocks(std::string_view text) {
  std::size_t at = 0;
  Passed next{};
  while (at < text.size() && !next.isStopped) {
    while (text.size() - at >= 2 * kScanBlock && static_cast<signed char>(text[at]) >= 0) {
      const ScanBlock<stopAt> first(text.data() + at);
      const ScanBlock<stopAt> second(text.data() + at + kScanBlock);
      if (ScanMask(first.stops | second.stops).isAny()) break;
      at += 2 * kScanBlock;
    }
    if (at == text.size()) break;
    next = passed<stopAt>(text.substr(at));
    at += next.length;
  }
  return at;
}

/// The length of the text before the first character to stop at.
template <StopAt stopAt>
inline std::size_t passedLength(std::string_view text) {
  const bool isShort = text.size() - 1 < kScanBlock - 1;  // and not empty
  return isShort && !mayStop<stopAt>(text) ? text.size() : passedLengthInBlocks<stopAt>(text);
}

}  // namespace sqm
