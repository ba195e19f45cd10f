#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <utility>

#include <unicode/unistr.h>

#include "sqm/platform/files/internal/PropertyListForms.h"

namespace sqm::platform {

namespace {

constexpr std::string_view kSignature = "bplist00";
constexpr std::size_t kTrailerSize = 32;

/// An array of strings may take this many bytes. A list may refer to one text many times, so a small file can ask for
/// any amount.
constexpr std::size_t kMostBytes = std::size_t{1} << 30;

constexpr std::string_view kDamaged = "it is no binary property list, or a damaged one";
constexpr std::string_view kNoArray = "the root of the property list is no array";
constexpr std::string_view kTooDeep = "it is nested too deep";
constexpr std::string_view kTooMuch = "it unfolds to too much text";

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

enum class Kind : std::uint8_t { array, dictionary, bytesText, utf16Text, data, other };

struct Object {
  Kind kind = Kind::other;
  unsigned char marker = 0;
  std::size_t count = 0;  // elements, code units of a text, or bytes of data
  std::string_view body;  // of another kind, all bytes up to the end of the table

  bool isContainer() const { return kind == Kind::array || kind == Kind::dictionary; }
  bool isText() const { return kind == Kind::bytesText || kind == Kind::utf16Text; }
};

/// The objects of a list, looked up one at a time in the bytes of the file.
///
/// A file is a table of objects that refer to each other by number, so a few hundred bytes can nest without end or
/// unfold to any size. Nothing here recurses or allocates on the word of the file: readers bound both.
///
/// The format: CFBinaryPList.c of Apple's open CoreFoundation describes it. Numbers are big-endian.
class Objects {
 public:
  /// Nothing when the file is truncated or inconsistent. `bytes` must outlive the objects.
  static std::optional<Objects> open(std::string_view bytes);

  /// Nothing when there is no such object, or when it extends beyond the table.
  std::optional<Object> object(std::uint64_t number) const;
  std::optional<Object> root() const { return object(root_); }

  /// What `container` refers to: the elements of an array; the keys of a dictionary, then its values.
  std::optional<Object> object(const Object& container, std::size_t index) const {
    return object(bigEndian(container.body.substr(index * referenceSize_, referenceSize_)));
  }

