#include "sqm/platform/files/internal/BinaryPropertyListWriter.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "sqm/common/internal/Utf8.h"
#include "sqm/common/internal/XmlText.h"

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

/// The buffer is flushed when it holds this many bytes.
constexpr std::size_t kFlushAt = std::size_t{1} << 17;

/// The bytes that the format uses for a number up to `largest`.
std::size_t sizeFor(std::uint64_t largest) {
  std::size_t size = 1;
  while (size < sizeof largest && largest >> (8 * size) != 0) size *= 2;
  return size;
}

/// The marker of an integer of that many bytes.
unsigned integerMarker(std::size_t size) { return kInteger | static_cast<unsigned>(std::countr_zero(size)); }

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

}  // namespace

BinaryPropertyListWriter::BinaryPropertyListWriter(std::size_t objects, std::span<const std::string_view> sharedKeys,
                                                   ByteSink sink)
    : referenceSize_(sizeFor(objects)), sink_(std::move(sink)), bytes_("bplist00"), sharedKeys_(sharedKeys) {
  offsets_.reserve(objects);
  for (const std::string_view key : sharedKeys) text(key);
  pending_.clear();
}

void BinaryPropertyListWriter::text(std::string_view text) {
  if (!isXmlAllowed(text)) return data(text);
  if (isAscii(text)) {
    begin(kAsciiText, text.size());
    bytes_.append(text);
    return;
  }
  const std::u16string units = utf16FromUtf8(text);
  begin(kUtf16Text, units.size());
  for (const char16_t unit : units) append(bytes_, unit, sizeof unit);
}

void BinaryPropertyListWriter::data(std::string_view bytes) {
  begin(kData, bytes.size());
  bytes_.append(bytes);
}

void BinaryPropertyListWriter::integer(PropertyListValue::Integer number) {
  const auto [magnitude, isNegative] = number;
  const std::size_t size = isNegative ? 8 : magnitude >> 63 != 0 ? 16 : sizeFor(magnitude);  // of 8 bytes: signed
  begin(integerMarker(size));
  if (size == 16) append(bytes_, 0, 8);
  append(bytes_, isNegative ? 0 - magnitude : magnitude, std::min<std::size_t>(size, 8));
}

void BinaryPropertyListWriter::real(double number) {
  begin(kReal);
  append(bytes_, std::bit_cast<std::uint64_t>(number), sizeof number);
}

void BinaryPropertyListWriter::boolean(bool value) { begin(value ? kTrue : kFalse); }

void BinaryPropertyListWriter::date(PropertyListValue::Date date) {
  begin(kDate);
  append(bytes_, std::bit_cast<std::uint64_t>(date.seconds), sizeof date.seconds);
}

void BinaryPropertyListWriter::key(std::string_view key) {
  const auto shared = std::ranges::find(sharedKeys_, key);
  if (shared == sharedKeys_.end()) return text(key);
  pending_.push_back(static_cast<std::uint64_t>(shared - sharedKeys_.begin()));
}

void BinaryPropertyListWriter::end() {
  const auto [isDictionary, first] = open_.back();
  open_.pop_back();
  const std::size_t last = pending_.size();
  const std::size_t step = isDictionary ? 2 : 1;
  begin(isDictionary ? kDictionary : kArray, (last - first) / step);
  for (std::size_t part = 0; part < step; ++part) {
    for (std::size_t at = first + part; at < last; at += step) append(bytes_, pending_[at], referenceSize_);
  }
  pending_[first] = pending_.back();  // the container itself
  pending_.resize(first + 1);
}

void BinaryPropertyListWriter::finish() {
  const std::size_t table = flushed_ + bytes_.size();
  const std::size_t offsetSize = sizeFor(table);
  for (const std::size_t offset : offsets_) append(bytes_, offset, offsetSize);
  bytes_.append(6, '\0');
  append(bytes_, offsetSize, 1);
  append(bytes_, referenceSize_, 1);
  append(bytes_, offsets_.size(), 8);
  append(bytes_, offsets_.size() - 1, 8);
  append(bytes_, table, 8);
  flush();
}

/// Begins an object, to which the open container refers.
void BinaryPropertyListWriter::begin(unsigned marker) {
  if (bytes_.size() >= kFlushAt) flush();
  pending_.push_back(offsets_.size());
  offsets_.push_back(flushed_ + bytes_.size());
  append(bytes_, marker, 1);
}

void BinaryPropertyListWriter::begin(unsigned kind, std::size_t count) {
  begin(kind | static_cast<unsigned>(std::min<std::size_t>(count, kLongCount)));
  if (count < kLongCount) return;
  const std::size_t size = sizeFor(count);  // of the integer that follows and holds the count
  append(bytes_, integerMarker(size), 1);
  append(bytes_, count, size);
}

void BinaryPropertyListWriter::flush() {
  sink_(bytes_);
  flushed_ += bytes_.size();
  bytes_.clear();
}

}  // namespace sqm::platform
