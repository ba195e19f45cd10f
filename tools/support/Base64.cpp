#include "tools/support/Base64.h"

#include <cstdint>

namespace tools {

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroup = 3;       // bytes
constexpr std::size_t kCharacters = 4;  // which become so many characters

}  // namespace

std::optional<std::string> bytesOfBase64(std::string_view text, std::size_t& soundUpTo) {
  std::size_t characters = text.size();
  while (characters > 0 && text.size() - characters < 2 && text[characters - 1] == '=') --characters;
  std::string bytes;
  bytes.reserve(text.size() / kCharacters * kGroup);
  std::uint32_t group = 0;
  for (soundUpTo = 0; soundUpTo < characters; ++soundUpTo) {
    const std::size_t value = kAlphabet.find(text[soundUpTo]);
    if (value == std::string_view::npos) return std::nullopt;
    group = group << 6 | static_cast<std::uint32_t>(value);
    if (soundUpTo % kCharacters != 0) bytes += static_cast<char>(group >> (6 - 2 * (soundUpTo % kCharacters)) & 0xFF);
    group &= 0x3F;
  }
  // A last group of one character holds no byte, and bits that no byte takes are none of an encoder's.
  const std::size_t last = characters % kCharacters;
  const bool isSound = text.size() % kCharacters == 0 && last != 1;
  if (!isSound || (last != 0 && (group & (last == 2 ? 0xFU : 0x3U)) != 0)) return std::nullopt;
  return bytes;
}

}  // namespace tools
