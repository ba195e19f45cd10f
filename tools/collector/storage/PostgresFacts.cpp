#include "tools/collector/storage/PostgresFacts.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "tools/collector/service/ConnectionFact.h"
#include "tools/collector/storage/FactRows.h"

namespace collector::postgres {

namespace {

/// The clients of the facts for which `isWanted` returns true.
template <typename IsWanted>
Column clientsOf(std::span<Arrival* const> arrivals, const IsWanted& isWanted) {
  std::set<std::string_view> clients;
  for (const Arrival* arrival : arrivals) {
    for (const ArrivedRecord& record : arrival->records) {
      if (record.fact && isWanted(record)) clients.insert(record.fact->client);
    }
  }
  Column column(Type::text);
  for (const std::string_view client : clients) column.add(client);
  return column;
}

}  // namespace

Statement versionsOf(std::span<Arrival* const> arrivals) {
  return Statement("SELECT client, version FROM clients WHERE client = ANY ($1)")
      .bind(clientsOf(arrivals, [](const ArrivedRecord& record) { return record.fact->version.empty(); }));
}

CopiedRows factRows(std::span<Arrival* const> arrivals, const Versions& known, Versions& reported) {
  CopiedRows rows;
  const auto number = [](auto value) { return static_cast<std::int64_t>(value); };
  const auto numberIfAny = [&](const auto& value) {
    return value ? std::optional(number(*value)) : std::optional<std::int64_t>();
  };
  const auto versionOf = [&](const ConnectionFact& fact) -> std::string_view {
    if (!fact.version.empty()) return fact.version;
    for (const Versions* versions : {&std::as_const(reported), &known}) {
      if (const auto found = versions->find(fact.client); found != versions->end()) return found->second;
    }
    return {};
  };
  for (const Arrival* arrival : arrivals) {
    for (const ArrivedRecord& record : arrival->records) {
      if (record.id == 0) continue;
      if (record.version) reported[record.version->client] = record.version->version;
      if (!record.fact) continue;
      const ConnectionFact& fact = *record.fact;
      rows.row(15);
      rows.add(record.id);
      rows.add(number(fact.time.time_since_epoch().count()));
      rows.addIfAny(numberOf(fact.age));
      rows.add(number(fact.medium));
      rows.add(number(fact.isStart));
      rows.add(number(fact.outcome));
      rows.add(fact.client);
      rows.add(fact.session);
      rows.add(fact.network);
      rows.add(fact.reason);
      rows.add(fact.technology);
      rows.add(versionOf(fact));
      rows.addIfAny(numberOf(fact.connecting));
      rows.addIfAny(numberIfAny(fact.signal));
      rows.addIfAny(numberIfAny(fact.isRoaming));
    }
  }
  return rows;
}

Statement setVersions(const Versions& versions, const std::string& day) {
  Column client(Type::text);
  Column version(Type::text);
  for (const auto& [name, value] : versions) {
    client.add(name);
    version.add(value);
  }
  return Statement(
             "INSERT INTO clients (client, version, day) "
             "SELECT client, version, $3 FROM unnest($1, $2) AS row (client, version) "
             "ON CONFLICT (client) DO UPDATE SET version = excluded.version, day = greatest(clients.day, excluded.day)")
      .bind(client)
      .bind(version)
      .bind(day);
}

Statement setDays(std::span<Arrival* const> arrivals, const std::string& day) {
  const Column clients = clientsOf(arrivals, [](const ArrivedRecord& record) { return record.id != 0; });
  return Statement("UPDATE clients SET day = $2 WHERE client = ANY ($1) AND day < $2").bind(clients).bind(day);
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
  Column minute(Type::number);
  Column posts(Type::number);
  Column records(Type::number);
  Column duplicates(Type::number);
  Column problems(Type::number);
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

}  // namespace collector::postgres
