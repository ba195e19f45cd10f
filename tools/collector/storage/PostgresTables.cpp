#include "tools/collector/storage/PostgresTables.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "tools/collector/storage/Days.h"
#include "tools/collector/storage/PostgresFacts.h"
#include "tools/collector/storage/Samples.h"

namespace collector::postgres {

namespace {

// Texts of clients can hold any bytes, and PostgreSQL's texts cannot.
constexpr const char* kTables = R"(
BEGIN;
CREATE TABLE IF NOT EXISTS last (request bigint NOT NULL, record bigint NOT NULL);
INSERT INTO last SELECT 0, 0 WHERE NOT EXISTS (SELECT FROM last);
CREATE TABLE IF NOT EXISTS days (day text PRIMARY KEY, cleared bigint NOT NULL DEFAULT 0);
CREATE TABLE IF NOT EXISTS spans (
  firstRequest bigint PRIMARY KEY, firstRecord bigint NOT NULL, day text NOT NULL
);
CREATE INDEX IF NOT EXISTS spansByRecord ON spans (firstRecord);
CREATE TABLE IF NOT EXISTS keys (key bytea PRIMARY KEY);
CREATE TABLE IF NOT EXISTS progress (source text PRIMARY KEY, request bigint NOT NULL);
CREATE TABLE IF NOT EXISTS requests (
  id bigint NOT NULL, day text NOT NULL, time text NOT NULL, method text NOT NULL, path bytea NOT NULL,
  query bytea NOT NULL, contentType bytea NOT NULL, bytes bigint NOT NULL, answered text NOT NULL,
  records bigint NOT NULL, duplicates bigint NOT NULL, lastRecord bigint NOT NULL, problem text, headers text NOT NULL,
  body bytea NOT NULL, PRIMARY KEY (id, day)
) PARTITION BY LIST (day);
CREATE TABLE IF NOT EXISTS records (
  id bigint NOT NULL, day text NOT NULL, request bigint NOT NULL, time text NOT NULL, path bytea NOT NULL,
  type text NOT NULL, subType bytea, event bytea, problem text, "values" text NOT NULL, raw bytea NOT NULL,
  key bytea NOT NULL, PRIMARY KEY (id, day)
) PARTITION BY LIST (day);
CREATE TABLE IF NOT EXISTS facts (
  id bigint PRIMARY KEY, time bigint NOT NULL, age bigint, medium bigint NOT NULL, isStart bigint NOT NULL,
  outcome bigint NOT NULL, client text NOT NULL, session text NOT NULL, network text NOT NULL, reason text NOT NULL,
  technology text NOT NULL, version text NOT NULL, connecting bigint, signal bigint, isRoaming bigint
);
CREATE INDEX IF NOT EXISTS factsByTime ON facts (time, id);
CREATE TABLE IF NOT EXISTS clients (client text PRIMARY KEY, version text NOT NULL);
CREATE TABLE IF NOT EXISTS minutes (
  minute bigint PRIMARY KEY, posts bigint NOT NULL, records bigint NOT NULL, duplicates bigint NOT NULL,
  problems bigint NOT NULL
);
)";

// What the first version of the tables `clients` and `facts` lacks, up to the expression of the last column. A server
// of that version stores beside this one: PostgreSQL computes the columns. An index alone is read where the table was
// vacuumed: after as many new rows, whatever the table's size.
constexpr const char* kAddColumns = R"(
ALTER TABLE clients ADD COLUMN IF NOT EXISTS day text NOT NULL
  DEFAULT to_char(now() AT TIME ZONE 'UTC', 'YYYYMMDD');
CREATE INDEX IF NOT EXISTS clientsByDay ON clients (day);
ALTER TABLE facts SET (autovacuum_vacuum_insert_scale_factor = 0, autovacuum_vacuum_insert_threshold = 500000);
ALTER TABLE facts ADD COLUMN IF NOT EXISTS sample bigint GENERATED ALWAYS AS )";

// Servers that start at once do it one after another: the number of the lock is any. What is there is not created
// again, which would lock tables that others write. The column that was added last stands for all.
constexpr const char* kLock = "SELECT pg_advisory_lock(7596435)";
constexpr const char* kUnlock = "SELECT pg_advisory_unlock(7596435)";
constexpr const char* kIsCreated =
    "SELECT FROM pg_attribute WHERE attrelid = to_regclass('clients') AND attname = 'day'";
constexpr std::chrono::hours kLongestConversion{6};

// In what concerns one day, # stands for the day.
constexpr const char* kTablesOfDay = R"(
BEGIN;
SELECT FROM last FOR UPDATE;
CREATE TABLE IF NOT EXISTS requests_# PARTITION OF requests FOR VALUES IN ('#');
CREATE TABLE IF NOT EXISTS records_# PARTITION OF records FOR VALUES IN ('#');
INSERT INTO days VALUES ('#') ON CONFLICT DO NOTHING;
COMMIT;
)";

// The keys and facts of so many records are deleted at once that it does not take long.
constexpr const char* kClearDay = R"(
WITH batch AS (SELECT id, key FROM records_# WHERE id > (SELECT cleared FROM days WHERE day = '#')
               ORDER BY id LIMIT 20000),
     ofKeys AS (DELETE FROM keys USING batch WHERE keys.key = batch.key),
     ofFacts AS (DELETE FROM facts USING batch WHERE facts.id = batch.id)
UPDATE days SET cleared = (SELECT max(id) FROM batch) WHERE day = '#' AND EXISTS (SELECT FROM batch) RETURNING cleared
)";

// Rows that another transaction changes are left for the next time, so that neither waits for the other.
constexpr const char* kDropClients =
    "DELETE FROM clients WHERE client IN "
    "(SELECT client FROM clients WHERE day < $1 LIMIT 20000 FOR UPDATE SKIP LOCKED) RETURNING client";
