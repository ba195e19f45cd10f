#include "sqm/delivery/internal/Checksums.h"

#include <array>
#include <bit>
#include <cstddef>

#include "sqm/delivery/internal/LittleEndian.h"

namespace sqm::delivery {

namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);

/// The words that are taken at once. Four keep the look-ups of one from waiting for those of another.
constexpr std::size_t kLanes = 4;

/// The checksum of each byte that a number of zero bytes follows, for each byte of a word.
using WordTable = std::array<std::array<std::uint32_t, 256>, kWord>;

/// `distance`: from the beginning of the word to the place where the checksum goes on.
constexpr WordTable wordTable(std::size_t distance) {
  constexpr std::uint32_t kPolynomial = 0x82F63B78;  // of Castagnoli, with its bits reversed
  const auto shifted = [](std::uint32_t crc) { return (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0); };
  WordTable table{};
  for (std::size_t at = 0; at < kWord; ++at) {
    // Checksums are linear: those of eight bytes with one bit each give those of all bytes.
    for (std::uint32_t bit = 1; bit < 256; bit <<= 1) {
      std::uint32_t crc = bit;
      for (std::size_t count = 8 * (distance - at); count > 0; --count) crc = shifted(crc);
      for (std::uint32_t byte = bit; byte < 2 * bit; ++byte) table[at][byte] = table[at][byte - bit] ^ crc;
    }
  }
  return table;
}

constexpr WordTable kNext = wordTable(kWord);
constexpr WordTable kNextOfLane = wordTable(kWord * kLanes);

constexpr std::uint32_t checksum(const WordTable& table, std::uint64_t word) {
  const auto byte = [&](std::size_t at) { return table[at][(word >> (8 * at)) & 0xFF]; };
  return byte(0) ^ byte(1) ^ byte(2) ^ byte(3) ^ byte(4) ^ byte(5) ^ byte(6) ^ byte(7);
}

constexpr std::uint64_t kPrimes[] = {0x9E3779B185EBCA87, 0xC2B2AE3D27D4EB4F, 0x165667B19E3779F9, 0x85EBCA77C2B2AE63,
                                     0x27D4EB2F165667C5};

constexpr std::uint64_t round(std::uint64_t lane, std::uint64_t input) {
  return std::rotl(lane + input * kPrimes[1], 31) * kPrimes[0];
}

constexpr std::uint64_t merged(std::uint64_t hash, std::uint64_t lane) {
  return (hash ^ round(0, lane)) * kPrimes[0] + kPrimes[3];
}

}  // namespace

// Words are looked up byte by byte, and the words of four lanes at once, each of which skips those of the others:
// Kadatch and Jenkins, "Everything we know about CRC but afraid to forget", 2010.
std::uint32_t crc32c(std::string_view bytes, std::uint32_t crc) {
  constexpr std::size_t kBlock = kWord * kLanes;
  const auto wordAt = [&](std::size_t lane) { return littleEndian<std::uint64_t>(bytes.substr(kWord * lane)); };
  crc = ~crc;
  if (bytes.size() >= 2 * kBlock) {
    std::array<std::uint32_t, kLanes> lanes{crc};
    for (; bytes.size() >= 2 * kBlock; bytes.remove_prefix(kBlock)) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) lanes[lane] = checksum(kNextOfLane, wordAt(lane) ^ lanes[lane]);
    }
    crc = 0;
    for (std::size_t lane = 0; lane < kLanes; ++lane) crc = checksum(kNext, wordAt(lane) ^ lanes[lane] ^ crc);
    bytes.remove_prefix(kBlock);
  }
  for (; bytes.size() >= kWord; bytes.remove_prefix(kWord)) crc = checksum(kNext, wordAt(0) ^ crc);
  for (const char byte : bytes) {
    crc = (crc >> 8) ^ kNext[kWord - 1][(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
  }
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
