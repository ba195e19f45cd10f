#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "sqm/platform/files/internal/PropertyListValue.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

/// Writes the objects of a binary property list through a buffer that does not grow with the list. The elements of a
/// container are written before it, and the root last. The format: see BinaryPropertyListReader.cpp.
class BinaryPropertyListWriter {
 public:
  /// `objects` is the number of objects that will be written. `sink` must outlive the writer.
  BinaryPropertyListWriter(std::size_t objects, const ByteSink& sink);

  // Each writes an object and returns its number.

  /// A text that is ill-formed, or has characters that XML does not allow, NUL among them, is written as data: other
  /// readers of property lists reject such strings.
  std::uint64_t text(std::string_view text);
  std::uint64_t data(std::string_view bytes);
  std::uint64_t integer(PropertyListValue::Integer number);
  std::uint64_t real(double number);
  std::uint64_t boolean(bool value);
  std::uint64_t date(PropertyListValue::Date date);
  std::uint64_t array(std::span<const std::uint64_t> elements);
  /// All keys, then their values.
  std::uint64_t dictionary(std::span<const std::uint64_t> keysAndValues);

  /// Writes what follows the objects.
  void finish();

 private:
  std::uint64_t begin(unsigned marker);
  std::uint64_t begin(unsigned kind, std::size_t count);
  std::uint64_t bytes(unsigned kind, std::string_view bytes);
  std::uint64_t eightBytes(unsigned marker, double number);
  std::uint64_t references(unsigned kind, std::size_t count, std::span<const std::uint64_t> references);
  void append(std::string_view bytes);
  void append(std::uint64_t number, std::size_t size);
  void flush();

  const ByteSink& sink_;
  std::size_t referenceSize_;
  std::uint64_t flushed_ = 0;
  std::unique_ptr<char[]> buffer_;
  std::size_t used_ = 0;
  std::vector<std::uint64_t> offsets_;
};

}  // namespace sqm::platform
