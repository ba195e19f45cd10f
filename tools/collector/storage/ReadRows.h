#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "tools/collector/storage/FactRows.h"
#include "tools/collector/storage/Rows.h"

// What both databases select, and how its columns are read. A `Row` gives a column by its number: `number`, `text`,
// `numberIfAny` and `textIfAny`.

namespace collector {

/// The total length of records after which a call reads no more.
inline constexpr std::size_t kBytesAtATime = std::size_t{4} * 1024 * 1024;

inline constexpr const char* kRequestColumns =
    "SELECT id, time, method, path, query, contentType, bytes, answered, records, duplicates, problem FROM requests";
inline constexpr const char* kRecordColumns =
    R"(SELECT id, request, time, path, type, subType, event, "values", raw, problem FROM records)";
inline constexpr const char* kFactColumns =
    "SELECT id, time, age, medium, isStart, outcome, client, session, network, reason, technology, version, "
    "connecting, signal, isRoaming";

template <typename Row>
RequestRow requestIn(const Row& row) {
  return {.id = row.number(0),
          .time = row.text(1),
          .method = row.text(2),
          .path = row.text(3),
          .query = row.text(4),
          .contentType = row.text(5),
          .bytes = row.number(6),
          .answered = row.text(7),
          .records = row.number(8),
          .duplicates = row.number(9),
          .problem = row.textIfAny(10)};
}

template <typename Row>
RecordRow recordIn(const Row& row) {
  return {.id = row.number(0),
          .request = row.number(1),
          .time = row.text(2),
          .path = row.text(3),
          .type = row.text(4),
          .subType = row.textIfAny(5),
          .event = row.textIfAny(6),
          .values = row.text(7),
          .raw = row.text(8),
          .problem = row.textIfAny(9)};
}

template <typename Row>
FactRow factIn(const Row& row) {
  using Fact = ConnectionFact;
  using std::chrono::milliseconds;
  const auto age = row.numberIfAny(2);
  const auto connecting = row.numberIfAny(12);
  const auto signal = row.numberIfAny(13);
  const auto isRoaming = row.numberIfAny(14);
  return {.id = row.number(0),
          .fact = {.time = Fact::Time(milliseconds(row.number(1))),
                   .age = age ? std::optional(milliseconds(*age)) : std::nullopt,
                   .medium = static_cast<Fact::Medium>(row.number(3)),
                   .isStart = row.number(4) != 0,
                   .outcome = static_cast<Fact::Outcome>(row.number(5)),
                   .client = row.text(6),
                   .session = row.text(7),
                   .network = row.text(8),
                   .reason = row.text(9),
                   .technology = row.text(10),
                   .version = row.text(11),
                   .connecting = connecting ? std::optional(milliseconds(*connecting)) : std::nullopt,
                   .signal = signal ? std::optional(static_cast<std::int32_t>(*signal)) : std::nullopt,
                   .isRoaming = isRoaming ? std::optional(*isRoaming != 0) : std::nullopt}};
}

}  // namespace collector
