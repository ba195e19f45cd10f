// A database file of an earlier version is converted as a whole or not at all.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/system/Environment.h"
#include "tests/tools/CollectorClient.h"
#include "tests/tools/storage/Arrivals.h"
#include "tools/collector/storage/Samples.h"
#include "tools/collector/storage/Sqlite.h"

namespace {

using namespace collector;
using sqm::platform::test::EnvironmentVariable;

/// Makes a file as the first version did, with requests of two records each.
void makeVersion1(const std::string& file, int requests) {
  sqlite::Connection database(file);
  database.run(R"(
PRAGMA application_id = 0x53514D43; PRAGMA user_version = 1; PRAGMA journal_mode = WAL;
CREATE TABLE requests (
  id INTEGER PRIMARY KEY AUTOINCREMENT, time TEXT NOT NULL, method TEXT NOT NULL, path TEXT NOT NULL,
  query TEXT NOT NULL, contentType TEXT NOT NULL, bytes INTEGER NOT NULL, answered TEXT NOT NULL,
  records INTEGER NOT NULL, problem TEXT, headers TEXT NOT NULL, body BLOB NOT NULL
);
CREATE TABLE records (
  id INTEGER PRIMARY KEY AUTOINCREMENT, request INTEGER NOT NULL, time TEXT NOT NULL, path TEXT NOT NULL,
  type TEXT NOT NULL, subType TEXT, event TEXT, problem TEXT, "values" TEXT NOT NULL, raw TEXT NOT NULL
);
CREATE INDEX recordsByRequest ON records (request);
CREATE VIEW fields AS
  SELECT records.id AS record, pair.key AS position, pair.value ->> 0 AS name, pair.value ->> 1 AS value
  FROM records, json_each(records."values") AS pair;
)");
  sqlite::Statement addRequest(
      database,
      "INSERT INTO requests (time, method, path, query, contentType, bytes, answered, records, "
      "headers, body) VALUES ('2026-11-21T08:00:00.000Z', 'POST', '/connection', '', '', 0, "
      "'200', 2, '[]', ?)");
  sqlite::Statement addRecord(database,
                              "INSERT INTO records (request, time, path, type, \"values\", raw) VALUES (?, "
                              "'2026-11-21T08:00:00.000Z', '/connection', 'connection', '[]', ?)");
  database.run("BEGIN");
  for (std::int64_t i = 1; i <= requests; ++i) {
    const std::string number = std::to_string(i);
    addRequest.bind(sqlite::Blob{documentOf({plainRecord(number), knownRecord("c", number)})}).run();
    addRecord.bind(i, std::string_view(plainRecord(number))).run();
    addRecord.bind(i, std::string_view(knownRecord("c", number))).run();
  }
  database.run("COMMIT");
}

/// Makes a file as the second version did, with a fact of each of so many clients.
void makeVersion2(const std::string& file, int clients) {
  std::string records;
  for (int client = 0; client < clients; ++client) records += knownRecord(std::to_string(client), "1");
  add(*openStorage({.database = file}), documentOf({records}));
  sqlite::Connection database(file);
  for (const std::int64_t oneIn : {8, 64, 512, 4096}) {
    database.run(("DROP INDEX factsOfOneIn" + std::to_string(oneIn)).c_str());
  }
  database.run("ALTER TABLE facts DROP COLUMN sample; DROP INDEX clientsByDay; ALTER TABLE clients DROP COLUMN day");
  database.run("PRAGMA user_version = 2");
}

/// The clients of the facts in the sample of one in eight.
std::vector<std::string> sampledClients(Storage& storage) {
  std::vector<std::string> clients;
  for (const FactRow& row : storage.facts({.oneIn = 8}, {ConnectionFact::Time::max()}, 10'000)) {
    clients.push_back(row.fact.client);
  }
  return clients;
}

/// Opens files that `make` makes with a server that is killed at one of its writes, earlier or later, until it is not.
/// `check` is called with each file.
void killConversions(const std::function<void(const std::string& file)>& make,
                     const std::function<void(const std::string& file)>& check) {
  const TemporaryFolder folder;
  bool isKilled = true;
  for (int write = 1; isKilled; write += 11) {
    const std::string file = folder / (std::to_string(write) + ".db");
    make(file);
    std::optional<tools::Process> collector;
    {
      const EnvironmentVariable library("LD_PRELOAD", (kPrograms + "/libfile_faults.so").c_str());
      const EnvironmentVariable last("SQM_KILL_AT_WRITE", std::to_string(write).c_str());
      collector.emplace(std::vector<std::string>{kPrograms + "/sqm-collector", "--port", "0", "--database", file},
                        /*readsOutput=*/true);
    }
    collector->readLine();
    collector->terminate();
    const int status = collector->wait();
    isKilled = status == 128 + SIGKILL;
    EXPECT_TRUE(isKilled || status == 0) << status;
    check(file);
  }
}

TEST(SqliteConversion, KeepsWhatTheFirstVersionStored) {
  const TemporaryFolder folder;
  makeVersion1(folder / "kept.db", 3);
  for (unsigned i = 1; i <= 2; ++i) {
    const auto storage = openStorage({.database = folder / "kept.db"}, FieldMapping());
    EXPECT_EQ(recordsOf(*storage).size(), 6U);
    EXPECT_EQ(requestsOf(*storage).size(), std::size_t{2} + i);
    EXPECT_EQ(storage->record(3)->raw, plainRecord("2"));
    EXPECT_EQ(storage->lastRecordUpTo(2), 4);
    EXPECT_EQ(storage->last().request, 2 + i);
    EXPECT_EQ(storage->last().record, 6);
    EXPECT_EQ(add(*storage, documentOf({plainRecord("1"), knownRecord("c", "3")})).duplicates, 2);
  }
}

TEST(SqliteConversion, MakesTheFactsOfTheRecords) {
  const TemporaryFolder folder;
  makeVersion1(folder / "kept.db", 3);
  const auto storage = openStorage({.database = folder / "kept.db"}, FieldMapping());
  const auto facts = storage->facts({}, {ConnectionFact::Time::max()}, 10);
  ASSERT_EQ(facts.size(), 3U);
  EXPECT_EQ(facts[0].id, 6);
  EXPECT_EQ(facts[0].fact.session, "3");
  EXPECT_EQ(facts[0].fact.time, timeIn("2026-11-21T08:00:00Z")) << "it arrived before the time that it has";
  const ArrivalCounts counts = storage->arrivals(ConnectionFact::Time::min(), ConnectionFact::Time::max());
  EXPECT_EQ(counts.posts, 3);
  EXPECT_EQ(counts.records, 6);
}

TEST(SqliteConversion, OfAFileWithoutRequestsGivesAnEmptyOne) {
  const TemporaryFolder folder;
  makeVersion1(folder / "kept.db", 0);
  const auto storage = openStorage({.database = folder / "kept.db"}, FieldMapping());
  EXPECT_TRUE(storage->requests(0, 10).empty());
  EXPECT_EQ(add(*storage, documentOf({plainRecord("1")})).id, 1);
}

TEST(SqliteConversion, OfTheSecondVersionMakesTheSamples) {
  const TemporaryFolder folder;
  makeVersion2(folder / "kept.db", 100);
  std::vector<std::string> expected;
  for (int client = 99; client >= 0; --client) {
    if (sampleOf(std::to_string(client), "1", 0) < 512) expected.push_back(std::to_string(client));
  }
  for (int start = 1; start <= 2; ++start) {
    EXPECT_EQ(sampledClients(*openStorage({.database = folder / "kept.db"})), expected);
  }
}

TEST(SqliteConversion, OfTheSecondVersionWithoutFactsLeavesNoneToConvert) {
  const TemporaryFolder folder;
  makeVersion2(folder / "kept.db", 100);
  sqlite::Connection(folder / "kept.db").run("DROP TABLE facts; DROP TABLE clients; DROP TABLE minutes");
  for (std::size_t start = 1; start <= 2; ++start) {
    const auto storage = openStorage({.database = folder / "kept.db"});
    add(*storage, documentOf({knownRecord("new", std::to_string(start))}));
    EXPECT_EQ(storage->facts({}, {ConnectionFact::Time::max()}, 10).size(), start);
    EXPECT_EQ(recordsOf(*storage).size(), 100 + start);
  }
}

TEST(SqliteConversion, ThatIsKilledIsDoneByTheNextStart) {
  constexpr int kRequests = 300;
  killConversions([](const std::string& file) { makeVersion1(file, kRequests); },
                  [](const std::string& file) {
                    const auto storage = openStorage({.database = file}, FieldMapping());
                    EXPECT_EQ(recordsOf(*storage).size(), std::size_t{2 * kRequests});
                    EXPECT_EQ(add(*storage, documentOf({plainRecord("1"), knownRecord("c", "300")})).duplicates, 2);
                  });
}

TEST(SqliteConversion, OfTheSecondVersionThatIsKilledIsDoneByTheNextStart) {
  std::vector<std::string> expected;
  killConversions([](const std::string& file) { makeVersion2(file, 1000); },
                  [&expected](const std::string& file) {
                    const auto sampled = sampledClients(*openStorage({.database = file}));
                    if (expected.empty()) expected = sampled;
                    EXPECT_EQ(sampled, expected);
                    EXPECT_NEAR(static_cast<double>(sampled.size()), 125, 3 * 11);
                  });
}

TEST(SqliteConversion, ReadsWhatWasStoredWithoutSpans) {
  const TemporaryFolder folder;
  {
    const auto storage = openStorage({.database = folder / "kept.db"});
    for (const char* day : {"2026-11-22", "2026-11-21"}) {
      add(*storage, documentOf({plainRecord(day)}), day + std::string("T10:00:00.000Z"));
    }
  }
  sqlite::Connection(folder / "kept.db").run("DROP TABLE spans");
  const auto storage = openStorage({.database = folder / "kept.db"});
  add(*storage, documentOf({plainRecord("3")}), "2026-11-23T10:00:00.000Z");
  EXPECT_EQ(recordsOf(*storage).size(), 3U);
  EXPECT_EQ(storage->requests(0, 10).size(), 2U) << "of all days before the first span";
  EXPECT_EQ(storage->lastRecordUpTo(2), 2);
}

}  // namespace
