#include "sqm/platform/files/internal/BinaryPropertyListWriter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

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

constexpr std::string_view kSignature = "bplist00";
constexpr std::size_t kBuffer = std::size_t{64} * 1024;

using Value = PropertyListValue;

/// The bytes that the format uses for a number up to `largest`.
std::size_t sizeFor(std::uint64_t largest) {
  std::size_t size = 1;
  while (size < sizeof largest && largest >> (8 * size) != 0) size *= 2;
  return size;
}

/// The marker of an integer of that many bytes.
unsigned integerMarker(std::size_t size) { return kInteger | static_cast<unsigned>(std::countr_zero(size)); }

/// Bytes that are checked together, in a loop without a branch, which compilers vectorise.
using Block = std::array<std::uint8_t, 64>;

/// True when `shown` makes every byte an ASCII character from the space on.
template <typename Shown>
bool isAscii(const Block& block, Shown shown) {
  std::uint8_t refused = 0;  // its highest bit
  for (const std::uint8_t byte : block) {
    const std::uint8_t character = shown(byte);
    refused = static_cast<std::uint8_t>(refused | character | static_cast<std::uint8_t>(character - ' '));
  }
  return refused < 0x80;
}

/// True when every byte is an ASCII character that XML 1.0 allows. Most blocks hold none below the space.
bool isAllowedAscii(const Block& block) {
  return isAscii(block, [](std::uint8_t byte) { return byte; }) || isAscii(block, [](std::uint8_t byte) {
           const bool isBlank = byte == '\t' || byte == '\n' || byte == '\r';
           return isBlank ? static_cast<std::uint8_t>(' ') : byte;
         });
}

bool isAllowedAscii(std::string_view text) {
  Block block{};
  for (; text.size() >= block.size(); text.remove_prefix(block.size())) {
    std::memcpy(block.data(), text.data(), block.size());
    if (!isAllowedAscii(block)) return false;
  }
  block.fill(' ');
  std::ranges::copy(text, block.begin());
  return isAllowedAscii(block);
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

/// Writes values, with the keys that are shared first.
class ValueWriter {
 public:
  ValueWriter(std::span<const std::string_view> sharedKeys, std::size_t objects, const ByteSink& sink)
      : sharedKeys_(sharedKeys), writer_(objects, sink) {}

  void write(const Value& root) {
    for (const std::string_view key : sharedKeys_) writer_.text(key);
    add(root);
    writer_.finish();
  }

  std::uint64_t operator()(const std::string& text) { return writer_.text(text); }
  std::uint64_t operator()(const Value::Data& data) { return writer_.data(data.bytes); }
  std::uint64_t operator()(Value::Integer number) { return writer_.integer(number); }
  std::uint64_t operator()(double number) { return writer_.real(number); }
  std::uint64_t operator()(bool value) { return writer_.boolean(value); }
  std::uint64_t operator()(Value::Date date) { return writer_.date(date); }
  std::uint64_t operator()(const Value::Array& array) {
    std::vector<std::uint64_t> elements;
    elements.reserve(array.size());
    for (const Value& element : array) elements.push_back(add(element));
    return writer_.array(elements);
  }
  std::uint64_t operator()(const Value::Dictionary& dictionary) {
    std::vector<std::uint64_t> references(2 * dictionary.size());
    for (std::size_t entry = 0; entry < dictionary.size(); ++entry) {
      const auto& [key, value] = dictionary[entry];
      const auto shared = std::ranges::find(sharedKeys_, key);
      references[entry] =
          shared == sharedKeys_.end() ? writer_.text(key) : static_cast<std::uint64_t>(shared - sharedKeys_.begin());
      references[dictionary.size() + entry] = add(value);
    }
    return writer_.dictionary(references);
  }

 private:
  std::uint64_t add(const Value& value) { return std::visit(*this, value.content); }

  const std::span<const std::string_view> sharedKeys_;
  BinaryPropertyListWriter writer_;
};

/// How many objects the value becomes.
std::size_t objectsOf(const Value& value, std::span<const std::string_view> sharedKeys) {
  std::size_t objects = 1;
  if (const auto* const array = std::get_if<Value::Array>(&value.content)) {
    for (const Value& element : *array) objects += objectsOf(element, sharedKeys);
  } else if (const auto* const dictionary = std::get_if<Value::Dictionary>(&value.content)) {
    for (const auto& [key, entry] : *dictionary) {
      objects += objectsOf(entry, sharedKeys) + (std::ranges::find(sharedKeys, key) == sharedKeys.end() ? 1 : 0);
    }
  }
  return objects;
}

}  // namespace

BinaryPropertyListWriter::BinaryPropertyListWriter(std::size_t objects, const ByteSink& sink)
    : sink_(sink), referenceSize_(sizeFor(objects)), buffer_(std::make_unique_for_overwrite<char[]>(kBuffer)) {
  offsets_.reserve(objects);
  append(kSignature);
}

