// Requests and records in a PostgreSQL database, which several servers may share.

#include "tools/collector/storage/PostgresStorage.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include "tools/collector/storage/Days.h"
#include "tools/collector/storage/Postgres.h"
#include "tools/collector/storage/PostgresFacts.h"
#include "tools/collector/storage/PostgresTables.h"
#include "tools/collector/storage/ReadRows.h"
#include "tools/collector/storage/Samples.h"
#include "tools/collector/storage/Spans.h"

namespace collector {

namespace {

using postgres::Column;
using postgres::Rows;
using postgres::Statement;
using postgres::Type;
using Fact = ConnectionFact;
using std::chrono::milliseconds;

// Who holds the numbers and does not go on loses its connection, so that the other servers can.
constexpr const char* kSession = "SET idle_in_transaction_session_timeout = '10s'; SET synchronous_commit = ";

// The planner knows the parameters, and opens only the partition of the day.
constexpr const char* kOfDay = " WHERE ($1 = '' OR day = $1)";
constexpr const char* kInSpan = " AND id > $2 AND id < $3";

/// One of the rows, for the functions that read it.
struct RowAt {
  const Rows& rows;
  int row;

  std::int64_t number(int column) const { return rows.number(row, column); }
  std::string text(int column) const { return rows.text(row, column); }
  std::optional<std::int64_t> numberIfAny(int column) const { return rows.numberIfAny(row, column); }
  std::optional<std::string> textIfAny(int column) const { return rows.textIfAny(row, column); }
};

template <typename Row>
std::vector<Row> allOf(const Rows& rows, Row (*read)(const RowAt&)) {
  std::vector<Row> found;
  found.reserve(static_cast<std::size_t>(rows.size()));
  for (int row = 0; row < rows.size(); ++row) found.push_back(read({rows, row}));
  return found;
}

template <typename Row>
std::optional<Row> firstOf(const Rows& rows, Row (*read)(const RowAt&)) {
  return rows.size() == 0 ? std::nullopt : std::optional(read({rows, 0}));
}

Statement bound(std::string query, const FactParameters& parameters) {
  return Statement(std::move(query))
      .bind(parameters.from)
      .bind(parameters.beforeTime)
      .bind(parameters.beforeId)
      .bind(parameters.version)
      .bind(parameters.network)
      .bind(parameters.medium);
}

/// A connection that is made when it is needed, and anew after a failure. One thread uses it at a time.
class Link {
 public:
  explicit Link(StorageOptions options) : options_(std::move(options)) {}

  template <typename Use>
  auto use(const Use& action) {
    const std::lock_guard lock(mutex_);
    try {
      if (!connection_) {
        connection_.emplace(options_.database);
        connection_->run(std::string(kSession) + (options_.syncs ? "on" : "off"));
      }
      return action(*connection_);
    } catch (const postgres::Error&) {
      connection_.reset();
      throw;
    }
  }

 private:
  const StorageOptions options_;
  std::mutex mutex_;
  std::optional<postgres::Connection> connection_;
};

class PostgresStorage : public Storage {
 public:
  explicit PostgresStorage(const StorageOptions& options)
      : options_(options), writing_(options), reading_(options), reporting_(options) {
    writing_.use([](postgres::Connection& connection) { postgres::createTables(connection); });
  }

  using Storage::add;
  void add(std::span<Arrival* const> arrivals, const std::optional<Progress>& progress) override {
    writing_.use([&](postgres::Connection& connection) { add(connection, arrivals, progress); });
  }

  std::vector<RequestRow> requests(std::int64_t since, std::int64_t limit) override {
    return nextRows(since, spanBy(kSpanOfRequest), [&](const Span& span, std::int64_t after) {
      return allOf(read(Statement(kRequestColumns + std::string(kOfDay) + kInSpan + " ORDER BY id LIMIT $4")
                            .bind(span.day)
                            .bind(after)
                            .bind(span.end)
                            .bind(limit)),
                   requestIn<RowAt>);
    });
  }

