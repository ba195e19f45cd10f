// What the storage in PostgreSQL does when the database is lost or does not confirm.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Programs.h"
#include "tests/tools/CollectorClient.h"
#include "tests/tools/storage/Arrivals.h"
#include "tests/tools/storage/PostgresServer.h"
#include "tools/collector/storage/Postgres.h"

namespace {

using namespace collector;
using postgres::Connection;
using postgres::Statement;

class PostgresTest : public testing::Test {
 protected:
  /// Waits until a query returns a row.
  static void waitFor(const std::string& query) {
    Connection connection(PostgresServer::shared().address());
    while (connection.run({Statement(query)})[0].size() == 0) {
    }
  }

  /// Has each commit wait for a standby of this name; an empty one ends that.
  static void setStandby(const std::string& name) {
    Connection connection(PostgresServer::shared().address());
    connection.run("ALTER SYSTEM SET synchronous_standby_names = '" + name + "'");
    connection.run("SELECT pg_reload_conf()");
    waitFor("SELECT 1 FROM pg_settings WHERE name = 'synchronous_standby_names' AND setting = '" + name + "'");
  }

  const std::string address = PostgresServer::shared().createDatabase();
  const std::string database = address.substr(14, address.find('?') - 14);
};

/// The records of 100 clients.
std::string recordsOfClients() {
  std::string records;
  for (int client = 0; client < 100; ++client) records += knownRecord(std::to_string(client), "1");
  return records;
}

/// The numbers of the facts of 1 in 8 clients.
std::vector<std::int64_t> sampled(Storage& storage) {
  std::vector<std::int64_t> ids;
  for (const FactRow& row : storage.facts({.oneIn = 8}, {ConnectionFact::Time::max()}, 100)) ids.push_back(row.id);
  return ids;
}

/// Removes what an earlier version did not have.
constexpr const char* kMakeEarlier = "ALTER TABLE facts DROP COLUMN sample; ALTER TABLE clients DROP COLUMN day";

TEST_F(PostgresTest, ConnectsAgainWhenItsConnectionsWereLost) {
  const auto storage = openStorage({.database = address});
  add(*storage, documentOf({plainRecord("1")}));
  EXPECT_EQ(recordsOf(*storage).size(), 1U);
  Connection(PostgresServer::shared().address())
      .run("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" + database + "'");
  EXPECT_THROW(add(*storage, documentOf({plainRecord("2")})), postgres::Error);
  EXPECT_EQ(add(*storage, documentOf({plainRecord("1"), plainRecord("2")})).duplicates, 1);
  EXPECT_EQ(recordsOf(*storage).size(), 2U) << "reading tries again by itself";
}

TEST_F(PostgresTest, TakesACommitThatItsStandbyDidNotConfirmForNone) {
  const auto storage = openStorage({.database = address});
  add(*storage, documentOf({plainRecord("1")}));
  setStandby("missing");
  auto adding = std::async(std::launch::async, [&] { add(*storage, documentOf({plainRecord("2")})); });
  waitFor("SELECT 1 FROM pg_stat_activity WHERE wait_event = 'SyncRep' AND datname = '" + database + "'");
  Connection(PostgresServer::shared().address())
      .run("SELECT pg_cancel_backend(pid) FROM pg_stat_activity WHERE wait_event = 'SyncRep'");
  EXPECT_THROW(adding.get(), postgres::Error);
  setStandby("");
  EXPECT_EQ(add(*storage, documentOf({plainRecord("2"), plainRecord("3")})).duplicates, 1);
  EXPECT_EQ(recordsOf(*storage).size(), 3U) << "sent again, it is stored once";
}

TEST_F(PostgresTest, StoresARequestOnceWhoseConnectionWasCutInItsCommit) {
  const auto storage = openStorage({.database = address});
  const auto arrival = arrivalOf(documentOf({plainRecord("1")}));
  Arrival* const group[] = {arrival.get()};
  setStandby("missing");
  auto adding = std::async(std::launch::async, [&] { storage->add(group); });
  waitFor("SELECT 1 FROM pg_stat_activity WHERE wait_event = 'SyncRep' AND datname = '" + database + "'");
  Connection(PostgresServer::shared().address())
      .run("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE wait_event = 'SyncRep'");
  EXPECT_THROW(adding.get(), postgres::Error);
  setStandby("");
  storage->add(group);
  EXPECT_EQ(storage->requests(0, 10).size(), 1U);
  EXPECT_EQ(arrival->request.duplicates, 0);
  EXPECT_EQ(recordsOf(*storage).size(), 1U);
}

TEST_F(PostgresTest, LeavesNothingThatWaitsForALockWhenItGivesUp) {
  const auto storage = openStorage({.database = address});
  Connection holder(address);
  holder.run("BEGIN; SELECT FROM last FOR UPDATE");
  const std::string waiting =
      "SELECT FROM pg_stat_activity WHERE wait_event_type = 'Lock' AND datname = '" + database + "'";
  for (int attempt = 0; attempt < 3; ++attempt) {
    Connection connection(address);
    EXPECT_THROW(connection.run("SELECT FROM last FOR UPDATE", std::chrono::seconds(1)), postgres::Error);
    waitFor(waiting);
  }
  waitFor("SELECT WHERE NOT EXISTS (" + waiting + ")");
}

TEST_F(PostgresTest, LeavesACommitThatWaitsForItsStandbyWhenItGivesUp) {
  const auto storage = openStorage({.database = address});
  setStandby("missing");
  {
    Connection connection(address);
    EXPECT_THROW(connection.run("UPDATE last SET request = 7", std::chrono::seconds(1)), postgres::Error);
  }
  // The lock is free when the commit ends. A backend that waits for it notices meanwhile that its client is gone.
  {
    Connection connection(address);
    EXPECT_THROW(connection.run("SELECT FROM last FOR UPDATE", std::chrono::seconds(1)), postgres::Error);
  }
  const std::string ours = "SELECT FROM pg_stat_activity WHERE datname = '" + database + "' AND wait_event";
  waitFor("SELECT WHERE NOT EXISTS (" + ours + "_type = 'Lock')");
  waitFor(ours + " = 'SyncRep'");
  setStandby("");
  while (storage->last().request != 7) {
  }
}

TEST_F(PostgresTest, ReadsWhatAnEarlierVersionStored) {
  const auto storage = openStorage({.database = address});
  for (const char* day : {"2026-11-22", "2026-11-21"}) {
    add(*storage, documentOf({plainRecord(day)}), day + std::string("T10:00:00.000Z"));
  }
  Connection(address).run("DELETE FROM spans");
  add(*storage, documentOf({plainRecord("3")}), "2026-11-23T10:00:00.000Z");
  EXPECT_EQ(recordsOf(*storage).size(), 3U);
  EXPECT_EQ(storage->lastRecordUpTo(2), 2);
}

TEST_F(PostgresTest, MakesTheSamplesOfFactsThatAnEarlierVersionStored) {
  const auto before = openStorage({.database = address});
  add(*before, documentOf({recordsOfClients()}));
  const auto ids = sampled(*before);
  EXPECT_NEAR(static_cast<double>(ids.size()), 12.5, 3 * 3.3);
  Connection(address).run(kMakeEarlier);
  const auto after = openStorage({.database = address});
  EXPECT_EQ(sampled(*after), ids);
  add(*before, documentOf({knownRecord("0", "2")}));
  EXPECT_EQ(after->facts({}, {ConnectionFact::Time::max()}, 1000).size(), 101U)
      << "a server that was there before goes on";
}

TEST_F(PostgresTest, ConvertsAgainWhenItWasEndedInTheMiddle) {
  add(*openStorage({.database = address}), documentOf({recordsOfClients()}));
  const auto ids = sampled(*openStorage({.database = address}));
  Connection connection(address);
  connection.run(kMakeEarlier);
  {
    // It waits for a reader of the facts when it has changed the clients.
    Connection reader(address);
    reader.run("BEGIN; LOCK TABLE facts IN ACCESS SHARE MODE");
    auto conversion = std::async(std::launch::async, [&] { openStorage({.database = address}); });
    const std::string waiting = "FROM pg_stat_activity WHERE datname = '" + database + "' AND wait_event_type = 'Lock'";
    waitFor("SELECT " + waiting);
    connection.run("SELECT pg_terminate_backend(pid) " + waiting);
    EXPECT_THROW(conversion.get(), CannotOpen);
  }
  connection.run("SELECT client, version FROM clients");
  EXPECT_THROW(connection.run("SELECT day FROM clients"), postgres::Error);
  EXPECT_EQ(sampled(*openStorage({.database = address})), ids);
}

TEST_F(PostgresTest, OpensWhileAnotherServerWrites) {
  add(*openStorage({.database = address}), documentOf({plainRecord("1")}));
  Connection writer(address);
  writer.run("BEGIN; LOCK TABLE facts, spans IN ROW EXCLUSIVE MODE");
  EXPECT_EQ(recordsOf(*openStorage({.database = address})).size(), 1U);
}

TEST_F(PostgresTest, DoesNotHaveManyWaitForAReport) {
  CollectorClient client({"--database", address});
  EXPECT_EQ(client.post("/connection", kDocument), 200);
  Connection lock(address);
  lock.run("BEGIN; LOCK TABLE facts");
  std::atomic<int> refused = 0;
  std::vector<std::future<int>> reports;
  reports.reserve(20);
  for (int i = 0; i < 20; ++i) {
    reports.push_back(std::async(std::launch::async, [&] {
      httplib::Client http("127.0.0.1", client.port());
      http.set_read_timeout(kPatience);
      const auto answer = http.Get("/_service");
      const int status = answer ? answer->status : 0;
      if (status == 503) ++refused;
      return status;
    }));
  }
  while (refused < 11) std::this_thread::yield();
  EXPECT_EQ(client.get("/_records").size(), 2U) << "others go on";
  lock.run("COMMIT");
  int made = 0;
  for (auto& report : reports) made += report.get() == 200 ? 1 : 0;
  EXPECT_EQ(made, 9) << "one, and those that waited for it";
}

TEST_F(PostgresTest, IsAFailureToOpenWhenItIsNotThere) {
  const Outcome outcome = runProgram(
      {kPrograms + "/sqm-collector", "--port", "0", "--database", "postgresql:///x?host=/nowhere&connect_timeout=1"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("/nowhere"), std::string::npos) << outcome.err;
}

}  // namespace
