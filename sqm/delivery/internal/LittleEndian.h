#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace sqm::delivery {

template <typename Number>
constexpr Number swappedUnlessLittle(Number number) {
  if constexpr (std::endian::native == std::endian::little || sizeof(Number) == 1) return number;
  Number swapped = 0;
  for (std::size_t at = 0; at < sizeof(Number); ++at) {
    swapped = static_cast<Number>(swapped << 8 | (number & 0xFF));
    number = static_cast<Number>(number >> 8);
  }
  return swapped;
}

/// The unsigned number whose bytes, the lowest first, begin `bytes`, which has enough of them.
template <typename Number>
Number littleEndian(std::string_view bytes) {
  Number number = 0;
  std::memcpy(&number, bytes.data(), sizeof number);
  return swappedUnlessLittle(number);
}

/// Appends the bytes of an unsigned number, the lowest first.
template <typename Number>
void appendLittleEndian(std::string& out, Number number) {
  const auto bytes = std::bit_cast<std::array<char, sizeof number>>(swappedUnlessLittle(number));
  out.append(bytes.data(), bytes.size());
}

}  // namespace sqm::delivery
