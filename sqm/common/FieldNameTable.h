#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/TextArray.h"

namespace sqm {

/// The names of the record fields 0 to 90. Entry N is the key of field N's value and the name of its XML element.
/// Fields with the same name share one key. Immutable.
class FieldNameTable {
 public:
  static constexpr std::size_t kFields = 91;

  struct Tags {
    /// `element`: the address of "<name></name>", with `length` bytes in the name.
    constexpr Tags(const char* element, std::size_t length)
        : opening(element, length + 2), closing(element + length + 2, length + 3) {}

    std::string_view opening;
    std::string_view closing;
  };

  /// Entries beyond the 91st are ignored. A field whose name is absent has no key.
  explicit FieldNameTable(const TextArray& names);

  /// The name of a field; nothing when the entry is absent.
  /// Failure: std::out_of_range when the number is negative or beyond the end of the list.
  std::optional<std::string_view> name(std::int64_t field) const {
    const Entry& entry = entryOf(field);
    if (!entry.isPresent()) return std::nullopt;
    return std::string_view(text_.data() + entry.begin + 1, entry.length);
  }

  /// True when the field has a name.
  /// Failure: as `name`.
  bool hasName(std::int64_t field) const { return entryOf(field).isPresent(); }

  /// The tags of a field's element, "<name>" and "</name>". The element of an absent entry has the name "(null)".
  /// Behind each tag there are `TextSlots::kPadding` more bytes that may be read. Failure: as `name`.
  Tags tags(std::int64_t field) const {
    const Entry& entry = entryOf(field);
    return {text_.data() + entry.begin, entry.length};
  }

  /// The first field of this name, under whose number the value of all fields of the name is stored.
  std::optional<std::size_t> fieldNamed(std::string_view name) const {
    const std::size_t field = find(name);
    return field == kFields ? std::nullopt : std::optional(field);
  }

  /// The first field that has the same name as `field`; `kFields` when it has none.
  std::size_t firstNamesake(std::size_t field) const { return entries_[field].firstNamesake; }

 private:
  static constexpr std::size_t kBuckets = 256;  // a power of two and more than twice kFields, so that probing is short

  struct Entry {
    bool isPresent() const { return firstNamesake != kFields; }

    std::size_t begin = 0;   // of "<name></name>" in the text
    std::size_t length = 0;  // of the name
    std::uint8_t firstNamesake = kFields;
  };

  const Entry& entryOf(std::int64_t field) const {
    if (static_cast<std::uint64_t>(field) >= count_) throwOutOfRange(field);
    return entries_[static_cast<std::size_t>(field)];
  }
  [[noreturn]] void throwOutOfRange(std::int64_t field) const;
  /// `kFields` when no field has the name: a number returns in a register, which an optional one does not.
  std::size_t find(std::string_view name) const;
  std::size_t bucketFor(std::string_view name) const;

  std::size_t count_;
  std::string text_;
  std::array<Entry, kFields> entries_{};
  std::array<std::uint8_t, kBuckets> buckets_{};
  std::uint64_t lengths_ = 0;  // a bit for each length of a name: most other keys differ from all names by their length
};

}  // namespace sqm
