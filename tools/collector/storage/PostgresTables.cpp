#include "tools/collector/storage/PostgresTables.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>

#include "tools/collector/service/ConnectionFact.h"
#include "tools/collector/storage/FactRows.h"

namespace collector::postgres {

namespace {

using std::chrono::milliseconds;

// Texts of clients can hold any bytes, and PostgreSQL's texts cannot. Two servers that start at once do not create the
// tables at once: they wait for the lock, whose number is any.
constexpr const char* kTables = R"(
BEGIN;
SELECT pg_advisory_xact_lock(7596435);
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
COMMIT;
)";

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

std::optional<std::int64_t> numberOf(const std::optional<milliseconds>& duration) {
  return duration ? std::optional<std::int64_t>(duration->count()) : std::nullopt;
}

Statement insertRequests(std::span<Arrival* const> arrivals, const std::string& day, LastNumbers last) {
  Column id(Type::number), time(Type::text), method(Type::text), path(Type::bytes), query(Type::bytes),
      contentType(Type::bytes), bytes(Type::number), answered(Type::text), records(Type::number),
      duplicates(Type::number), lastRecord(Type::number), problem(Type::text), headers(Type::text), body(Type::bytes);
  for (const Arrival* arrival : arrivals) {
    const RequestRow& request = arrival->request;
    last.record += request.records - request.duplicates;
    id.add(request.id);
    time.add(request.time);
    method.add(request.method);
    path.add(request.path);
    query.add(request.query);
    contentType.add(request.contentType);
    bytes.add(request.bytes);
    answered.add(request.answered);
    records.add(request.records);
    duplicates.add(request.duplicates);
    lastRecord.add(last.record);
    problem.addIfAny(request.problem);
    headers.add(arrival->headers);
    body.add(arrival->body);
  }
  Statement statement(
      "INSERT INTO requests SELECT id, $1, time, method, path, query, contentType, bytes, answered, records, "
      "duplicates, lastRecord, problem, headers, body FROM unnest($2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, "
      "$14, $15) AS row (id, time, method, path, query, contentType, bytes, answered, records, duplicates, lastRecord, "
      "problem, headers, body)");
  statement.bind(day);
  for (const Column* column : {&id, &time, &method, &path, &query, &contentType, &bytes, &answered, &records,
                               &duplicates, &lastRecord, &problem, &headers, &body}) {
    statement.bind(*column);
  }
  return statement;
}

Statement insertRecords(std::span<Arrival* const> arrivals, const std::string& day) {
  Column id(Type::number), request(Type::number), time(Type::text), path(Type::bytes), type(Type::text),
      subType(Type::bytes), event(Type::bytes), problem(Type::text), values(Type::text), raw(Type::bytes),
      key(Type::bytes);
  for (const Arrival* arrival : arrivals) {
    for (const ArrivedRecord& record : arrival->records) {
      if (record.id == 0) continue;
      id.add(record.id);
      request.add(arrival->request.id);
      time.add(arrival->request.time);
      path.add(arrival->request.path);
      type.add(record.type);
      subType.addIfAny(record.subType);
      event.addIfAny(record.event);
      problem.addIfAny(record.problem);
      values.add(record.values);
      raw.add(record.raw);
      key.add(bytesOf(record.key));
    }
  }
  Statement statement(
      "INSERT INTO records SELECT id, $1, request, time, path, type, subType, event, problem, vals, raw, key "
      "FROM unnest($2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12) "
      "AS row (id, request, time, path, type, subType, event, problem, vals, raw, key)");
  statement.bind(day);
  for (const Column* column : {&id, &request, &time, &path, &type, &subType, &event, &problem, &values, &raw, &key}) {
    statement.bind(*column);
  }
  return statement;
}

/// The clients' versions by client, as of the end of the transaction.
using Versions = std::map<std::string, std::string>;

Statement insertFacts(std::span<Arrival* const> arrivals, Versions& versions) {
  Column id(Type::number), time(Type::number), age(Type::number), medium(Type::number), isStart(Type::number),
      outcome(Type::number), client(Type::text), session(Type::text), network(Type::text), reason(Type::text),
      technology(Type::text), version(Type::text), connecting(Type::number), signal(Type::number),
      isRoaming(Type::number);
  const auto number = [](auto value) { return static_cast<std::int64_t>(value); };
  const auto numberIfAny = [&](const auto& value) {
    return value ? std::optional(number(*value)) : std::optional<std::int64_t>();
  };
  for (const Arrival* arrival : arrivals) {
    for (const ArrivedRecord& record : arrival->records) {
      if (record.id == 0) continue;
      if (record.version) versions[record.version->client] = record.version->version;
      if (!record.fact) continue;
      const ConnectionFact& fact = *record.fact;
      const auto known = versions.find(fact.client);
      id.add(record.id);
      time.add(number(fact.time.time_since_epoch().count()));
      age.addIfAny(numberOf(fact.age));
      medium.add(number(fact.medium));
      isStart.add(number(fact.isStart));
      outcome.add(number(fact.outcome));
      client.add(fact.client);
      session.add(fact.session);
      network.add(fact.network);
      reason.add(fact.reason);
      technology.add(fact.technology);
      version.add(fact.version.empty() && known != versions.end() ? known->second : fact.version);
      connecting.addIfAny(numberOf(fact.connecting));
      signal.addIfAny(numberIfAny(fact.signal));
      isRoaming.addIfAny(numberIfAny(fact.isRoaming));
    }
  }
  Statement statement(
      "INSERT INTO facts SELECT id, time, age, medium, isStart, outcome, client, session, network, reason, technology, "
      "coalesce(nullif(version, ''), (SELECT version FROM clients WHERE clients.client = row.client), ''), "
      "connecting, signal, isRoaming "
      "FROM unnest($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14, $15) AS row (id, time, age, medium, "
      "isStart, outcome, client, session, network, reason, technology, version, connecting, signal, isRoaming)");
  for (const Column* column : {&id, &time, &age, &medium, &isStart, &outcome, &client, &session, &network, &reason,
                               &technology, &version, &connecting, &signal, &isRoaming}) {
    statement.bind(*column);
  }
  return statement;
}

Statement setVersions(const Versions& versions) {
  Column client(Type::text), version(Type::text);
  for (const auto& [name, value] : versions) {
    client.add(name);
    version.add(value);
  }
  return Statement(
             "INSERT INTO clients SELECT * FROM unnest($1, $2) ON CONFLICT (client) DO UPDATE SET version = "
             "excluded.version")
      .bind(client)
      .bind(version);
}

Statement countArrivals(std::span<Arrival* const> arrivals) {
  std::map<std::int64_t, ArrivalCounts> counts;
  for (const Arrival* arrival : arrivals) {
    const auto time = timeIn(arrival->request.time);
    if (!time) continue;
    ArrivalCounts& sum = counts[std::chrono::floor<std::chrono::minutes>(*time).time_since_epoch().count()];
    ++sum.posts;
    sum.records += arrival->request.records;
    sum.duplicates += arrival->request.duplicates;
    sum.problems += arrival->request.problem ? 1 : 0;
  }
  Column minute(Type::number), posts(Type::number), records(Type::number), duplicates(Type::number),
      problems(Type::number);
  for (const auto& [at, sum] : counts) {
    minute.add(at);
    posts.add(sum.posts);
    records.add(sum.records);
    duplicates.add(sum.duplicates);
    problems.add(sum.problems);
  }
  Statement statement(
      "INSERT INTO minutes AS sum SELECT * FROM unnest($1, $2, $3, $4, $5) ON CONFLICT (minute) DO UPDATE SET "
      "posts = sum.posts + excluded.posts, records = sum.records + excluded.records, "
      "duplicates = sum.duplicates + excluded.duplicates, problems = sum.problems + excluded.problems");
  for (const Column* column : {&minute, &posts, &records, &duplicates, &problems}) statement.bind(*column);
  return statement;
}

}  // namespace

