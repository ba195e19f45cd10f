#include "tools/collector/storage/Migration.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <utility>
#include <vector>

#include "tools/collector/storage/Days.h"

namespace collector {

namespace {

// A transaction ends after so many requests, after so many bytes, and at the end of a day.
constexpr std::int64_t kMostRequests = 256;
constexpr std::int64_t kMostBytes = std::int64_t{8} << 20;

using Arrivals = std::vector<std::unique_ptr<Arrival>>;

/// The next requests of one day after `since`, which becomes the number of the last of them.
Arrivals nextArrivals(Storage& from, std::int64_t& since, const FieldMapping& fields) {
  Arrivals arrivals;
  std::int64_t bytes = 0;
  for (RequestRow& row : from.requests(since, kMostRequests)) {
    bytes += row.bytes;
    if (!arrivals.empty() && (bytes > kMostBytes || dayOf(row.time) != dayOf(arrivals.front()->request.time))) {
      break;
    }
    since = row.id;
    std::string headers = from.headers(row.id);
    std::string body = from.body(row.id);
    arrivals.push_back(std::make_unique<Arrival>(std::move(row), std::move(headers), std::move(body), fields));
  }
  return arrivals;
}

}  // namespace

void migrate(const std::string& from, const StorageOptions& to, const FieldMapping& fields) {
  if (!std::filesystem::is_regular_file(from)) throw CannotOpen("'" + from + "' is no file");
  const auto source = openStorage({.database = from}, fields);
  const auto target = openStorage(to, fields);
  Progress progress{.source = std::filesystem::canonical(from)};
  progress.request = target->progressOf(progress.source);
  for (;;) {
    const Arrivals arrivals = nextArrivals(*source, progress.request, fields);
    if (arrivals.empty()) return;
    std::vector<Arrival*> group;
    for (const auto& arrival : arrivals) group.push_back(arrival.get());
    target->add(group, progress);
    std::printf("%lld of %lld requests\n", static_cast<long long>(progress.request),
                static_cast<long long>(source->last().request));
    std::fflush(stdout);
  }
}

}  // namespace collector