std::uint64_t BinaryPropertyListWriter::text(std::string_view text) {
  if (isAllowedAscii(text)) return bytes(kAsciiText, text);
  if (!isXmlAllowed(text)) return data(text);
  const std::u16string units = utf16FromUtf8(text);
  const std::uint64_t object = begin(kUtf16Text, units.size());
  for (const char16_t unit : units) append(unit, sizeof unit);
  return object;
}

std::uint64_t BinaryPropertyListWriter::data(std::string_view bytes) { return this->bytes(kData, bytes); }

std::uint64_t BinaryPropertyListWriter::integer(Value::Integer number) {
  const auto [magnitude, isNegative] = number;
  const std::size_t size = isNegative ? 8 : magnitude >> 63 != 0 ? 16 : sizeFor(magnitude);  // of 8 bytes: signed
  const std::uint64_t object = begin(integerMarker(size));
  if (size == 16) append(0, 8);
  append(isNegative ? 0 - magnitude : magnitude, std::min<std::size_t>(size, 8));
  return object;
}

std::uint64_t BinaryPropertyListWriter::real(double number) { return eightBytes(kReal, number); }
std::uint64_t BinaryPropertyListWriter::boolean(bool value) { return begin(value ? kTrue : kFalse); }
std::uint64_t BinaryPropertyListWriter::date(Value::Date date) { return eightBytes(kDate, date.seconds); }

std::uint64_t BinaryPropertyListWriter::array(std::span<const std::uint64_t> elements) {
  return references(kArray, elements.size(), elements);
}

std::uint64_t BinaryPropertyListWriter::dictionary(std::span<const std::uint64_t> keysAndValues) {
  return references(kDictionary, keysAndValues.size() / 2, keysAndValues);
}

void BinaryPropertyListWriter::finish() {
  const std::uint64_t table = flushed_ + used_;
  const std::size_t offsetSize = sizeFor(table);
  for (const std::uint64_t offset : offsets_) append(offset, offsetSize);
  append(std::string_view("\0\0\0\0\0\0", 6));
  append(offsetSize, 1);
  append(referenceSize_, 1);
  append(offsets_.size(), 8);
  append(offsets_.size() - 1, 8);
  append(table, 8);
  flush();
}

std::uint64_t BinaryPropertyListWriter::bytes(unsigned kind, std::string_view bytes) {
  const std::uint64_t object = begin(kind, bytes.size());
  append(bytes);
  return object;
}

std::uint64_t BinaryPropertyListWriter::eightBytes(unsigned marker, double number) {
  const std::uint64_t object = begin(marker);
  append(std::bit_cast<std::uint64_t>(number), sizeof number);
  return object;
}

std::uint64_t BinaryPropertyListWriter::references(unsigned kind, std::size_t count,
                                                   std::span<const std::uint64_t> references) {
  const std::uint64_t object = begin(kind, count);
  for (const std::uint64_t reference : references) append(reference, referenceSize_);
  return object;
}

std::uint64_t BinaryPropertyListWriter::begin(unsigned marker) {
  offsets_.push_back(flushed_ + used_);
  append(marker, 1);
  return offsets_.size() - 1;
}

std::uint64_t BinaryPropertyListWriter::begin(unsigned kind, std::size_t count) {
  const std::uint64_t object = begin(kind | static_cast<unsigned>(std::min<std::size_t>(count, kLongCount)));
  if (count < kLongCount) return object;
  const std::size_t size = sizeFor(count);  // of the integer that follows and holds the count
  append(integerMarker(size), 1);
  append(count, size);
  return object;
}

/// Bytes that the whole buffer could not hold are written without it.
void BinaryPropertyListWriter::append(std::string_view bytes) {
  if (bytes.size() > kBuffer - used_) flush();
  if (bytes.size() > kBuffer) {
    sink_(bytes);
    flushed_ += bytes.size();
    return;
  }
  std::memcpy(buffer_.get() + used_, bytes.data(), bytes.size());
  used_ += bytes.size();
}

void BinaryPropertyListWriter::append(std::uint64_t number, std::size_t size) {
  if (sizeof number > kBuffer - used_) flush();
  // All eight bytes are stored, in one instruction. Those beyond `size` are overwritten by what follows.
  number <<= 8 * (sizeof number - size);
  std::array<char, sizeof number> bytes{};
  for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
    bytes[byte] = static_cast<char>(number >> (8 * (bytes.size() - 1 - byte)));
  }
  std::memcpy(buffer_.get() + used_, bytes.data(), bytes.size());
  used_ += size;
}

void BinaryPropertyListWriter::flush() {
  sink_({buffer_.get(), used_});
  flushed_ += std::exchange(used_, 0);
}

std::string binaryOf(const PropertyListValue& root, std::span<const std::string_view> sharedKeys) {
  std::string bytes;
  const ByteSink sink = [&](std::string_view piece) { bytes.append(piece); };
  ValueWriter(sharedKeys, sharedKeys.size() + objectsOf(root, sharedKeys), sink).write(root);
  return bytes;
}

}  // namespace sqm::platform
