#pragma once

#include <cstdint>
#include <string_view>

namespace sqm::delivery {

/// CRC-32C (RFC 3720, appendix B.4) of `bytes`, or of what `crc` covers and `bytes` after it.
std::uint32_t crc32c(std::string_view bytes, std::uint32_t crc = 0);

/// XXH64 of the xxHash family of hash functions, by Yann Collet.
std::uint64_t xxh64(std::string_view bytes, std::uint64_t seed);

}  // namespace sqm::delivery
