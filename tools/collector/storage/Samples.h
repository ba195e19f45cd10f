#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "tools/collector/storage/FactRows.h"

namespace collector {

// A database can have more facts than a report can read. So it has samples, which hold all facts of some clients: what
// is true for each client, such as the length of a session, is true in a sample. Each contains the next smaller one.

/// The samples, the smallest first: the facts of one in so many clients. The last is all facts.
inline constexpr std::int64_t kSamples[] = {4096, 512, 64, 8, 1};

/// The number that a fact is stored with, from 0 to 4095: the first twelve bits of the SHA-256 digest of its client; of
/// its session when the client is unknown, and of its id when both are.
std::int64_t sampleOf(std::string_view client, std::string_view session, std::int64_t id);

/// The same in PostgreSQL's language.
inline constexpr const char* kSampleOf =
    R"(('x' || left(encode(sha256(decode(replace(coalesce(nullif(client, ''), nullif(session, ''), id::text), '\', '\\'),
      'escape')), 'hex'), 3))::bit(12)::bigint)";

/// The statements that create the indexes of the samples. They have all columns of their facts, so that a report reads
/// neighbouring pages and not one for each fact.
std::string createSampleIndexes();

// The queries of Storage::facts, whose parameters are those of FactParameters in their order, and of
// Storage::countFacts, whose parameters are the two times.
std::string factsQuery(const FactFilter& filter, std::int64_t limit);
std::string countQuery(std::int64_t oneIn, std::int64_t most);

struct FactParameters {
  FactParameters(const FactFilter& filter, const FactPosition& before);

  std::int64_t from;
  std::int64_t beforeTime;
  std::int64_t beforeId;
  std::string version;  ///< empty: any
  std::string network;  ///< empty: any
  std::int64_t medium;  ///< negative: any
};

struct ChosenSample {
  std::int64_t oneIn = 1;
  std::int64_t facts = 0;
  bool isWithin = false;  ///< else even the smallest sample has more facts
};

/// The largest sample with at most `most` facts, or else the smallest. `count` counts the facts of a sample, and may
/// stop when there are more. A sample that has likely more than twice as many is not counted, which would take long.
ChosenSample chooseSample(std::int64_t most, const std::function<std::int64_t(std::int64_t oneIn)>& count);

}  // namespace collector
