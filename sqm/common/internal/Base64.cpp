#include "sqm/common/internal/Base64.h"

#include <cstdint>

namespace sqm {

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroupBytes = 3;
constexpr std::size_t kGroupCharacters = 4;

}  // namespace

std::string base64Of(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + kGroupBytes - 1) / kGroupBytes * kGroupCharacters);
  for (std::size_t at = 0; at < bytes.size(); at += kGroupBytes) {
    const auto byte = [&](std::size_t index) -> std::uint32_t {
      return at + index < bytes.size() ? static_cast<unsigned char>(bytes[at + index]) : 0;
    };
    const std::uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
    for (const unsigned shift : {18U, 12U, 6U, 0U}) text.push_back(kAlphabet[group >> shift & 0x3F]);
  }
  const std::size_t padding = (kGroupBytes - bytes.size() % kGroupBytes) % kGroupBytes;
  text.replace(text.size() - padding, padding, padding, '=');
  return text;
}

std::optional<std::string> bytesOfBase64(std::string_view text, std::size_t& validLength) {
  std::size_t characters = text.size();
  while (characters > 0 && text.size() - characters < 2 && text[characters - 1] == '=') --characters;
  std::string bytes;
  bytes.reserve(text.size() / kGroupCharacters * kGroupBytes);
  std::uint32_t bits = 0;  // those that are not yet in a byte
  for (validLength = 0; validLength < characters; ++validLength) {
    const std::size_t value = kAlphabet.find(text[validLength]);
    if (value == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    const std::size_t place = validLength % kGroupCharacters;
    if (place != 0) bytes += static_cast<char>(bits >> (6 - 2 * place) & 0xFF);
    bits &= 0x3F;
  }
  // A last group of one character holds no byte; the bits beyond the last byte are zero in what an encoder writes.
  const std::size_t last = characters % kGroupCharacters;
  const std::uint32_t unused = last == 0 ? 0 : bits & (last == 2 ? 0xFU : 0x3U);
  if (text.size() % kGroupCharacters != 0 || last == 1 || unused != 0) return std::nullopt;
  return bytes;
}

}  // namespace sqm
