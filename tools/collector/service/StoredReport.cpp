#include "tools/collector/service/StoredReport.h"

#include <algorithm>

#include "sqm/common/internal/TimeStamp.h"

#include "tools/collector/service/ServiceReport.h"
#include "tools/collector/storage/Samples.h"

namespace collector {

namespace {

constexpr std::int64_t kAtATime = 8192;

/// Gives the report the newest facts before a time.
void read(Storage& storage, const FactFilter& filter, FactPosition before, std::int64_t most, ServiceReport& report) {
  while (most > 0) {
    const auto rows = storage.facts(filter, before, std::min(kAtATime, most));
    if (rows.empty()) return;
    for (const FactRow& row : rows) report.take(row.fact);
    before = {rows.back().fact.time, rows.back().id};
    most -= static_cast<std::int64_t>(rows.size());
  }
}

Json newestJson(Storage& storage) {
  const auto newest = storage.facts({}, {ConnectionFact::Time::max()}, 1);
  return newest.empty() ? Json(nullptr) : Json(sqm::isoTimeStamp(newest.front().fact.time));
}

}  // namespace

Json storedReport(Storage& storage, const ServiceQuery& query, std::int64_t mostFacts) {
  FactFilter filter = {.from = query.from, .medium = query.medium, .network = query.network, .version = query.version};
  const ChosenSample sample = chooseSample(
      mostFacts, [&](std::int64_t oneIn) { return storage.countFacts(query.from, query.to, oneIn, mostFacts + 1); });
  filter.oneIn = sample.oneIn;
  ServiceReport report(query);
  read(storage, filter, {query.to}, mostFacts, report);
  const ArrivalCounts counts = storage.arrivals(query.from, query.to);
  Json json = report.finish();
  json["oneIn"] = sample.oneIn;
  json["facts"] = sample.facts;
  json["isCut"] = !sample.isWithin;
  json["stored"] = {{"records", storage.last().record}, {"newest", newestJson(storage)}};
  json["pipeline"] = {{"posts", counts.posts},
                      {"records", counts.records},
                      {"duplicates", counts.duplicates},
                      {"problems", counts.problems}};
  return json;
}

}  // namespace collector
