#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>

namespace sqm {

/// The kinds of record that the store keeps in lists of their own, by their number.
enum class RecordType : std::int64_t { client = 0, connection = 1, device = 2, application = 3, userAcceptance = 4 };

/// False for a number that is not one of the enumerators.
constexpr bool isRecordType(RecordType type) {
  switch (type) {  // without a default, so that the compiler reports an enumerator that is missing here
    case RecordType::client:
    case RecordType::connection:
    case RecordType::device:
    case RecordType::application:
    case RecordType::userAcceptance:
      return true;
  }
  return false;
}

/// Every type, in the order of the numbers.
inline constexpr auto kRecordTypes = [] {
  constexpr std::size_t kCount = [] {
    std::size_t count = 0;
    for (int number = 0; number < 256; ++number) {
      if (isRecordType(static_cast<RecordType>(number))) ++count;
    }
    return count;
  }();
  std::array<RecordType, kCount> types{};
  for (std::size_t at = 0; at < kCount; ++at) types[at] = static_cast<RecordType>(at);
  return types;
}();
static_assert(std::all_of(kRecordTypes.begin(), kRecordTypes.end(), isRecordType),
              "the numbers count from 0 without a gap");

/// One value for each type; `indexOf` gives the position of a type's.
template <typename T>
using ByType = std::array<T, kRecordTypes.size()>;

constexpr std::size_t indexOf(RecordType type) { return static_cast<std::size_t>(type); }

/// True when a table has exactly one row for each type, in any order. `typeOf` gives a row's type: `&Row::type`.
template <typename Table, typename Projection = std::identity>
constexpr bool isPermutationOfTypes(const Table& table, Projection typeOf = {}) {
  const auto hasRow = [&](RecordType type) {
    const auto isOfType = [&](const auto& row) { return std::invoke(typeOf, row) == type; };
    return std::any_of(std::begin(table), std::end(table), isOfType);
  };
  return std::size(table) == kRecordTypes.size() && std::all_of(kRecordTypes.begin(), kRecordTypes.end(), hasRow);
}

/// The first row of a table in which a member has this value; the table's end when there is none.
template <typename Table, typename Row, typename Value>
constexpr auto findRow(const Table& table, Value Row::*member, Value value) {
  return std::find_if(std::begin(table), std::end(table), [&](const Row& row) { return row.*member == value; });
}

}  // namespace sqm
