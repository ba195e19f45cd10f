#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

// Numbers are given in the order of commits, and rows are in the tables of the day that their request belongs to. Days
// can alternate: about midnight, and when another database is copied. So the table `spans` has a row for each run of
// numbers that belong to one day, with the first of them, and a reader finds the tables of a number without a search in
// those of all days.

namespace collector {

/// A run of numbers.
struct Span {
  std::string day;       ///< empty: of any day, because an earlier version gave the numbers
  std::int64_t end = 0;  ///< the first number after it; the greatest one when there is none
};

inline constexpr std::int64_t kGreatest = std::numeric_limits<std::int64_t>::max();

// The span of a number: its day, and its end or NULL.
inline constexpr const char* kSpanOfRequest =
    "SELECT coalesce((SELECT day FROM spans WHERE firstRequest <= $1 ORDER BY firstRequest DESC LIMIT 1), ''), "
    "(SELECT min(firstRequest) FROM spans WHERE firstRequest > $1)";
inline constexpr const char* kSpanOfRecord =
    "SELECT coalesce((SELECT day FROM spans WHERE firstRecord <= $1 "
    "ORDER BY firstRecord DESC, firstRequest DESC LIMIT 1), ''), "
    "(SELECT min(firstRecord) FROM spans WHERE firstRecord > $1)";
inline constexpr const char* kLastDay = "SELECT day FROM spans ORDER BY firstRequest DESC LIMIT 1";

template <typename Row>
Span spanIn(const Row& row) {
  return {.day = row.text(0), .end = row.numberIfAny(1).value_or(kGreatest)};
}

/// The next rows after `since`, from the first span that has any. `spanOf` returns the span of a number, `rowsOf` the
/// rows of a span after a number.
template <typename SpanOf, typename RowsOf>
auto nextRows(std::int64_t since, const SpanOf& spanOf, const RowsOf& rowsOf) {
  for (;;) {
    const Span span = spanOf(std::min(since, kGreatest - 1) + 1);
    auto rows = rowsOf(span, since);
    if (!rows.empty() || span.end == kGreatest) return rows;
    since = span.end - 1;
  }
}

}  // namespace collector
