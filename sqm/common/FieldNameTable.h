#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "sqm/common/TextArray.h"

namespace sqm {

/// The names of the record fields 0 to 90. Entry N is the key of field N's value and the name of its XML element.
/// Fields with the same name share one key. Immutable.
class FieldNameTable {
 public:
  static constexpr std::size_t kFields = 91;

  /// Entries beyond the 91st are ignored. A field whose name is absent has no key.
  explicit FieldNameTable(TextArray names);

  /// The name of a field; nothing when the entry is absent.
  /// Failure: std::out_of_range when the number is negative or beyond the end of the list.
  std::optional<std::string_view> name(std::int64_t field) const {
    if (static_cast<std::uint64_t>(field) >= count_) throwOutOfRange(field);
    return names_[static_cast<std::size_t>(field)];
  }

  /// The first field of this name, under whose number the value of all fields of the name is stored.
  std::optional<std::size_t> fieldNamed(std::string_view name) const;

  /// The first field that has the same name as `field`, which must have one.
  std::size_t firstNamesake(std::size_t field) const { return firstNamesakes_[field]; }

 private:
  static constexpr std::size_t kBuckets = 256;  // a power of two and more than twice kFields, so that probing is short

  [[noreturn]] void throwOutOfRange(std::int64_t field) const;
  std::size_t bucketFor(std::string_view name) const;

  std::size_t count_;
  TextArray names_;
  std::array<std::uint8_t, kFields> firstNamesakes_{};
  std::array<std::uint8_t, kBuckets> buckets_{};
};

}  // namespace sqm
