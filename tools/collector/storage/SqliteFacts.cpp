#include "tools/collector/storage/SqliteFacts.h"

#include <chrono>
#include <optional>
#include <string>

#include "tools/collector/storage/Days.h"
#include "tools/collector/storage/ReadRows.h"
#include "tools/collector/storage/Samples.h"

namespace collector {

namespace {

using Fact = ConnectionFact;

// Times are in milliseconds since 1970, the others as in ConnectionFact. The index makes the newest facts of a window
// cheap to find, however many there are.
constexpr const char* kTables = R"(
CREATE TABLE IF NOT EXISTS facts (
  id INTEGER PRIMARY KEY,
  time INTEGER NOT NULL,
  age INTEGER,
  medium INTEGER NOT NULL,
  isStart INTEGER NOT NULL,
  outcome INTEGER NOT NULL,
  client TEXT NOT NULL,
  session TEXT NOT NULL,
  network TEXT NOT NULL,
  reason TEXT NOT NULL,
  technology TEXT NOT NULL,
  version TEXT NOT NULL,
  connecting INTEGER,
  signal INTEGER,
  isRoaming INTEGER,
  sample INTEGER NOT NULL
);
CREATE INDEX IF NOT EXISTS factsByTime ON facts (time);
CREATE TABLE IF NOT EXISTS clients (
  client TEXT PRIMARY KEY,
  version TEXT NOT NULL,
  day TEXT NOT NULL
) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS clientsByDay ON clients (day);
CREATE TABLE IF NOT EXISTS minutes (
  minute INTEGER PRIMARY KEY,
  posts INTEGER NOT NULL,
  records INTEGER NOT NULL,
  duplicates INTEGER NOT NULL,
  problems INTEGER NOT NULL
);
)";

sqlite::Connection& withTables(sqlite::Connection& connection) {
  connection.run((kTables + createSampleIndexes()).c_str());
  return connection;
}

void bind(sqlite::Statement& statement, const FactParameters& parameters) {
  statement.bind(parameters.from, parameters.beforeTime, parameters.beforeId, parameters.version, parameters.network,
                 parameters.medium);
}

template <typename Time>
std::int64_t minuteOf(Time time) {
  return std::chrono::floor<std::chrono::minutes>(time).time_since_epoch().count();
}

}  // namespace

SqliteFacts::SqliteFacts(sqlite::Connection& connection)
    : connection_(withTables(connection)),
      addFact_(connection,
               "INSERT INTO facts (id, time, age, medium, isStart, outcome, client, session, network, reason, "
               "technology, version, connecting, signal, isRoaming, sample) VALUES "
               "(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, coalesce(nullif(?12, ''), (SELECT version FROM clients "
               "WHERE client = ?7), ''), ?13, ?14, ?15, ?16)"),
      setVersion_(connection,
                  "INSERT INTO clients (client, version, day) VALUES (?, ?, ?) ON CONFLICT (client) DO UPDATE SET "
                  "version = excluded.version, day = max(day, excluded.day)"),
      setDay_(connection, "UPDATE clients SET day = ?2 WHERE client = ?1 AND day < ?2"),
      count_(connection,
             "INSERT INTO minutes (minute, posts, records, duplicates, problems) VALUES (?, 1, ?, ?, ?) ON CONFLICT "
             "(minute) DO "
             "UPDATE SET posts = posts + 1, records = records + excluded.records, duplicates = duplicates + "
             "excluded.duplicates, problems = problems + "
             "excluded.problems"),
      arrivals_(connection,
                "SELECT total(posts), total(records), total(duplicates), total(problems) FROM minutes WHERE minute "
                "BETWEEN ? AND ?") {}

void SqliteFacts::add(const ArrivedRecord& record, const std::string& day) {
  if (record.version) setVersion_.bind(record.version->client, record.version->version, day).run();
  if (!record.fact) return;
  const Fact& fact = *record.fact;
  setDay_.bind(fact.client, day).run();
  const auto number = [](auto value) { return static_cast<std::int64_t>(value); };
  const auto numberIfAny = [&](const auto& value) {
    return value ? std::optional(number(*value)) : std::optional<std::int64_t>();
  };
  addFact_
      .bind(record.id, fact.time.time_since_epoch().count(), numberOf(fact.age), number(fact.medium),
            number(fact.isStart), number(fact.outcome), fact.client, fact.session, fact.network, fact.reason,
            fact.technology, fact.version, numberOf(fact.connecting), numberIfAny(fact.signal),
            numberIfAny(fact.isRoaming), sampleOf(fact.client, fact.session, record.id))
      .run();
}

void SqliteFacts::count(const RequestRow& request) {
  const auto time = timeIn(request.time);
  if (!time) return;
  count_.bind(minuteOf(*time), request.records, request.duplicates, std::int64_t{request.problem ? 1 : 0}).run();
}

bool SqliteFacts::dropBefore(const std::string& day) {
  constexpr const char* kClients =
      "DELETE FROM clients WHERE client IN (SELECT client FROM clients WHERE day < ? LIMIT 20000)";
  constexpr const char* kMinutes =
      "DELETE FROM minutes WHERE minute IN (SELECT minute FROM minutes WHERE minute < ? LIMIT 20000)";
  sqlite::Statement(connection_, kClients).bind(day).run();
  const bool hasClients = connection_.hasChanged();
  sqlite::Statement(connection_, kMinutes).bind(firstMinuteOf(day)).run();
  return connection_.hasChanged() || hasClients;
}

std::vector<FactRow> SqliteFacts::facts(const FactFilter& filter, const FactPosition& before, std::int64_t limit) {
  const FactParameters parameters(filter, before);
  sqlite::Statement statement(connection_, factsQuery(filter, limit));
  bind(statement, parameters);
  std::vector<FactRow> found;
  while (statement.next()) found.push_back(factIn(statement));
  return found;
}

std::int64_t SqliteFacts::countFacts(Fact::Time from, Fact::Time before, std::int64_t oneIn, std::int64_t most) {
  sqlite::Statement statement(connection_, countQuery(oneIn, most));
  statement.bind(from.time_since_epoch().count(), before.time_since_epoch().count()).next();
  return statement.number(0);
}

ArrivalCounts SqliteFacts::arrivals(Fact::Time from, Fact::Time to) {
  sqlite::Rows rows(arrivals_.bind(minuteOf(from), minuteOf(to)));
  rows.next();
  return {.posts = arrivals_.number(0),
          .records = arrivals_.number(1),
          .duplicates = arrivals_.number(2),
          .problems = arrivals_.number(3)};
}

}  // namespace collector
