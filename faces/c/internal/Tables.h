#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "faces/c/internal/Errors.h"

namespace sqm::c {

/// For tables whose rows have a `number` of a C enumeration: row N is number N.
template <typename Table>
constexpr bool isInOrder(const Table& table) {
  for (std::size_t at = 0; at < std::size(table); ++at) {
    if (table[at].number != static_cast<std::int32_t>(at)) return false;
  }
  return true;
}

/// The row of a number. Throws `Failure`, saying `unknown`, when there is none.
template <typename Table>
const auto& rowOf(const Table& table, std::int32_t number, const char* unknown) {
  require(number >= 0 && static_cast<std::size_t>(number) < std::size(table), unknown);
  return table[number];
}

}  // namespace sqm::c
