#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace sqm {

/// Most values have at most so many bytes. `copyShort` copies them faster than a call of `memcpy` does.
inline constexpr std::size_t kShortText = 32;

/// Copies a text of at most `kShortText` bytes. It is read before its copy is written: they may overlap.
inline void copyShort(char* to, std::string_view text) {
  const auto copyEnds = [&](auto word) {  // the words overlap
    const std::size_t last = text.size() - sizeof word;
    std::memcpy(&word, text.data(), sizeof word);
    auto lastWord = word;
    std::memcpy(&lastWord, text.data() + last, sizeof word);
    std::memcpy(to, &word, sizeof word);
    std::memcpy(to + last, &lastWord, sizeof word);
  };
  struct TwoWords {
    std::uint64_t words[2];
  };
  static_assert(2 * sizeof(TwoWords) == kShortText);
  if (text.size() >= sizeof(TwoWords)) {
    copyEnds(TwoWords{});
  } else if (text.size() >= sizeof(std::uint64_t)) {
    copyEnds(std::uint64_t{});
  } else if (text.size() >= sizeof(std::uint32_t)) {
    copyEnds(std::uint32_t{});
  } else if (!text.empty()) {
    const std::size_t middle = text.size() / 2;
    const char copies[] = {text.front(), text[middle], text.back()};
    to[0] = copies[0];
    to[middle] = copies[1];
    to[text.size() - 1] = copies[2];
  }
}

/// Copies a text of any length. They may overlap.
inline void copyText(char* to, std::string_view text) {
  if (text.size() <= kShortText) {
    copyShort(to, text);
  } else {
    std::memmove(to, text.data(), text.size());
  }
}

}  // namespace sqm