  std::vector<RecordRow> records(std::int64_t since, std::int64_t limit) override {
    return nextRows(since, spanBy(kSpanOfRecord), [&](const Span& span, std::int64_t after) {
      // The sizes come first, so that no more records are read than are returned.
      const Rows sizes = read(Statement("SELECT id, length(raw)::bigint FROM records" + std::string(kOfDay) + kInSpan +
                                        " ORDER BY id LIMIT $4")
                                  .bind(span.day)
                                  .bind(after)
                                  .bind(span.end)
                                  .bind(limit));
      if (sizes.size() == 0) return std::vector<RecordRow>();
      std::int64_t upTo = after;
      std::size_t bytes = 0;
      for (int row = 0; row < sizes.size() && bytes < kBytesAtATime; ++row) {
        upTo = sizes.number(row, 0);
        bytes += static_cast<std::size_t>(sizes.number(row, 1));
      }
      return allOf(read(Statement(kRecordColumns + std::string(kOfDay) + kInSpan + " ORDER BY id")
                            .bind(span.day)
                            .bind(after)
                            .bind(upTo + 1)),
                   recordIn<RowAt>);
    });
  }

  std::optional<RequestRow> request(std::int64_t id) override {
    return firstOf(rowOf(kSpanOfRequest, kRequestColumns, id), requestIn<RowAt>);
  }

  std::optional<RecordRow> record(std::int64_t id) override {
    return firstOf(rowOf(kSpanOfRecord, kRecordColumns, id), recordIn<RowAt>);
  }

  std::string headers(std::int64_t request) override {
    return textOf(rowOf(kSpanOfRequest, "SELECT headers FROM requests", request));
  }

  std::string body(std::int64_t request) override {
    return textOf(rowOf(kSpanOfRequest, "SELECT body FROM requests", request));
  }

  std::int64_t lastRecordUpTo(std::int64_t request) override {
    const Rows rows = read(
        Statement("SELECT lastRecord FROM requests" + std::string(kOfDay) + " AND id <= $2 ORDER BY id DESC LIMIT 1")
            .bind(spanBy(kSpanOfRequest)(request).day)
            .bind(request));
    return rows.size() == 0 ? 0 : rows.number(0, 0);
  }

  LastNumbers last() override {
    const Rows rows = read(Statement("SELECT request, record FROM last"));
    return {.request = rows.number(0, 0), .record = rows.number(0, 1)};
  }

  std::vector<FactRow> facts(const FactFilter& filter, const FactPosition& before, std::int64_t limit) override {
    return allOf(read(reporting_, bound(factsQuery(filter, limit), FactParameters(filter, before))), factIn<RowAt>);
  }

  std::int64_t countFacts(Fact::Time from, Fact::Time before, std::int64_t oneIn, std::int64_t most) override {
    return read(reporting_, Statement(countQuery(oneIn, most))
                                .bind(std::int64_t{from.time_since_epoch().count()})
                                .bind(std::int64_t{before.time_since_epoch().count()}))
        .number(0, 0);
  }

  ArrivalCounts arrivals(Fact::Time from, Fact::Time to) override {
    const auto minuteOf = [](Fact::Time time) {
      return std::int64_t{std::chrono::floor<std::chrono::minutes>(time).time_since_epoch().count()};
    };
    const Rows rows =
        read(reporting_, Statement("SELECT coalesce(sum(posts), 0)::bigint, coalesce(sum(records), 0)::bigint, "
                                   "coalesce(sum(duplicates), 0)::bigint, coalesce(sum(problems), 0)::bigint "
                                   "FROM minutes WHERE minute BETWEEN $1 AND $2")
                             .bind(minuteOf(from))
                             .bind(minuteOf(to)));
    return {.posts = rows.number(0, 0),
            .records = rows.number(0, 1),
            .duplicates = rows.number(0, 2),
            .problems = rows.number(0, 3)};
  }

  std::int64_t progressOf(const std::string& source) override {
    const Rows rows = read(Statement("SELECT request FROM progress WHERE source = $1").bind(source));
    return rows.size() == 0 ? 0 : rows.number(0, 0);
  }

  bool tidy() override {
    if (options_.mostDays == 0) return false;
    return writing_.use([this](postgres::Connection& connection) {
      return postgres::dropBefore(connection, firstOfDays(options_.mostDays));
    });
  }

