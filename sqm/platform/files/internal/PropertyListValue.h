#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace sqm::platform {

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
  struct Date {
    double seconds = 0;  ///< since kReferenceDate
    friend bool operator==(const Date&, const Date&) = default;
  };
  using Array = std::vector<PropertyListValue>;
  /// The entries in file order. A damaged binary file may hold a key several times.
  struct Entry;
  using Dictionary = std::vector<Entry>;
  /// A text as the file holds it: not necessarily well-formed.
  using Content = std::variant<std::string, Data, Integer, double, bool, Date, Array, Dictionary>;

  Content content;

  friend bool operator==(const PropertyListValue&, const PropertyListValue&) = default;
};

struct PropertyListValue::Entry {
  std::string key;
  PropertyListValue value;
  friend bool operator==(const Entry&, const Entry&) = default;
};

inline constexpr std::chrono::sys_seconds kReferenceDate = std::chrono::sys_days(std::chrono::year(2001) / 1 / 1);

/// The deepest nesting that is read. Deeper lists are refused.
inline constexpr std::size_t kDeepestPropertyList = 512;

}  // namespace sqm::platform