void createTables(Connection& connection) { connection.run(kTables); }

void createDay(Connection& connection, const std::string& day) { connection.run(forDay(kTablesOfDay, day)); }

bool dropBefore(Connection& connection, const std::string& day) {
  const auto first = connection.run({Statement("SELECT day FROM days ORDER BY day LIMIT 1")});
  if (first[0].size() == 0 || first[0].text(0, 0) >= day) return false;
  const std::string old = first[0].text(0, 0);
  if (connection.run({Statement(forDay(kClearDay, old))})[0].size() == 0) connection.run(forDay(kDropDay, old));
  return true;
}

std::set<std::int64_t> storedOf(Connection& connection, std::span<Arrival* const> arrivals) {
  Column id(Type::number), time(Type::text), headers(Type::text), body(Type::bytes);
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

std::vector<Statement> insertions(std::span<Arrival* const> arrivals, const std::string& day, LastNumbers before) {
  Versions versions;
  std::vector<Statement> statements;
  statements.push_back(insertRequests(arrivals, day, before));
  statements.push_back(insertRecords(arrivals, day));
  statements.push_back(insertFacts(arrivals, versions));
  statements.push_back(setVersions(versions));
  statements.push_back(countArrivals(arrivals));
  return statements;
}

}  // namespace collector::postgres