constexpr const char* kDropMinutes =
    "DELETE FROM minutes WHERE minute IN "
    "(SELECT minute FROM minutes WHERE minute < $1 LIMIT 20000 FOR UPDATE SKIP LOCKED) RETURNING minute";

// Readers use the table for moments. When one does for longer, the day is deleted at the next attempt.
constexpr const char* kDropDay = R"(
BEGIN;
SET LOCAL lock_timeout = '2s';
SELECT FROM last FOR UPDATE;
DELETE FROM days WHERE day = '#';
DELETE FROM spans WHERE day = '#';
DROP TABLE requests_#;
DROP TABLE records_#;
COMMIT;
)";

std::string forDay(std::string_view statements, std::string_view day) {
  std::string text;
  for (const char character : statements) character == '#' ? text += day : text += character;
  return text;
}

CopiedRows requestRows(std::span<Arrival* const> arrivals, const std::string& day, LastNumbers last) {
  CopiedRows rows;
  for (const Arrival* arrival : arrivals) {
    const RequestRow& request = arrival->request;
    last.record += request.records - request.duplicates;
    rows.row(15);
    rows.add(request.id);
    rows.add(day);
    rows.add(request.time);
    rows.add(request.method);
    rows.add(request.path);
    rows.add(request.query);
    rows.add(request.contentType);
    rows.add(request.bytes);
    rows.add(request.answered);
    rows.add(request.records);
    rows.add(request.duplicates);
    rows.add(last.record);
    rows.addIfAny(request.problem);
    rows.add(arrival->headers);
    rows.add(arrival->body);
  }
  return rows;
}

CopiedRows recordRows(std::span<Arrival* const> arrivals, const std::string& day) {
  CopiedRows rows;
  for (const Arrival* arrival : arrivals) {
    for (const ArrivedRecord& record : arrival->records) {
      if (record.id == 0) continue;
      rows.row(12);
      rows.add(record.id);
      rows.add(day);
      rows.add(arrival->request.id);
      rows.add(arrival->request.time);
      rows.add(arrival->request.path);
      rows.add(record.type);
      rows.addIfAny(record.subType);
      rows.addIfAny(record.event);
      rows.addIfAny(record.problem);
      rows.add(record.values);
      rows.add(record.raw);
      rows.add(bytesOf(record.key));
    }
  }
  return rows;
}

}  // namespace

void createTables(Connection& connection) {
  connection.run(kLock);
  if (connection.run({Statement(kIsCreated)})[0].size() == 0) {
    connection.run(
        std::string(kTables) + kAddColumns + "(" + kSampleOf + ") STORED;" + createSampleIndexes() + "COMMIT",
        kLongestConversion);
  }
  connection.run(kUnlock);
}

void createDay(Connection& connection, const std::string& day) { connection.run(forDay(kTablesOfDay, day)); }

bool dropBefore(Connection& connection, const std::string& day) {
  const auto first = connection.run({Statement("SELECT day FROM days ORDER BY day LIMIT 1")});
  if (first[0].size() == 0 || first[0].text(0, 0) >= day) {
    const auto dropped = connection.run(
        {Statement(kDropClients).bind(std::string_view(day)), Statement(kDropMinutes).bind(firstMinuteOf(day))});
    return dropped[0].size() > 0 || dropped[1].size() > 0;
  }
  const std::string old = first[0].text(0, 0);
  if (connection.run({Statement(forDay(kClearDay, old))})[0].size() == 0) connection.run(forDay(kDropDay, old));
  return true;
}

std::set<std::int64_t> storedOf(Connection& connection, std::span<Arrival* const> arrivals) {
  Column id(Type::number);
  Column time(Type::text);
  Column headers(Type::text);
  Column body(Type::bytes);
  for (const Arrival* arrival : arrivals) {
    if (!arrival->isNumbered()) continue;
    id.add(arrival->request.id);
    time.add(arrival->request.time);
    headers.add(arrival->headers);
    body.add(arrival->body);
  }
  std::set<std::int64_t> stored;
  if (id.count() == 0) return stored;
  Statement statement(
      "SELECT id FROM requests JOIN unnest($1, $2, $3, $4) AS row (id, time, headers, body) "
      "USING (id, time, headers, body)");
  for (const Column* column : {&id, &time, &headers, &body}) statement.bind(*column);
  const auto rows = connection.run({statement});
  for (int row = 0; row < rows[0].size(); ++row) stored.insert(rows[0].number(row, 0));
  return stored;
}

std::vector<Statement> dropUpTo(std::int64_t request) {
  const std::string records = "(SELECT coalesce(max(lastRecord), 0) FROM requests WHERE id <= $1)";
  std::vector<Statement> statements = {
      Statement("DELETE FROM keys USING records WHERE keys.key = records.key AND records.id <= " + records),
      Statement("DELETE FROM facts WHERE id <= " + records), Statement("DELETE FROM records WHERE id <= " + records),
      Statement("DELETE FROM requests WHERE id <= $1")};
  for (Statement& statement : statements) statement.bind(request);
  return statements;
}

void insert(Connection& connection, std::span<Arrival* const> arrivals, const std::string& day, LastNumbers before,
            const Rows& versions) {
  Versions known;
  for (int row = 0; row < versions.size(); ++row) known.emplace(versions.text(row, 0), versions.text(row, 1));
  Versions reported;
  connection.copy("requests_" + day, requestRows(arrivals, day, before));
  connection.copy("records_" + day, recordRows(arrivals, day));
  connection.copy("facts", factRows(arrivals, known, reported));
  connection.run({setVersions(reported, day), setDays(arrivals, day), countArrivals(arrivals)});
}

}  // namespace collector::postgres
