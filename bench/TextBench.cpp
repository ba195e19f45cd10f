// Escaping texts for XML, compared with the fastest of several plain ways to give the same result for the same text.

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "sqm/common/internal/XmlText.h"

#include "bench/Comparison.h"

namespace {

static_assert(std::endian::native == std::endian::little, "the plain ways read words");

constexpr std::size_t kTextSize = 1600;
constexpr std::size_t kPadding = 32;  // bytes behind a text that may be read and bytes of a result that may be written

std::string repeated(std::string_view piece) {
  std::string text;
  while (text.size() + piece.size() <= kTextSize) text.append(piece);
  return text;
}

template <typename Word>
Word wordAt(const char* at) {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

/// The length of a multi-byte character that XML allows. The masks leave the bits of a sequence that are always the
/// same, and then those that tell the shortest form from longer ones, and characters from surrogates.
std::size_t sequenceLength(const char* at) {
  const auto word = wordAt<std::uint32_t>(at);
  if ((word & 0xC0E0) == 0x80C0 && (word & 0x1E) != 0) return 2;
  if ((word & 0xC0C0F0) == 0x8080E0) {
    const std::uint32_t range = word & 0x200F;
    const std::uint32_t character = word & 0xFFFFFF;
    bench::require(range != 0 && range != 0x200D && character != 0xBEBFEF && character != 0xBFBFEF, "ill-formed text");
    return 3;
  }
  const bool isFour = (word & 0xC0C0C0F8) == 0x808080F0;
  const std::uint32_t range = word & 0x3007;
  bench::require(isFour && range != 0 && ((range & 4) == 0 || range == 4), "ill-formed text");
  return 4;
}

std::string_view referenceTo(char character) {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    default:
      return "&apos;";
  }
}

char* put(std::string_view text, char* to) {
  std::memcpy(to, text.data(), text.size());
  return to + text.size();
}

/// Runs of ordinary characters are found by the C library.
std::size_t escapeByRuns(std::string_view text, char* out) {
  constexpr const char* kMarks =
      "&<>\"'\x01\x02\x03\x04\x05\x06\x07\x08\x0B\x0C\x0E\x0F\x10\x11\x12\x13\x14\x15\x16\x17"
      "\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F";
  const char* at = text.data();
  const char* const end = at + text.size();
  char* to = out;
  while (true) {
    const char* const stop = at + std::strcspn(at, kMarks);
    to = put({at, stop}, to);
    while (at < stop) {
      if ((wordAt<std::uint64_t>(at) & 0x8080808080808080) == 0) {
        at += 8;
      } else {
        at += static_cast<signed char>(*at) >= 0 ? 1 : sequenceLength(at);
      }
    }
    if (stop == end) return static_cast<std::size_t>(to - out);
    to = put(referenceTo(*stop), to);
    at = stop + 1;
  }
}

/// The high bit of each byte of the word that is not ordinary ASCII.
std::uint64_t unusualIn(std::uint64_t word) {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  const auto zeros = [](std::uint64_t each) { return each - kEach; };
  const std::uint64_t found = zeros((word & 0xFEFEFEFEFEFEFEFE) ^ kEach * '&') |
                              zeros((word & 0xFDFDFDFDFDFDFDFD) ^ kEach * '<') | zeros(word ^ kEach * '"') |
                              (word - kEach * 0x20) | word;
  return found & kEach * 0x80;
}

/// Stops at a byte that is not ordinary ASCII: writes its replacement, or its character, and moves both positions.
void putUnusual(const char*& at, char*& to) {
  if (static_cast<signed char>(*at) < 0) {
    do {
      const std::size_t length = sequenceLength(at);
      std::memcpy(to, at, 4);
      at += length;
      to += length;
    } while (static_cast<signed char>(*at) < 0);
  } else if (*at == '\t' || *at == '\n' || *at == '\r') {
    *to++ = *at++;
  } else {
    to = put(referenceTo(*at++), to);
  }
}

/// Eight bytes at once. The lowest byte that is found is one; those above it may not be.
std::size_t escapeByWords(std::string_view text, char* out) {
  const char* at = text.data();
  const char* const end = at + text.size();
  char* to = out;
  while (at < end) {
    const auto word = wordAt<std::uint64_t>(at);
    const std::uint64_t unusual = unusualIn(word);
    std::memcpy(to, &word, sizeof word);
    const auto ordinary = unusual == 0 ? sizeof word : static_cast<std::size_t>(std::countr_zero(unusual)) / 8;
    at += ordinary;
    to += ordinary;
    if (unusual != 0 && at < end) putUnusual(at, to);
  }
  return static_cast<std::size_t>(to - out - (at - end));
}

using Vector __attribute__((vector_size(16))) = std::int8_t;

/// A byte of each that is not ordinary ASCII.
inline Vector unusualIn(const Vector& bytes) {
  constexpr auto kAllButLowest = static_cast<std::int8_t>(~1);
  constexpr auto kAllButSecond = static_cast<std::int8_t>(~2);
  return (bytes < 0x20) | (bytes == '"') | ((bytes & kAllButLowest) == '&') | ((bytes & kAllButSecond) == '<');
}

inline bool isAny(const Vector& mask) {
  const auto words = std::bit_cast<std::array<std::uint64_t, 2>>(mask);
  return (words[0] | words[1]) != 0;
}

/// Sixteen bytes at once; in pairs, thirty-two where all are ordinary.
template <bool kInPairs>
std::size_t escapeByVectors(std::string_view text, char* out) {
  const char* at = text.data();
  const char* const end = at + text.size();
  char* to = out;
  const auto copyVector = [&](const Vector& bytes) {
    std::memcpy(to, &bytes, sizeof bytes);
    at += sizeof bytes;
    to += sizeof bytes;
  };
  while (at < end) {
    while (kInPairs && end - at >= 32) {
      const auto first = wordAt<Vector>(at);
      const auto second = wordAt<Vector>(at + sizeof first);
      if (isAny(unusualIn(first) | unusualIn(second))) break;
      copyVector(first);
      copyVector(second);
    }
    const auto bytes = wordAt<Vector>(at);
    const Vector unusual = unusualIn(bytes);
    if (!isAny(unusual)) {
      copyVector(bytes);
      continue;
    }
    std::memcpy(to, &bytes, sizeof bytes);
    const auto found = std::bit_cast<std::array<std::uint64_t, 2>>(unusual);
    const int bit = found[0] != 0 ? std::countr_zero(found[0]) : 64 + std::countr_zero(found[1]);
    at += bit / 8;
    to += bit / 8;
    if (at < end) putUnusual(at, to);
  }
  return static_cast<std::size_t>(to - out - (at - end));
}

using Escape = std::size_t (*)(std::string_view text, char* out);

/// A text, followed by padding, and room for its result.
struct Texts {
  explicit Texts(const std::string& content)
      : padded(content + std::string(kPadding, '\0')),
        text(std::string_view(padded).substr(0, content.size())),
        out(std::make_unique<char[]>(content.size() * std::string_view("&quot;").size() + kPadding)) {}