 private:
  void add(postgres::Connection& connection, std::span<Arrival* const> arrivals,
           const std::optional<Progress>& progress) {
    const std::string day = dayOf(arrivals.front()->request.time);
    if (day != std::exchange(today_, {})) postgres::createDay(connection, day);
    Column keys(Type::bytes);
    for (const Arrival* arrival : arrivals) {
      for (const ArrivedRecord& record : arrival->records) keys.add(bytesOf(record.key));
    }
    const auto begun = connection.run({Statement("BEGIN"), Statement("SELECT request, record FROM last FOR UPDATE"),
                                       Statement("INSERT INTO keys SELECT unnest($1) ON CONFLICT DO NOTHING RETURNING "
                                                 "key")
                                           .bind(keys),
                                       Statement(kLastDay), postgres::versionsOf(arrivals)});
    const auto stored = postgres::storedOf(connection, arrivals);
    const LastNumbers before = {.request = begun[1].number(0, 0), .record = begun[1].number(0, 1)};
    std::unordered_set<std::string> fresh;
    for (int row = 0; row < begun[2].size(); ++row) fresh.insert(begun[2].text(row, 0));
    LastNumbers last = before;
    std::vector<Arrival*> added;
    for (Arrival* arrival : arrivals) {
      if (stored.contains(arrival->request.id)) continue;
      arrival->number(last,
                      [&](const ArrivedRecord& record) { return fresh.erase(std::string(bytesOf(record.key))) > 0; });
      added.push_back(arrival);
    }
    postgres::insert(connection, added, day, before, begun[4]);
    std::vector<Statement> statements;
    if (begun[3].size() == 0 || begun[3].text(0, 0) != day) {
      statements.push_back(
          Statement("INSERT INTO spans VALUES ($1, $2, $3) ON CONFLICT (firstRequest) DO UPDATE SET day = excluded.day")
              .bind(before.request + 1)
              .bind(before.record + 1)
              .bind(day));
    }
    if (options_.mostRequests > 0) {
      for (Statement& statement : postgres::dropUpTo(last.request - options_.mostRequests)) {
        statements.push_back(std::move(statement));
      }
    }
    statements.push_back(Statement("UPDATE last SET request = $1, record = $2").bind(last.request).bind(last.record));
    if (progress) {
      statements.push_back(
          Statement("INSERT INTO progress VALUES ($1, $2) ON CONFLICT (source) DO UPDATE SET request = "
                    "excluded.request")
              .bind(progress->source)
              .bind(progress->request));
    }
    statements.emplace_back("COMMIT");
    connection.run(statements);
    today_ = day;
  }

  Rows read(const Statement& statement) { return read(reading_, statement); }

  /// A connection may have been lost since it was last used: reading is tried twice.
  static Rows read(Link& link, const Statement& statement) {
    const auto action = [&](postgres::Connection& connection) { return std::move(connection.run({statement})[0]); };
    try {
      return link.use(action);
    } catch (const postgres::Error&) {
      return link.use(action);
    }
  }

  /// Finds the span of a number by a query.
  std::function<Span(std::int64_t id)> spanBy(const char* query) {
    return [this, query](std::int64_t id) { return spanIn(RowAt{read(Statement(query).bind(id)), 0}); };
  }

  Rows rowOf(const char* spanQuery, const char* columns, std::int64_t id) {
    return read(Statement(columns + std::string(kOfDay) + " AND id = $2").bind(spanBy(spanQuery)(id).day).bind(id));
  }

  static std::string textOf(const Rows& rows) { return rows.size() == 0 ? "" : rows.text(0, 0); }

  const StorageOptions options_;
  Link writing_;
  Link reading_;
  Link reporting_;
  std::string today_;  // the day of the last transaction, when it was committed
};

}  // namespace

std::unique_ptr<Storage> openPostgres(const StorageOptions& options) {
  try {
    return std::make_unique<PostgresStorage>(options);
  } catch (const postgres::Error& error) {
    throw CannotOpen(std::string("the PostgreSQL database cannot be opened: ") + error.what());
  }
}

}  // namespace collector
