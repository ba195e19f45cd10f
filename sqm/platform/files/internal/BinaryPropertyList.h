#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/PropertyList.h"
#include "sqm/platform/files/internal/PropertyListValue.h"

namespace sqm::platform {

/// The objects of a binary property list ("bplist00"), looked up one at a time in the bytes of the file.
///
/// Such a file is a table of objects that refer to each other by number, so a few hundred bytes can nest without end or
/// unfold to any size. Nothing here recurses or allocates on the word of the file: readers bound both.
///
/// The format: CFBinaryPList.c of Apple's open CoreFoundation describes it. Numbers are big-endian.
class BinaryPropertyList {
 public:
  enum class Kind : std::uint8_t { array, dictionary, bytesText, utf16Text, data, other };

  struct Object {
    Kind kind = Kind::other;
    unsigned char marker = 0;
    std::size_t count = 0;  ///< elements, code units of a text, or bytes of data
    std::string_view body;  ///< of another kind, all bytes up to the end of the table
  };

  /// The bytes of a text, as UTF-8, or of data; nothing for every other object. A surrogate without its partner becomes
  /// U+FFFD.
  static std::optional<std::string> bytesOf(const Object& object);

  static bool recognises(std::string_view bytes);

  /// Nothing when the file is truncated or inconsistent. `bytes` must outlive the list.
  static std::optional<BinaryPropertyList> open(std::string_view bytes);

  std::uint64_t root() const { return root_; }

  /// Nothing when there is no such object, or when it extends beyond the table.
  std::optional<Object> object(std::uint64_t number) const;

  /// The number of an object that `container` refers to: the elements of an array; the keys of a dictionary, then its
  /// values.
  std::uint64_t reference(const Object& container, std::size_t index) const;

 private:
  std::string_view objects_;
  std::string_view offsets_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t root_ = 0;
};

// Readers of whole lists. Without a result, `problem` says why.

/// The array of strings that is the root, with nothing in the place of other elements. Every text is well-formed.
std::optional<PropertyList::Array> readBinaryArray(std::string_view bytes, std::string_view& problem);

/// The whole list, which may take about `room` bytes of memory. A text that the file holds as bytes is returned
/// unchanged, even if it is ill-formed.
std::optional<PropertyListValue> readBinaryValue(std::string_view bytes, std::size_t room, std::string_view& problem);

}  // namespace sqm::platform
