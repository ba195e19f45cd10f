#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace sqm::platform {

class PropertyListWriter;

/// A value of a property list: all that its XML and its binary form can hold.
struct PropertyListValue {
  struct Data {
    std::string bytes;
    friend bool operator==(const Data&, const Data&) = default;
  };
  struct Integer {
    std::uint64_t magnitude = 0;
    bool isNegative = false;
    friend bool operator==(const Integer&, const Integer&) = default;
  };
  /// A time in the years 1 to 9999.
  struct Date {
    double seconds = 0;  ///< since 2001-01-01 00:00:00 UTC

    /// "2026-11-22T10:00:00Z", without fractions of a second.
    std::string text() const;
    /// Nothing when the time is outside the years, or the text has another form.
    static std::optional<Date> from(double seconds);
    static std::optional<Date> from(std::string_view text);

    friend bool operator==(const Date&, const Date&) = default;
  };
  using Array = std::vector<PropertyListValue>;
  /// The entries in file order. A damaged file may hold a key several times.
  using Dictionary = std::vector<std::pair<std::string, PropertyListValue>>;

  /// A text as the file holds it: not necessarily well-formed.
  std::variant<std::string, Data, Integer, double, bool, Date, Array, Dictionary> content;

  /// The first value under `key`; null when there is none, or when this is no dictionary.
  const PropertyListValue* find(std::string_view key) const;

  /// How many values and keys there are, this one included.
  std::size_t objects() const;

  void writeTo(PropertyListWriter& writer) const;

  friend bool operator==(const PropertyListValue&, const PropertyListValue&) = default;
};

/// The deepest nesting that is read. Deeper lists are refused.
inline constexpr std::size_t kDeepestPropertyList = 32;

}  // namespace sqm::platform
