#include "tools/collector/service/StoredReport.h"

#include <algorithm>

#include "sqm/common/internal/TimeStamp.h"

#include "tools/collector/service/ServiceReport.h"

namespace collector {

namespace {

constexpr std::int64_t kAtATime = 8192;

/// Gives the report the newest facts of its window. Returns true when there are more than `most`.
bool read(Storage& storage, const ServiceQuery& query, std::int64_t most, ServiceReport& report) {
  FactPosition before{query.to};
  for (std::int64_t count = 0; count < most;) {
    const auto rows = storage.facts(query.from, before, std::min(kAtATime, most - count));
    if (rows.empty()) return false;
    for (const FactRow& row : rows) report.take(row.fact);
    before = {rows.back().fact.time, rows.back().id};
    count += static_cast<std::int64_t>(rows.size());
  }
  return !storage.facts(query.from, before, 1).empty();
}

Json newestJson(Storage& storage) {
  const auto newest = storage.facts(ConnectionFact::Time::min(), {ConnectionFact::Time::max()}, 1);
  return newest.empty() ? Json(nullptr) : Json(sqm::isoTimeStamp(newest.front().fact.time));
}

}  // namespace

Json storedReport(Storage& storage, const ServiceQuery& query, std::int64_t mostFacts) {
  ServiceReport report(query);
  const bool isCut = read(storage, query, mostFacts, report);
  const ArrivalCounts counts = storage.arrivals(query.from, query.to);
  Json json = report.finish();
  json["isCut"] = isCut;
  json["stored"] = {{"records", storage.last().record}, {"newest", newestJson(storage)}};
  json["pipeline"] = {{"posts", counts.posts},
                      {"records", counts.records},
                      {"duplicates", counts.duplicates},
                      {"problems", counts.problems}};
  return json;
}

}  // namespace collector
