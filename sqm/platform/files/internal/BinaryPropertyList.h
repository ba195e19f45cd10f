#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/PropertyList.h"

namespace sqm::platform {

/// The objects of a binary property list ("bplist00"), looked up one at a time where they lie.
///
/// Such a file is a table of objects that refer to each other by number: a few hundred bytes of it can nest without end
/// or unfold to any size. So nothing here recurses or copies on a file's word. Lists of strings are read here and not
/// by libplist, which ends a text at a NUL, leaves out a surrogate without its partner, and overflows the stack on deep
/// nesting.
///
/// The format: CFBinaryPList.c of Apple's open CoreFoundation describes it. Numbers are big-endian.
class BinaryPropertyList {
 public:
  enum class Kind { array, set, dictionary, bytesText, utf16Text, data, other };

  /// `count` is that of the elements, of the code units of a text, or of the bytes of data.
  struct Object {
    Kind kind = Kind::other;
    std::size_t count = 0;
    std::string_view body;
  };

  /// What a text or data holds; nothing for every other object. UTF-16 comes as UTF-8.
  static std::optional<std::string> bytesOf(const Object& object);

  static bool recognises(std::string_view bytes);

  /// Nothing when the file is cut short or does not fit together. `bytes` must outlive the list.
  static std::optional<BinaryPropertyList> open(std::string_view bytes);

  std::uint64_t root() const { return root_; }

  /// Nothing when there is no such object, or when it does not lie within the file.
  std::optional<Object> object(std::uint64_t number) const;

  /// The number of an object that `container` refers to: an array's or a set's elements; a dictionary's keys, then its
  /// values.
  std::uint64_t reference(const Object& container, std::size_t index) const;

  /// True when the tree below the root is at most `depth` deep and unfolds to at most `objects` objects. A long one
  /// counts once more for every 64 bytes.
  bool isWithin(std::size_t depth, std::size_t objects) const;

 private:
  bool isWithin(std::uint64_t number, std::size_t depth, std::size_t& objects) const;

  std::string_view objects_;
  std::string_view offsets_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t root_ = 0;
};

/// The array of strings that the list holds; nothing, and why in `problem`, when it holds none.
std::optional<PropertyList::Array> readBinaryArray(std::string_view bytes, std::string_view& problem);

}  // namespace sqm::platform
