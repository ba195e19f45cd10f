// The tables that a program makes. A later version of the library may add members at their end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "faces/c/internal/Errors.h"
#include "faces/c/sqm-c/services.h"
#include "faces/c/sqm-c/targets.h"

namespace sqm::c {

/// The size that a table had when it was released: a program's is at least as large. Not to change.
template <typename Table>
inline constexpr std::size_t kFirstSize = 0;

template <>
inline constexpr std::size_t kFirstSize<sqm_http_service> = offsetof(sqm_http_service, abort) + sizeof(void (*)());
template <>
inline constexpr std::size_t kFirstSize<sqm_http_response> = offsetof(sqm_http_response, header_count) +
                                                             sizeof(std::size_t);
template <>
inline constexpr std::size_t kFirstSize<sqm_filter_service> = offsetof(sqm_filter_service, apply) + sizeof(void (*)());
template <>
inline constexpr std::size_t kFirstSize<sqm_log_service> = offsetof(sqm_log_service, write) + sizeof(void (*)());
template <>
inline constexpr std::size_t kFirstSize<sqm_clock_service> = offsetof(sqm_clock_service, now) + sizeof(void (*)());
template <>
inline constexpr std::size_t kFirstSize<sqm_target_table> = offsetof(sqm_target_table, waiting) + sizeof(void (*)());

/// The members that this version knows of the table of a program, which may have been compiled with an earlier or a
/// later one. Those that the program does not know are 0.
template <typename Table>
Table known(const Table* given) {
  static_assert(kFirstSize<Table> > 0, "the table has no size of its first version");
  require(given != nullptr, "the table is NULL");
  require(given->size >= kFirstSize<Table>, "the table's `size` is not its size");
  Table table{};
  std::memcpy(&table, given, std::min(given->size, sizeof table));
  return table;
}

}  // namespace sqm::c
