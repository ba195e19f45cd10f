// Run by hand: how long the queries of the collection server take in a small and in a large database.
//
//   measure_queries FILE|postgresql://…
//
// The database must be new. It gets 100,000 records a day, small ones, by SQL within the database; each query is timed
// after 1, 10 and 100 days. A time is the best of 50, or of those that end in 10 s. The exit status is 1 when a query
// takes more than three times as long after 100 days as after one.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/common/internal/TimeStamp.h"

#include "bench/StoragePosts.h"
#include "tools/collector/service/StoredReport.h"
#include "tools/collector/storage/Days.h"
#include "tools/collector/storage/Postgres.h"
#include "tools/collector/storage/Sqlite.h"
#include "tools/collector/storage/Storage.h"

namespace {

using namespace collector;
using Clock = std::chrono::steady_clock;
using Time = ConnectionFact::Time;

constexpr int kDays[] = {1, 10, 100};
constexpr int kRounds = 50;
constexpr double kMostGrowth = 3;
constexpr std::chrono::seconds kLongest{10};  // for one query, after which it is run no more
constexpr Time kFirstDay = std::chrono::sys_days(std::chrono::year(2026) / 1 / 1);

// The rows of a day behind its first post, which was stored as any post is. In them @day stands for the day, @request
// and @record for the numbers before them, @time for the day's first millisecond; {…|…} for what SQLite and PostgreSQL
// name differently.
constexpr const char* kRows[] = {
    R"(WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 4999)
INSERT INTO requests_@day (id, {|day, }time, method, path, query, contentType, bytes, answered, records, duplicates,
                           lastRecord, headers, body)
SELECT @request + i, {|'@day', }'2026-01-01T00:00:00.000Z', 'POST', '/connection', '', 'text/xml', 100, '200', 20, 0,
       @record + 20 * i, '[]', 'a small body, which stands for that of a post' FROM n)",
    R"(WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 99980)
INSERT INTO records_@day (id, {|day, }request, time, path, type, subType, event, "values", raw, key)
SELECT @record + i, {|'@day', }@request + 1 + (i - 1) / 20, '2026-01-01T00:00:00.000Z', '/connection', 'connection',
       'wifi', 'start', '[["ssid","office"],["signalStrength","-61"]]', '<connectionRecord>small</connectionRecord>',
       'a key of twenty-four byt' FROM n)",
    R"(WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 99980)
INSERT INTO keys SELECT {randomblob(24)|decode(md5((@record + i)::text), 'hex')} AS key FROM n ORDER BY 1)",
    R"(WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 99980)
INSERT INTO facts (id, time, age, medium, isStart, outcome, client, session, network, reason, technology, version,
                   connecting, signal, isRoaming{, sample|})
SELECT @record + i, @time + 864 * i, 60000, 1 + i % 4, i % 2, 1, 'client-' || (i % 5000), 'session-' || (i / 2),
       'network-' || (i % 50), '', 'wifi', '4.7', 900, -61, 0{, i % 5000 * 1999 % 4096|} FROM n)",
    R"(WITH RECURSIVE n (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 1439)
INSERT INTO minutes SELECT @time / 60000 + i, 3, 70, 0, 0 FROM n WHERE i <> 600)",
    R"(UPDATE last SET request = @request + 4999, record = @record + 99980)",
};

/// The database, for statements of this program.
class Database {
 public:
  explicit Database(const std::string& address) : isPostgres_(address.starts_with("postgresql://")) {
    isPostgres_ ? void(postgres_.emplace(address)) : void(sqlite_.emplace(address));
    if (sqlite_) run("PRAGMA synchronous = OFF; PRAGMA cache_size = -1000000");  // kibibytes
  }

  void fill(Storage& storage, int day) {
    const Time begin = kFirstDay + std::chrono::days(day);
    const auto first = bench::arrivalOf(day, sqm::isoTimeStamp(begin + std::chrono::hours(10)));
    Arrival* const group[] = {first.get()};
    storage.add(group);
    const LastNumbers last = storage.last();
    const std::string name = dayOf(first->request.time);
    for (const char* rows : kRows) {
      std::string statement = inThisLanguage(rows);
      const std::pair<std::string_view, std::string> values[] = {
          {"@day", name},
          {"@request", std::to_string(last.request)},
          {"@record", std::to_string(last.record)},
          {"@time", std::to_string(begin.time_since_epoch().count())}};
      for (const auto& [mark, value] : values) {
        for (std::size_t at = 0; (at = statement.find(mark, at)) != std::string::npos; at += value.size()) {
          statement.replace(at, mark.size(), value);
        }
      }
      run(statement);
    }
    // As the server's own process does after some time.
    if (isPostgres_) run("VACUUM (ANALYZE) requests_" + name + ", records_" + name + ", facts, minutes");
  }

