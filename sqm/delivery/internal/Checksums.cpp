#include "sqm/delivery/internal/Checksums.h"

#include <array>
#include <bit>
#include <cstddef>

#include "sqm/delivery/internal/LittleEndian.h"

namespace sqm::delivery {

namespace {

constexpr std::size_t kSlices = 8;
using Slices = std::array<std::array<std::uint32_t, 256>, kSlices>;

/// Table `n` gives the checksum of a byte that `n` zero bytes follow, so that eight bytes are looked up at once.
constexpr Slices kSlicesOfCrc = [] {
  constexpr std::uint32_t kPolynomial = 0x82F63B78;  // of Castagnoli, with its bits reversed
  Slices slices{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0);
    slices[0][byte] = crc;
  }
  for (std::size_t slice = 1; slice < kSlices; ++slice) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t before = slices[slice - 1][byte];
      slices[slice][byte] = (before >> 8) ^ slices[0][before & 0xFF];
    }
  }
  return slices;
}();

constexpr std::uint64_t kPrimes[] = {0x9E3779B185EBCA87, 0xC2B2AE3D27D4EB4F, 0x165667B19E3779F9, 0x85EBCA77C2B2AE63,
                                     0x27D4EB2F165667C5};

constexpr std::uint64_t round(std::uint64_t lane, std::uint64_t input) {
  return std::rotl(lane + input * kPrimes[1], 31) * kPrimes[0];
}

constexpr std::uint64_t merged(std::uint64_t hash, std::uint64_t lane) {
  return (hash ^ round(0, lane)) * kPrimes[0] + kPrimes[3];
}

}  // namespace

std::uint32_t crc32c(std::string_view bytes, std::uint32_t crc) {
  crc = ~crc;
  while (bytes.size() >= kSlices) {
    const std::uint64_t word = littleEndian<std::uint64_t>(bytes) ^ crc;
    crc = 0;
    for (std::size_t at = 0; at < kSlices; ++at) crc ^= kSlicesOfCrc[kSlices - 1 - at][(word >> (8 * at)) & 0xFF];
    bytes.remove_prefix(kSlices);
  }
  for (const char byte : bytes) crc = (crc >> 8) ^ kSlicesOfCrc[0][(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
  return ~crc;
}

std::uint64_t xxh64(std::string_view bytes, std::uint64_t seed) {
  constexpr std::size_t kStripe = 32;
  const std::size_t length = bytes.size();
  std::uint64_t hash = seed + kPrimes[4];
  if (length >= kStripe) {
    std::array lanes = {seed + kPrimes[0] + kPrimes[1], seed + kPrimes[1], seed, seed - kPrimes[0]};
    for (; bytes.size() >= kStripe; bytes.remove_prefix(kStripe)) {
      for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        lanes[lane] = round(lanes[lane], littleEndian<std::uint64_t>(bytes.substr(8 * lane)));
      }
    }
    hash = std::rotl(lanes[0], 1) + std::rotl(lanes[1], 7) + std::rotl(lanes[2], 12) + std::rotl(lanes[3], 18);
    for (const std::uint64_t lane : lanes) hash = merged(hash, lane);
  }
  hash += length;
  for (; bytes.size() >= 8; bytes.remove_prefix(8)) {
    hash = std::rotl(hash ^ round(0, littleEndian<std::uint64_t>(bytes)), 27) * kPrimes[0] + kPrimes[3];
  }
  if (bytes.size() >= 4) {
    hash = std::rotl(hash ^ (littleEndian<std::uint32_t>(bytes) * kPrimes[0]), 23) * kPrimes[1] + kPrimes[2];
    bytes.remove_prefix(4);
  }
  for (const char byte : bytes) {
    hash = std::rotl(hash ^ (static_cast<unsigned char>(byte) * kPrimes[4]), 11) * kPrimes[0];
  }
  hash = (hash ^ (hash >> 33)) * kPrimes[1];
  hash = (hash ^ (hash >> 29)) * kPrimes[2];
  return hash ^ (hash >> 32);
}

}  // namespace sqm::delivery
