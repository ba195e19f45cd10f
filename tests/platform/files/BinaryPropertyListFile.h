#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sqm::platform::test {

inline std::string bigEndian(std::uint64_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t at = size; at-- > 0;)
    bytes.push_back(at < sizeof value ? static_cast<char>(value >> (8 * at)) : '\0');
  return bytes;
}

/// A binary property list put together by hand, sound or not: its objects as they stand in the file.
struct BinaryPropertyListFile {
  std::vector<std::string> objects;
  std::uint64_t root = 0;
  std::optional<std::uint64_t> declaredObjects{};
  std::optional<std::uint64_t> declaredOffsets{};
  std::size_t offsetSize = 4;
  std::size_t referenceSize = 4;

  /// The objects that refer to others do so with four bytes.
  static std::string container(unsigned char kind, const std::vector<std::uint64_t>& references) {
    const std::size_t count = kind == 0xD0 ? references.size() / 2 : references.size();
    std::string bytes = header(kind, count);
    for (const std::uint64_t reference : references) bytes += bigEndian(reference, 4);
    return bytes;
  }
  static std::string array(const std::vector<std::uint64_t>& references) { return container(0xA0, references); }
  static std::string set(const std::vector<std::uint64_t>& references) { return container(0xC0, references); }
  static std::string dictionary(const std::vector<std::uint64_t>& references) { return container(0xD0, references); }
  static std::string text(const std::string& bytes) { return header(0x50, bytes.size()) + bytes; }
  static std::string text16(const std::u16string& units) {
    std::string bytes = header(0x60, units.size());
    for (const char16_t unit : units) bytes += bigEndian(unit, 2);
    return bytes;
  }

  /// A marker and a count in eight bytes, whatever follows.
  static std::string header(unsigned char kind, std::uint64_t count) {
    return std::string{static_cast<char>(kind | 0xF), '\x13'} + bigEndian(count, 8);
  }

  std::string bytes() const {
    std::string file = "bplist00";
    std::string offsets;
    for (const std::string& object : objects) {
      offsets += bigEndian(file.size(), offsetSize);
      file += object;
    }
    const std::uint64_t table = file.size();
    return file + offsets + std::string(6, '\0') + bigEndian(offsetSize, 1) + bigEndian(referenceSize, 1) +
           bigEndian(declaredObjects.value_or(objects.size()), 8) + bigEndian(root, 8) +
           bigEndian(declaredOffsets.value_or(table), 8);
  }
};

}  // namespace sqm::platform::test
