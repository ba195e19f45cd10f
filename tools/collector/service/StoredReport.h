#pragma once

#include <cstdint>

#include "tools/collector/service/MeasuresJson.h"
#include "tools/collector/service/ServiceQuery.h"
#include "tools/collector/storage/Storage.h"

namespace collector {

/// The most facts that a report is made of, or among which it selects some. It limits the time and the memory that a
/// report takes, whatever the database contains: some 250 bytes for each fact.
inline constexpr std::int64_t kMostFacts = 500'000;

/// The report on what is stored, and beside its figures:
///
/// - "oneIn": the figures are those of one in so many clients, because the window has more than `mostFacts` facts; 1:
///   of all clients;
/// - "facts": the number of the facts of these clients in the window;
/// - "isCut": true when even the smallest sample has more than `mostFacts`; the older ones are then left out;
/// - "stored": the number of the "records" that ever arrived, and the time of the "newest" fact, or null;
/// - "pipeline": the sums of the posts of all clients that arrived in the window.
///
/// Between two pieces, other users of the storage have their turn. Failure: as the storage.
Json storedReport(Storage& storage, const ServiceQuery& query, std::int64_t mostFacts = kMostFacts);

}  // namespace collector