  std::string padded;
  std::string_view text;
  std::unique_ptr<char[]> out;
};

double bestTimeOf(Escape escape, const Texts& texts) {
  constexpr int kRounds = 2000;
  double best = std::numeric_limits<double>::max();
  for (int round = 0; round < kRounds; ++round) {
    const auto begin = std::chrono::steady_clock::now();
    for (int time = 0; time < 8; ++time) {
      benchmark::DoNotOptimize(escape(texts.text, texts.out.get()));
      benchmark::ClobberMemory();
    }
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
  return best;
}

Escape fastestFor(const Texts& texts) {
  Escape fastest = nullptr;
  double least = std::numeric_limits<double>::max();
  std::string expected;
  sqm::appendXmlText(expected, texts.text, sqm::XmlEscaping::markup);
  for (const Escape escape : {escapeByRuns, escapeByWords, escapeByVectors<false>, escapeByVectors<true>}) {
    bench::require(std::string_view(texts.out.get(), escape(texts.text, texts.out.get())) == expected, "wrong result");
    const double time = bestTimeOf(escape, texts);
    if (time < least) {
      least = time;
      fastest = escape;
    }
  }
  return fastest;
}

void compareEscaping(const std::string& name, const std::string& content) {
  const auto texts = std::make_shared<const Texts>(content);
  bench::compare(
      "escaping/" + name, {.aim = 1.2},
      [texts](benchmark::State& state) {
        std::string out;
        for (auto _ : state) {
          out.clear();
          sqm::appendXmlText(out, texts->text, sqm::XmlEscaping::markup);
          benchmark::DoNotOptimize(out.data());
          benchmark::ClobberMemory();
        }
      },
      [texts, escape = fastestFor(*texts)](benchmark::State& state) {
        for (auto _ : state) {
          benchmark::DoNotOptimize(escape(texts->text, texts->out.get()));
          benchmark::ClobberMemory();
        }
      });
}

}  // namespace

int main(int argc, char** argv) {
  compareEscaping("ordinary text", repeated("a value of a record, with some words in it; "));
  compareEscaping("& every 40 bytes", repeated("thirty-nine bytes of text and a mark here: &"));
  compareEscaping("Chinese", repeated("\xE6\x97\xA0\xE7\xBA\xBF\xE7\xBD\x91\xE7\xBB\x9C\xE8\xBF\x9E\xE6\x8E\xA5"));
  compareEscaping("emoji", repeated("\xF0\x9F\x93\xB6\xF0\x9F\x9A\x80\xF0\x9F\x8C\x8D"));
  return bench::run(argc, argv);
}
