#pragma once

#include <map>
#include <span>
#include <string>

#include "tools/collector/storage/Arrival.h"
#include "tools/collector/storage/Postgres.h"

namespace collector::postgres {

// What is stored about clients beside their records: facts, versions, and sums of the arrivals of each minute.

/// The clients' versions, by client.
using Versions = std::map<std::string, std::string>;

/// Finds the stored versions of the clients of facts that have none.
Statement versionsOf(std::span<Arrival* const> arrivals);

/// The rows of the facts. A fact without a version gets the one that its client reported last: in one of these
/// arrivals, which is added to `reported`, or else in `known`.
CopiedRows factRows(std::span<Arrival* const> arrivals, const Versions& known, Versions& reported);

/// Stores the versions that clients reported on a day.
Statement setVersions(const Versions& versions, const std::string& day);

/// Notes the day on which the clients of new facts were seen.
Statement setDays(std::span<Arrival* const> arrivals, const std::string& day);

/// Adds the arrivals to the sums of their minutes.
Statement countArrivals(std::span<Arrival* const> arrivals);

}  // namespace collector::postgres
