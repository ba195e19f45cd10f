#include "sqm/platform/files/internal/BinaryPropertyList.h"

#include "sqm/platform/files/internal/XmlAllowed.h"

namespace sqm::platform {

namespace {

constexpr std::string_view kSignature = "bplist00";
constexpr std::size_t kTrailerSize = 32;

/// A list may unfold to this many bytes. One text may stand in it many times, so that a small file can ask for any
/// amount.
constexpr std::size_t kMostBytes = std::size_t{1} << 30;

constexpr std::string_view kDamaged = "the binary property list is damaged";
constexpr std::string_view kNoArray = "the root of the binary property list is no array";
constexpr std::string_view kTooMuch = "the binary property list unfolds to too much text";

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

/// Appends a code point, which is no surrogate, as UTF-8.
void appendUtf8(std::string& out, std::uint32_t codePoint) {
  const auto add = [&](std::uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  const auto continuation = [&](unsigned shift) { add(0x80 | (codePoint >> shift & 0x3F)); };
  if (codePoint < 0x80) {
    add(codePoint);
  } else if (codePoint < 0x800) {
    add(0xC0 | codePoint >> 6);
    continuation(0);
  } else if (codePoint < 0x10000) {
    add(0xE0 | codePoint >> 12);
    continuation(6);
    continuation(0);
  } else {
    add(0xF0 | codePoint >> 18);
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

std::string utf8FromUtf16(std::string_view units) {
  const auto unit = [&](std::size_t at) { return static_cast<std::uint32_t>(bigEndian(units.substr(at, 2))); };
  constexpr std::uint32_t kReplacementCharacter = 0xFFFD;
  std::string text;
  text.reserve(units.size());
  for (std::size_t at = 0; at < units.size(); at += 2) {
    std::uint32_t codePoint = unit(at);
    if (codePoint >= 0xD800 && codePoint < 0xE000) {
      const std::uint32_t next = codePoint < 0xDC00 && at + 2 < units.size() ? unit(at + 2) : 0;
      if (next >= 0xDC00 && next < 0xE000) {
        codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (next - 0xDC00);
        at += 2;
      } else {
        codePoint = kReplacementCharacter;
      }
    }
    appendUtf8(text, codePoint);
  }
  return text;
}

}  // namespace

std::optional<std::string> BinaryPropertyList::bytesOf(const Object& object) {
  switch (object.kind) {
    case Kind::bytesText:
    case Kind::data:
      return std::string(object.body);
    case Kind::utf16Text:
      return utf8FromUtf16(object.body);
    default:
      return std::nullopt;
  }
}

bool BinaryPropertyList::recognises(std::string_view bytes) { return bytes.starts_with(kSignature); }

std::optional<BinaryPropertyList> BinaryPropertyList::open(std::string_view bytes) {
  if (!recognises(bytes) || bytes.size() < kSignature.size() + kTrailerSize) return std::nullopt;
  const std::size_t end = bytes.size() - kTrailerSize;
  const std::string_view trailer = bytes.substr(end);
  BinaryPropertyList list;
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

std::optional<BinaryPropertyList::Object> BinaryPropertyList::object(std::uint64_t number) const {
  if (number >= count_) return std::nullopt;
  const std::uint64_t offset = bigEndian(offsets_.substr(static_cast<std::size_t>(number) * offsetSize_, offsetSize_));
  if (offset < kSignature.size() || offset >= objects_.size()) return std::nullopt;
  std::string_view rest = objects_.substr(static_cast<std::size_t>(offset));
  const auto marker = static_cast<unsigned char>(rest.front());
  rest.remove_prefix(1);

  Object found;
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
    case 0xC:
      found.kind = Kind::set;
      unit = referenceSize_;
      break;
    case 0xD:
      found.kind = Kind::dictionary;
      unit = 2 * referenceSize_;
      break;
    default:
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

std::uint64_t BinaryPropertyList::reference(const Object& container, std::size_t index) const {
  return bigEndian(container.body.substr(index * referenceSize_, referenceSize_));
}

bool BinaryPropertyList::isWithin(std::size_t depth, std::size_t objects) const {
  return isWithin(root_, depth, objects);
}

bool BinaryPropertyList::isWithin(std::uint64_t number, std::size_t depth, std::size_t& objects) const {
  constexpr std::size_t kBytesOfOne = 64;
  const auto found = object(number);
  if (!found || depth == 0) return false;
  const std::size_t counts = 1 + found->body.size() / kBytesOfOne;
  if (counts > objects) return false;
  objects -= counts;
  const bool refers = found->kind == Kind::array || found->kind == Kind::set || found->kind == Kind::dictionary;
  if (!refers) return true;
  const std::size_t references = found->body.size() / referenceSize_;
  for (std::size_t index = 0; index < references; ++index) {
    if (!isWithin(reference(*found, index), depth - 1, objects)) return false;
  }
  return true;
}

std::optional<PropertyList::Array> readBinaryArray(std::string_view bytes, std::string_view& problem) {
  using Kind = BinaryPropertyList::Kind;
  const auto list = BinaryPropertyList::open(bytes);
  const auto root = list ? list->object(list->root()) : std::nullopt;
  if (!root) {
    problem = kDamaged;
    return std::nullopt;
  }
  if (root->kind != Kind::array) {
    problem = kNoArray;
    return std::nullopt;
  }
  const auto elementAt = [&](std::size_t index) { return list->object(list->reference(*root, index)); };
  const auto isText = [](const BinaryPropertyList::Object& object) {
    return object.kind == Kind::bytesText || object.kind == Kind::utf16Text;
  };

  std::size_t room = kMostBytes;
  for (std::size_t index = 0; index < root->count; ++index) {
    const auto element = elementAt(index);
    if (!element) {
      problem = kDamaged;
      return std::nullopt;
    }
    const std::size_t size = sizeof(PropertyList::Array::value_type) + (isText(*element) ? element->body.size() : 0);
    if (size > room) {
      problem = kTooMuch;
      return std::nullopt;
    }
    room -= size;
  }

  PropertyList::Array array;
  array.reserve(root->count);
  for (std::size_t index = 0; index < root->count; ++index) {
    const auto element = elementAt(index);
    array.push_back(isText(*element) ? BinaryPropertyList::bytesOf(*element) : std::nullopt);
    if (array.back()) array.back() = xmlAllowed(*std::move(array.back()));
  }
  return array;
}

}  // namespace sqm::platform
