#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "sqm/delivery/internal/Checksums.h"

namespace sqm::delivery {
namespace {

std::string ascendingBytes(int count) {
  std::string bytes;
  for (int byte = 0; byte < count; ++byte) bytes.push_back(static_cast<char>(byte));
  return bytes;
}

// The examples of RFC 3720, appendix B.4, and the check value of the catalogue of CRC algorithms.
TEST(Crc32c, HasThePublishedValues) {
  EXPECT_EQ(crc32c(std::string(32, '\0')), 0x8A9136AAU);
  EXPECT_EQ(crc32c(std::string(32, '\xFF')), 0x62A8AB43U);
  EXPECT_EQ(crc32c(ascendingBytes(32)), 0x46DD794EU);
  EXPECT_EQ(crc32c("123456789"), 0xE3069283U);
  EXPECT_EQ(crc32c(""), 0U);
}

// By the definition: the remainder of a division by the polynomial, bit by bit.
TEST(Crc32c, IsTheRemainderForEveryLength) {
  const std::string bytes = ascendingBytes(400);
  std::uint32_t remainder = 0xFFFFFFFF;
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_EQ(crc32c(bytes.substr(0, size)), ~remainder) << size;
    remainder ^= static_cast<unsigned char>(bytes[size]);
    for (int bit = 0; bit < 8; ++bit) remainder = (remainder >> 1) ^ ((remainder & 1) != 0 ? 0x82F63B78 : 0);
  }
}

TEST(Crc32c, ContinuesAtEveryByte) {
  const std::string bytes = ascendingBytes(100);
  for (std::size_t at = 0; at <= bytes.size(); ++at) {
    EXPECT_EQ(crc32c(bytes.substr(at), crc32c(bytes.substr(0, at))), crc32c(bytes)) << at;
  }
}

// Values that the xxhash program prints.
TEST(Xxh64, HasThePublishedValues) {
  EXPECT_EQ(xxh64("", 0), 0xEF46DB3751D8E999U);
  EXPECT_EQ(xxh64("a", 0), 0xD24EC4F1A98C6E5BU);
  EXPECT_EQ(xxh64("abc", 0), 0x44BC2CF5AD770999U);
  EXPECT_EQ(xxh64("Nobody inspects the spammish repetition", 0), 0xFBCEA83C8A378BF1U);
}

TEST(Xxh64, DependsOnEveryByteAndOnTheSeed) {
  const std::string bytes = ascendingBytes(77);
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    std::string other = bytes;
    other[at] ^= 1;
    EXPECT_NE(xxh64(other, 0), xxh64(bytes, 0)) << at;
  }
  EXPECT_NE(xxh64(bytes, 1), xxh64(bytes, 0));
}

}  // namespace
}  // namespace sqm::delivery
