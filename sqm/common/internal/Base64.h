#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace sqm {

/// Base64 on one line, with padding (RFC 4648, section 4).
inline std::string base64Of(std::string_view bytes) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::size_t kGroup = 3;  // bytes, which become four characters
  std::string text;
  text.reserve((bytes.size() + kGroup - 1) / kGroup * 4);
  for (std::size_t at = 0; at < bytes.size(); at += kGroup) {
    const auto byte = [&](std::size_t index) -> std::uint32_t {
      return at + index < bytes.size() ? static_cast<unsigned char>(bytes[at + index]) : 0;
    };
    const std::uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
    for (const unsigned shift : {18U, 12U, 6U, 0U}) text.push_back(kAlphabet[group >> shift & 0x3F]);
  }
  const std::size_t padding = (kGroup - bytes.size() % kGroup) % kGroup;
  text.replace(text.size() - padding, padding, padding, '=');
  return text;
}

}  // namespace sqm