 private:
  std::string_view objects_;
  std::string_view offsets_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t root_ = 0;
};

std::optional<Objects> Objects::open(std::string_view bytes) {
  if (!isBinaryPropertyList(bytes) || bytes.size() < kSignature.size() + kTrailerSize) return std::nullopt;
  const std::size_t end = bytes.size() - kTrailerSize;
  const std::string_view trailer = bytes.substr(end);
  Objects list;
  list.offsetSize_ = static_cast<unsigned char>(trailer[6]);
  list.referenceSize_ = static_cast<unsigned char>(trailer[7]);
  list.count_ = bigEndian(trailer.substr(8, 8));
  list.root_ = bigEndian(trailer.substr(16, 8));
  const std::uint64_t offsets = bigEndian(trailer.substr(24, 8));
  const auto isWordSize = [](std::size_t size) { return size >= 1 && size <= sizeof(std::uint64_t); };
  if (!isWordSize(list.offsetSize_) || !isWordSize(list.referenceSize_)) return std::nullopt;
  if (offsets < kSignature.size() || offsets > end) return std::nullopt;
  if (list.count_ > (end - offsets) / list.offsetSize_) return std::nullopt;
  list.objects_ = bytes.substr(0, static_cast<std::size_t>(offsets));
  list.offsets_ = bytes.substr(static_cast<std::size_t>(offsets), end - static_cast<std::size_t>(offsets));
  return list;
}

std::optional<Object> Objects::object(std::uint64_t number) const {
  if (number >= count_) return std::nullopt;
  const std::uint64_t offset = bigEndian(offsets_.substr(static_cast<std::size_t>(number) * offsetSize_, offsetSize_));
  if (offset < kSignature.size() || offset >= objects_.size()) return std::nullopt;
  std::string_view rest = objects_.substr(static_cast<std::size_t>(offset));
  const auto marker = static_cast<unsigned char>(rest.front());
  rest.remove_prefix(1);

  Object found;
  found.marker = marker;
  std::size_t unit = 1;
  switch (marker >> 4) {
    case 0x4:
      found.kind = Kind::data;
      break;
    case 0x5:
      found.kind = Kind::bytesText;
      break;
    case 0x6:
      found.kind = Kind::utf16Text;
      unit = 2;
      break;
    case 0xA:
      found.kind = Kind::array;
      unit = referenceSize_;
      break;
    case 0xD:
      found.kind = Kind::dictionary;
      unit = 2 * referenceSize_;
      break;
    default:
      found.body = rest;
      return found;
  }

  std::uint64_t count = marker & 0xF;
  if (count == 0xF) {  // an integer object follows that holds the count
    if (rest.empty()) return std::nullopt;
    const auto sizeMarker = static_cast<unsigned char>(rest.front());
    const std::size_t size = std::size_t{1} << (sizeMarker & 0xF);
    if (sizeMarker >> 4 != 0x1 || size > sizeof(std::uint64_t) || rest.size() <= size) return std::nullopt;
    count = bigEndian(rest.substr(1, size));
    rest.remove_prefix(1 + size);
  }
  if (count > rest.size() / unit) return std::nullopt;
  found.count = static_cast<std::size_t>(count);
  found.body = rest.substr(0, found.count * unit);
  return found;
}

/// The text of the object. A surrogate without its partner becomes U+FFFD.
std::string textOf(const Object& object) {
  if (object.kind != Kind::utf16Text) return std::string(object.body);
  std::u16string units;
  units.reserve(object.count);
  for (std::size_t at = 0; at < object.body.size(); at += 2) {
    units.push_back(static_cast<char16_t>(bigEndian(object.body.substr(at, 2))));
  }
  std::string text;
  icu::UnicodeString(false, units.data(), static_cast<std::int32_t>(units.size())).toUTF8String(text);
  return text;
}

using Value = PropertyListValue;
using Content = Value::Content;

constexpr double secondsTo(std::chrono::year year) {
  return static_cast<double>((std::chrono::sys_seconds(std::chrono::sys_days(year / 1 / 1)) - kReferenceDate).count());
}
constexpr double kFirstDate = secondsTo(std::chrono::year(1));
constexpr double kEndOfDates = secondsTo(std::chrono::year(10'000));

/// The number of `size` bytes at the beginning of `body`. One of 8 bytes or more has a sign.
std::optional<Value::Integer> integerOf(std::string_view body, std::size_t size) {
  if (size > 16 || body.size() < size) return std::nullopt;
  const std::uint64_t high = size > 8 ? bigEndian(body.substr(0, size - 8)) : 0;
  const std::uint64_t low = bigEndian(body.substr(size > 8 ? size - 8 : 0, std::min<std::size_t>(size, 8)));
  const bool isNegative = size == 8 ? low >> 63 != 0 : high == ~std::uint64_t{0};
  if (isNegative ? low < std::uint64_t{1} << 63 : high != 0) return std::nullopt;
  return Value::Integer{isNegative ? 0 - low : low, isNegative};
}

std::optional<double> realOf(std::string_view body, std::size_t size) {
  if ((size != 4 && size != 8) || body.size() < size) return std::nullopt;
  const std::uint64_t bits = bigEndian(body.substr(0, size));
  return size == 4 ? std::bit_cast<float>(static_cast<std::uint32_t>(bits)) : std::bit_cast<double>(bits);
}

/// What an object holds that is neither a text, nor data, nor a container.
std::optional<Content> scalarOf(const Object& object) {
  const std::size_t size = std::size_t{1} << (object.marker & 0xF);
  switch (object.marker >> 4) {
    case 0x0:
      if (object.marker != 0x08 && object.marker != 0x09) return std::nullopt;
      return object.marker == 0x09;
    case 0x1:
      return integerOf(object.body, size);
    case 0x2:
      return realOf(object.body, size);
    case 0x3: {
      const auto seconds = realOf(object.body, size);
      if (!seconds || !(*seconds >= kFirstDate && *seconds < kEndOfDates)) return std::nullopt;
      return Value::Date{*seconds};
    }
    case 0x8: {  // an object identifier, in the form in which XML has it
      const auto identifier = integerOf(object.body, (object.marker & 0xFU) + 1);
      if (!identifier) return std::nullopt;
      return Value::Dictionary{{"CF$UID", Value{*identifier}}};
    }
    default:
      return std::nullopt;
  }
}

/// Reads values, bounded in depth and memory.
class ValueReader {
 public:
  ValueReader(const Objects& objects, std::size_t room, std::string_view& problem)
      : objects_(objects), room_(room), problem_(problem) {}

  /// The object, whose containers may be nested `depth` deep.
  std::optional<Content> read(const std::optional<Object>& object, std::size_t depth) {
    if (!object) return failed(kDamaged);
    if (object->isContainer() && depth == 0) return failed(kTooDeep);
    const std::size_t size = kPerObject + (object->isText() || object->kind == Kind::data ? object->body.size() : 0);
    if (size > room_) return failed(kTooMuch);
    room_ -= size;
    if (object->kind == Kind::array) return readArray(*object, depth - 1);
    if (object->kind == Kind::dictionary) return readDictionary(*object, depth - 1);
    if (object->kind == Kind::data) return Value::Data{std::string(object->body)};
    if (object->isText()) return textOf(*object);
    auto scalar = scalarOf(*object);
    return scalar ? scalar : failed(kDamaged);
  }

 private:
  /// What an object takes in memory beside its text: about the size of a key and its value.
  static constexpr std::size_t kPerObject = 64;

  std::nullopt_t failed(std::string_view problem) {
    problem_ = problem;
    return std::nullopt;
  }

  std::optional<Content> readArray(const Object& object, std::size_t depth) {
    Value::Array array;
    for (std::size_t index = 0; index < object.count; ++index) {
      auto element = read(objects_.object(object, index), depth);
      if (!element) return std::nullopt;
      array.push_back({*std::move(element)});
    }
    return array;
  }

  std::optional<Content> readDictionary(const Object& object, std::size_t depth) {
    Value::Dictionary dictionary;
    for (std::size_t index = 0; index < object.count; ++index) {
      auto key = read(objects_.object(object, index), 0);
      auto value = key ? read(objects_.object(object, object.count + index), depth) : std::nullopt;
      if (!value) return std::nullopt;
      auto* name = std::get_if<std::string>(&*key);
      if (auto* const data = std::get_if<Value::Data>(&*key)) name = &data->bytes;  // a text that is none for others
      if (name == nullptr) return failed(kDamaged);
      dictionary.push_back({std::move(*name), {*std::move(value)}});
    }
    return dictionary;
  }

  const Objects& objects_;
  std::size_t room_;
  std::string_view& problem_;
};

}  // namespace

bool isBinaryPropertyList(std::string_view bytes) { return bytes.starts_with(kSignature); }

std::optional<PropertyListValue> readBinaryValue(std::string_view bytes, std::size_t room, std::string_view& problem) {
  const auto objects = Objects::open(bytes);
  problem = kDamaged;
  auto content =
      objects ? ValueReader(*objects, room, problem).read(objects->root(), kDeepestPropertyList) : std::nullopt;
  if (!content) return std::nullopt;
  return Value{*std::move(content)};
}

// Does without values, as the reader of XML does.
std::optional<TextArray> readBinaryArray(std::string_view bytes, std::string_view& problem) {
  const auto objects = Objects::open(bytes);
  const auto root = objects ? objects->root() : std::nullopt;
  problem = kDamaged;
  if (!root) return std::nullopt;
  problem = kNoArray;
  if (root->kind != Kind::array) return std::nullopt;

  std::size_t room = kMostBytes;
  constexpr std::size_t kPerElement = 2 * sizeof(std::size_t);
  TextArray array;
  array.reserve(std::min(root->count, room / kPerElement), 0);
  for (std::size_t index = 0; index < root->count; ++index) {
    const auto element = objects->object(*root, index);
    problem = kDamaged;
    if (!element) return std::nullopt;
    const std::size_t size = kPerElement + (element->isText() ? element->body.size() : 0);
    problem = kTooMuch;
    if (size > room) return std::nullopt;
    room -= size;
    if (element->isText()) {
      array.append(xmlAllowed(textOf(*element)));
    } else {
      array.append(std::nullopt);
    }
  }
  return array;
}

}  // namespace sqm::platform
