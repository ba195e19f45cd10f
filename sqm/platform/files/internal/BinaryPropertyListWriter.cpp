#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#include "sqm/common/internal/Utf8.h"
#include "sqm/platform/files/internal/PropertyListForms.h"

namespace sqm::platform {

namespace {

// The format's markers: the kind of an object in the upper half, its count in the lower, or kLongCount.
constexpr unsigned kFalse = 0x08;
constexpr unsigned kTrue = 0x09;
constexpr unsigned kInteger = 0x10;
constexpr unsigned kReal = 0x23;
constexpr unsigned kDate = 0x33;
constexpr unsigned kData = 0x40;
constexpr unsigned kAsciiText = 0x50;
constexpr unsigned kUtf16Text = 0x60;
constexpr unsigned kArray = 0xA0;
constexpr unsigned kDictionary = 0xD0;
constexpr unsigned kLongCount = 0xF;

using Value = PropertyListValue;

/// The bytes that the format uses for a number up to `largest`.
std::size_t sizeFor(std::uint64_t largest) {
  std::size_t size = 1;
  while (size < sizeof largest && largest >> (8 * size) != 0) size *= 2;
  return size;
}

/// The marker of an integer of that many bytes.
unsigned integerMarker(std::size_t size) { return kInteger | static_cast<unsigned>(std::countr_zero(size)); }

bool isAscii(std::string_view text) {
  std::uint64_t all = 0;
  std::size_t at = 0;
  for (std::uint64_t word = 0; text.size() - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    all |= word;
  }
  for (; at < text.size(); ++at) all |= static_cast<unsigned char>(text[at]);
  return (all & 0x8080808080808080) == 0;
}

/// `text` is well-formed UTF-8.
std::u16string utf16FromUtf8(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  while (!text.empty()) {
    const auto [length, code] = utf8CharacterAt(text);
    const char32_t character = code.value_or(0);
    if (character < 0x10000) {
      units.push_back(static_cast<char16_t>(character));
    } else {
      units.push_back(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
    }
    text.remove_prefix(length);
  }
  return units;
}

/// Appends objects to the list, those of a container before it. The format: see BinaryPropertyListReader.cpp.
class Writer {
 public:
  explicit Writer(std::span<const std::string_view> sharedKeys) : sharedKeys_(sharedKeys) {}

  std::string write(const Value& root) && {
    referenceSize_ = sizeFor(sharedKeys_.size() + objectsOf(root));
    for (const std::string_view key : sharedKeys_) addText(key);
    add(root);
    const std::size_t table = bytes_.size();
    const std::size_t offsetSize = sizeFor(table);
    for (const std::size_t offset : offsets_) append(offset, offsetSize);
    bytes_.append(6, '\0');
    append(offsetSize, 1);
    append(referenceSize_, 1);
    append(offsets_.size(), 8);
    append(offsets_.size() - 1, 8);
    append(table, 8);
    return std::move(bytes_);
  }

  // Each adds an object and returns its number.

  std::uint64_t operator()(const std::string& text) { return addText(text); }
  std::uint64_t operator()(const Value::Data& data) { return addBytes(kData, data.bytes); }
  std::uint64_t operator()(Value::Integer number) {
    const auto [magnitude, isNegative] = number;
    const std::size_t size = isNegative ? 8 : magnitude >> 63 != 0 ? 16 : sizeFor(magnitude);  // of 8 bytes: signed
    const std::uint64_t object = begin(integerMarker(size));
    if (size == 16) append(0, 8);
    append(isNegative ? 0 - magnitude : magnitude, std::min<std::size_t>(size, 8));
    return object;
  }
  std::uint64_t operator()(double number) { return addReal(kReal, number); }
  std::uint64_t operator()(bool value) { return begin(value ? kTrue : kFalse); }
  std::uint64_t operator()(Value::Date date) { return addReal(kDate, date.seconds); }
  std::uint64_t operator()(const Value::Array& array) {
    std::vector<std::uint64_t> elements;
    elements.reserve(array.size());
    for (const Value& element : array) elements.push_back(add(element));
    return addContainer(kArray, array.size(), elements);
  }
  std::uint64_t operator()(const Value::Dictionary& dictionary) {
    std::vector<std::uint64_t> references(2 * dictionary.size());  // all keys, then all values
    for (std::size_t entry = 0; entry < dictionary.size(); ++entry) {
      const auto& [key, value] = dictionary[entry];
      const auto shared = std::ranges::find(sharedKeys_, key);
      references[entry] =
          shared == sharedKeys_.end() ? addText(key) : static_cast<std::uint64_t>(shared - sharedKeys_.begin());
      references[dictionary.size() + entry] = add(value);
    }
    return addContainer(kDictionary, dictionary.size(), references);
  }

 private:
  /// How many objects the value adds.
  std::size_t objectsOf(const Value& value) const {
    std::size_t objects = 1;
    if (const auto* const array = std::get_if<Value::Array>(&value.content)) {
      for (const Value& element : *array) objects += objectsOf(element);
    } else if (const auto* const dictionary = std::get_if<Value::Dictionary>(&value.content)) {
      for (const auto& [key, entry] : *dictionary) {
        objects += objectsOf(entry) + (std::ranges::find(sharedKeys_, key) == sharedKeys_.end() ? 1 : 0);
      }
    }
    return objects;
  }

  std::uint64_t add(const Value& value) { return std::visit(*this, value.content); }

  std::uint64_t addText(std::string_view text) {
    if (!isXmlAllowed(text)) return addBytes(kData, text);
    if (isAscii(text)) return addBytes(kAsciiText, text);
    const std::u16string units = utf16FromUtf8(text);
    const std::uint64_t object = begin(kUtf16Text, units.size());
    for (const char16_t unit : units) append(unit, sizeof unit);
    return object;
  }
  std::uint64_t addBytes(unsigned kind, std::string_view bytes) {
    const std::uint64_t object = begin(kind, bytes.size());
    bytes_.append(bytes);
    return object;
  }
  std::uint64_t addReal(unsigned marker, double number) {
    const std::uint64_t object = begin(marker);
    append(std::bit_cast<std::uint64_t>(number), sizeof number);
    return object;
  }
  std::uint64_t addContainer(unsigned kind, std::size_t count, const std::vector<std::uint64_t>& references) {
    const std::uint64_t object = begin(kind, count);
    for (const std::uint64_t reference : references) append(reference, referenceSize_);
    return object;
  }

  std::uint64_t begin(unsigned marker) {
    offsets_.push_back(bytes_.size());
    append(marker, 1);
    return offsets_.size() - 1;
  }
  std::uint64_t begin(unsigned kind, std::size_t count) {
    const std::uint64_t object = begin(kind | static_cast<unsigned>(std::min<std::size_t>(count, kLongCount)));
    if (count < kLongCount) return object;
    const std::size_t size = sizeFor(count);  // of the integer that follows and holds the count
    append(integerMarker(size), 1);
    append(count, size);
    return object;
  }
  void append(std::uint64_t number, std::size_t size) {
    for (std::size_t byte = size; byte-- > 0;) bytes_.push_back(static_cast<char>(number >> (8 * byte)));
  }

  const std::span<const std::string_view> sharedKeys_;
  std::size_t referenceSize_ = 0;
  std::string bytes_ = "bplist00";
  std::vector<std::size_t> offsets_;
};

}  // namespace

std::string binaryOf(const PropertyListValue& root, std::span<const std::string_view> sharedKeys) {
  return Writer(sharedKeys).write(root);
}

}  // namespace sqm::platform
