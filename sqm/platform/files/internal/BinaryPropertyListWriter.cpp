#include "sqm/platform/files/internal/BinaryPropertyListWriter.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "sqm/common/internal/XmlText.h"

namespace sqm::platform {

namespace {

// The format's markers: the kind of an object in the upper half, its count in the lower, or kLongCount.
constexpr unsigned kInteger = 0x10;
constexpr unsigned kData = 0x40;
constexpr unsigned kAsciiText = 0x50;
constexpr unsigned kUtf16Text = 0x60;
constexpr unsigned kArray = 0xA0;
constexpr unsigned kDictionary = 0xD0;
constexpr unsigned kLongCount = 0xF;

/// Bytes that are handed on together, or a few more.
constexpr std::size_t kPiece = std::size_t{1} << 17;

/// The size that the format has for a number up to `largest`, in bytes.
std::size_t sizeFor(std::uint64_t largest) {
  std::size_t size = 1;
  while (size < sizeof largest && largest >> (8 * size) != 0) size *= 2;
  return size;
}

void append(std::string& out, std::uint64_t number, std::size_t size) {
  for (std::size_t byte = size; byte-- > 0;) out.push_back(static_cast<char>(number >> (8 * byte)));
}

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
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    std::uint32_t codePoint = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t next = 1; next < length; ++next) {
      codePoint = codePoint << 6 | (static_cast<unsigned char>(text[at + next]) & 0x3FU);
    }
    if (codePoint < 0x10000) {
      units.push_back(static_cast<char16_t>(codePoint));
    } else {
      units.push_back(static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF)));
    }
    at += length;
  }
  return units;
}

}  // namespace

BinaryPropertyListWriter::BinaryPropertyListWriter(std::size_t objects, Sink sink)
    : referenceSize_(sizeFor(objects)), sink_(std::move(sink)), bytes_("bplist00") {
  offsets_.reserve(objects);
}

BinaryPropertyListWriter::Number BinaryPropertyListWriter::addText(std::string_view text) {
  const bool isString = isXmlAllowed(text);
  if (isString && !isAscii(text)) {
    const std::u16string units = utf16FromUtf8(text);
    const Number number = begin(kUtf16Text, units.size());
    for (const char16_t unit : units) append(bytes_, unit, sizeof unit);
    return number;
  }
  const Number number = begin(isString ? kAsciiText : kData, text.size());
  bytes_.append(text);
  return number;
}

BinaryPropertyListWriter::Number BinaryPropertyListWriter::addDictionary(std::span<const Number> keys,
                                                                         std::span<const Number> values) {
  const Number number = begin(kDictionary, keys.size());
  addReferences(keys);
  addReferences(values);
  return number;
}

BinaryPropertyListWriter::Number BinaryPropertyListWriter::addArray(std::span<const Number> elements) {
  const Number number = begin(kArray, elements.size());
  addReferences(elements);
  return number;
}

void BinaryPropertyListWriter::finish() {
  const std::size_t table = handedOn_ + bytes_.size();
  const std::size_t offsetSize = sizeFor(table);
  for (const std::size_t offset : offsets_) append(bytes_, offset, offsetSize);
  bytes_.append(6, '\0');
  append(bytes_, offsetSize, 1);
  append(bytes_, referenceSize_, 1);
  append(bytes_, offsets_.size(), 8);
  append(bytes_, offsets_.size() - 1, 8);
  append(bytes_, table, 8);
  handOn();
}

BinaryPropertyListWriter::Number BinaryPropertyListWriter::begin(unsigned kind, std::size_t count) {
  if (bytes_.size() >= kPiece) handOn();
  offsets_.push_back(handedOn_ + bytes_.size());
  append(bytes_, kind | std::min<std::size_t>(count, kLongCount), 1);
  if (count >= kLongCount) {  // an integer object follows that holds the count, and in its marker the power of its size
    const std::size_t size = sizeFor(count);
    append(bytes_, kInteger | (size == 1 ? 0U : size == 2 ? 1U : size == 4 ? 2U : 3U), 1);
    append(bytes_, count, size);
  }
  return offsets_.size() - 1;
}

void BinaryPropertyListWriter::handOn() {
  sink_(bytes_);
  handedOn_ += bytes_.size();
  bytes_.clear();
}

void BinaryPropertyListWriter::addReferences(std::span<const Number> references) {
  for (const Number reference : references) append(bytes_, reference, referenceSize_);
}

}  // namespace sqm::platform