 private:
  std::string inThisLanguage(std::string text) const {
    for (std::size_t begin = 0; (begin = text.find('{')) != std::string::npos;) {
      const std::size_t middle = text.find('|', begin);
      const std::size_t end = text.find('}', middle);
      const std::string chosen =
          isPostgres_ ? text.substr(middle + 1, end - middle - 1) : text.substr(begin + 1, middle - begin - 1);
      text.replace(begin, end + 1 - begin, chosen);
    }
    return text;
  }

  void run(const std::string& statement) { isPostgres_ ? postgres_->run(statement) : sqlite_->run(statement.c_str()); }

  const bool isPostgres_;
  std::optional<postgres::Connection> postgres_;
  std::optional<sqlite::Connection> sqlite_;
};

struct Query {
  const char* name;
  std::function<void()> run;
};

std::vector<Query> queriesOf(Storage& storage) {
  const LastNumbers last = storage.last();
  const Time end = kFirstDay + std::chrono::days((last.record + 1) / 100'000);
  const Time begin = end - std::chrono::days(1);
  return {
      {"_records, the last 256", [=, &storage] { storage.records(last.record - 256, 256); }},
      {"_records, 256 in the middle", [=, &storage] { storage.records(last.record / 2, 256); }},
      {"_records/ID", [=, &storage] { storage.record(last.record / 2); }},
      {"_requests, 256 in the middle", [=, &storage] { storage.requests(last.request / 2, 256); }},
      {"_requests/ID", [=, &storage] { storage.request(last.request / 2); }},
      {"_requests/ID/body", [=, &storage] { storage.body(last.request / 2); }},
      {"_events, from a request on", [=, &storage] { storage.lastRecordUpTo(last.request / 2); }},
      {"the last numbers", [&storage] { storage.last(); }},
      {"_service: 8192 facts of a day", [=, &storage] { storage.facts({.from = begin}, {.time = end}, 8192); }},
      {"_service: the newest fact", [&storage] { storage.facts({}, {.time = Time::max()}, 1); }},
      {"_service: the count of a day's facts", [=, &storage] { storage.countFacts(begin, end, 1, 500'000); }},
      {"_service of a day", [=, &storage] { storedReport(storage, {.from = begin, .to = end}); }},
      // After 100 days it reads half as many facts again, of a sample, and counts those of the next larger one.
      {"_service of all days", [=, &storage] { storedReport(storage, {.from = kFirstDay, .to = end}); }},
      {"_service of all days, of a network",
       [=, &storage] { storedReport(storage, {.from = kFirstDay, .to = end, .network = "network-7"}); }},
      {"_service: the arrivals of a day", [=, &storage] { storage.arrivals(begin, end); }},
  };
}

/// In milliseconds.
double timeOf(const Query& query) {
  double best = std::numeric_limits<double>::max();
  const auto until = Clock::now() + kLongest;
  for (int round = 0; round < kRounds && Clock::now() < until; ++round) {
    const auto begin = Clock::now();
    query.run();
    best = std::min(best, std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
  }
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "measure_queries FILE|postgresql://...\n"), 2;
  const auto storage = openStorage({.database = argv[1]});
  Database database(argv[1]);
  std::vector<std::vector<double>> times;
  for (int day = 0; const int days : kDays) {
    for (; day < days; ++day) database.fill(*storage, day);
    std::vector<double> column;
    for (const Query& query : queriesOf(*storage)) column.push_back(timeOf(query));
    times.push_back(column);
    std::fprintf(stderr, "%lld records\n", static_cast<long long>(storage->last().record));
  }
  std::printf("%-34s %10s %10s %10s %8s\n", "ms among so many records", "100,000", "1,000,000", "10,000,000", "growth");
  bool isWithin = true;
  const auto queries = queriesOf(*storage);
  for (std::size_t i = 0; i < queries.size(); ++i) {
    const double growth = times[2][i] / times[0][i];
    isWithin = isWithin && growth <= kMostGrowth;
    std::printf("%-34s %10.3f %10.3f %10.3f %8.2f\n", queries[i].name, times[0][i], times[1][i], times[2][i], growth);
  }
  return isWithin ? 0 : 1;
}
