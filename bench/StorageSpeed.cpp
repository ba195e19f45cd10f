// Run by hand: how fast the collection server stores posts of 20 records.
//
//   measure_storage FILE|postgresql://…
//
// The database must be new. `store` is Storage::add with groups of 256 posts, as they arrive at once; `load` is the
// same rows by the engine's own fastest load, in one transaction: prepared inserts, or COPY in binary format.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <libpq-fe.h>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/StoragePosts.h"
#include "tools/collector/storage/Days.h"
#include "tools/collector/storage/Samples.h"
#include "tools/collector/storage/Sqlite.h"
#include "tools/collector/storage/Storage.h"

namespace {

using namespace collector;
using bench::kRecordsOfPost;
using Clock = std::chrono::steady_clock;
using Arrivals = std::vector<std::unique_ptr<Arrival>>;

constexpr std::size_t kGroup = 256;
constexpr int kPosts = 2560;  // of each measured round
constexpr int kRounds = 3;
constexpr const char* kTime = "2026-11-22T10:00:00.000Z";

double seconds(const std::function<void()>& action) {
  const auto begin = Clock::now();
  action();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

Arrivals arrivalsOf(int first, int count) {
  Arrivals arrivals;
  for (int post = first; post < first + count; ++post) arrivals.push_back(bench::arrivalOf(post, kTime));
  return arrivals;
}

void store(Storage& storage, const Arrivals& arrivals) {
  std::vector<Arrival*> all;
  for (const auto& arrival : arrivals) all.push_back(arrival.get());
  for (std::size_t at = 0; at < all.size(); at += kGroup) {
    storage.add(std::span<Arrival* const>(all).subspan(at, std::min(kGroup, all.size() - at)));
  }
}

void number(const Arrivals& arrivals, LastNumbers& last) {
  for (const auto& arrival : arrivals) arrival->number(last, [](const ArrivedRecord&) { return true; });
}

std::int64_t milliseconds(const std::optional<std::chrono::milliseconds>& duration) { return duration->count(); }

/// The same rows by prepared inserts.
void loadSqlite(const std::string& file, const Arrivals& arrivals, LastNumbers last) {
  sqlite::Connection connection(file);
  connection.run("PRAGMA synchronous = FULL; PRAGMA cache_size = -65536; PRAGMA wal_autocheckpoint = 4000;");
  const std::string day = dayOf(kTime);
  sqlite::Statement request(connection, "INSERT INTO requests_" + day + " VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
  sqlite::Statement record(connection, "INSERT INTO records_" + day + " VALUES (?,?,?,?,?,?,?,?,?,?,?)");
  sqlite::Statement key(connection, "INSERT INTO keys VALUES (?)");
  sqlite::Statement fact(connection, "INSERT INTO facts VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
  sqlite::Transaction transaction(connection);
  for (const auto& arrival : arrivals) {
    const RequestRow& row = arrival->request;
    for (const ArrivedRecord& one : arrival->records) {
      const ConnectionFact& what = *one.fact;
      key.bind(sqlite::Blob{bytesOf(one.key)}).run();
      record
          .bind(one.id, row.id, row.time, row.path, one.type, one.subType, one.event, one.problem, one.values, one.raw,
                sqlite::Blob{bytesOf(one.key)})
          .run();
      fact.bind(one.id, what.time.time_since_epoch().count(), milliseconds(what.age),
                static_cast<std::int64_t>(what.medium), std::int64_t{what.isStart},
                static_cast<std::int64_t>(what.outcome), what.client, what.session, what.network, what.reason,
                what.technology, what.version, milliseconds(what.connecting), std::int64_t{*what.signal},
                std::optional<std::string>(), sampleOf(what.client, what.session, one.id))
          .run();
    }
    request
        .bind(row.id, row.time, row.method, row.path, row.query, row.contentType, row.bytes, row.answered, row.records,
              row.duplicates, arrival->records.back().id, row.problem, arrival->headers, sqlite::Blob{arrival->body})
        .run();
  }
  sqlite::Statement(connection, "UPDATE last SET request = ?, record = ?").bind(last.request, last.record).run();
  transaction.commit();
}

/// Rows in the binary format of COPY.
class CopyRows {
 public:
  void row(int columns) { number(static_cast<std::uint64_t>(columns), 2); }
  void add(std::string_view text) {
    number(text.size(), 4);
    bytes_ += text;
  }
  void add(std::int64_t value) {
    number(8, 4);
    number(static_cast<std::uint64_t>(value), 8);
  }
  void add(const std::optional<std::string>& text) { text ? add(std::string_view(*text)) : addNull(); }
  void add(const std::string& text) { add(std::string_view(text)); }
  void addNull() { bytes_.append(4, '\xFF'); }
  std::string whole() const { return std::string("PGCOPY\n\xFF\r\n\0\0\0\0\0\0\0\0\0", 19) + bytes_ + "\xFF\xFF"; }

 private:
  void number(std::uint64_t value, int size) {
    for (int byte = size - 1; byte >= 0; --byte) bytes_ += static_cast<char>(value >> (8 * byte) & 0xFF);
  }
  std::string bytes_;
};

struct CopyTables {
  std::string requests, records, keys, facts;
};

CopyTables copyTablesOf(const Arrivals& arrivals) {
  CopyRows requests, records, keys, facts;
  const std::string day = dayOf(kTime);
  for (const auto& arrival : arrivals) {
    const RequestRow& row = arrival->request;
    requests.row(15);
    requests.add(row.id);
    for (const std::string& text : {day, row.time, row.method, row.path, row.query, row.contentType})
      requests.add(text);
    requests.add(row.bytes);
    requests.add(row.answered);
    requests.add(row.records);
    requests.add(row.duplicates);
    requests.add(arrival->records.back().id);
    requests.add(row.problem);
    requests.add(arrival->headers);
    requests.add(arrival->body);
    for (const ArrivedRecord& one : arrival->records) {
      keys.row(1);
      keys.add(bytesOf(one.key));
      records.row(12);
      records.add(one.id);
      records.add(day);
      records.add(row.id);
      records.add(row.time);
      records.add(row.path);
      records.add(one.type);
      records.add(one.subType);
      records.add(one.event);
      records.add(one.problem);
      records.add(one.values);
      records.add(one.raw);
      records.add(bytesOf(one.key));
      const ConnectionFact& what = *one.fact;
      facts.row(15);
      for (const std::int64_t value : {one.id, std::int64_t{what.time.time_since_epoch().count()},
                                       milliseconds(what.age), static_cast<std::int64_t>(what.medium),
                                       std::int64_t{what.isStart}, static_cast<std::int64_t>(what.outcome)}) {
        facts.add(value);
      }
      for (const std::string& text :
           {what.client, what.session, what.network, what.reason, what.technology, what.version}) {
        facts.add(text);
      }
      facts.add(milliseconds(what.connecting));
      facts.add(std::int64_t{*what.signal});
      facts.addNull();
    }
  }
  return {requests.whole(), records.whole(), keys.whole(), facts.whole()};
}

/// The same rows by COPY.
void loadPostgres(PGconn* connection, const CopyTables& tables, LastNumbers last) {
  const auto run = [connection](const std::string& text) {
    PGresult* result = PQexec(connection, text.c_str());
    const auto status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_COPY_IN) {
      std::fprintf(stderr, "%s", PQerrorMessage(connection));
      std::exit(1);
    }
    PQclear(result);
  };
  const auto copy = [&](const char* table, const std::string& rows) {
    run(std::string("COPY ") + table + " FROM STDIN (FORMAT binary)");
    PQputCopyData(connection, rows.data(), static_cast<int>(rows.size()));
    PQputCopyEnd(connection, nullptr);
    while (PGresult* result = PQgetResult(connection)) {
      if (PQresultStatus(result) != PGRES_COMMAND_OK) {
        std::fprintf(stderr, "%s", PQerrorMessage(connection));
        std::exit(1);
      }
      PQclear(result);
    }
  };
  const std::string day = dayOf(kTime);
  run("BEGIN");
  copy("keys", tables.keys);
  copy(("requests_" + day).c_str(), tables.requests);
  copy(("records_" + day).c_str(), tables.records);
  copy("facts", tables.facts);
  run("UPDATE last SET request = " + std::to_string(last.request) + ", record = " + std::to_string(last.record));
  run("COMMIT");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "measure_storage FILE|postgresql://...\n"), 2;
  const std::string database = argv[1];
  const bool isPostgres = database.starts_with("postgresql://");
  const auto storage = openStorage({.database = database});
  PGconn* connection = isPostgres ? PQconnectdb(database.c_str()) : nullptr;

  int next = 0;
  double parsing = std::numeric_limits<double>::max();
  double storing = parsing;
  double loading = parsing;
  for (int round = 0; round < kRounds; ++round) {
    Arrivals arrivals;
    parsing = std::min(parsing, seconds([&] { arrivals = arrivalsOf(next, kPosts); }));
    storing = std::min(storing, seconds([&] { store(*storage, arrivals); }));
    arrivals = arrivalsOf(next + kPosts, kPosts);
    LastNumbers last = storage->last();
    number(arrivals, last);
    const CopyTables tables = isPostgres ? copyTablesOf(arrivals) : CopyTables();
    loading = std::min(loading, seconds([&] {
                         isPostgres ? loadPostgres(connection, tables, last) : loadSqlite(database, arrivals, last);
                       }));
    next += 2 * kPosts;
  }
  const auto rate = [](double time) { return kPosts * kRecordsOfPost / time; };
  std::printf("%-36s %8.0f records/s\n", "parse", rate(parsing));
  std::printf("%-36s %8.0f records/s\n", "store", rate(storing));
  std::printf("%-36s %8.0f records/s\n", "load (the limit)", rate(loading));
  std::printf("%-36s %8.2f\n", "store: part of the limit", loading / storing);
}
