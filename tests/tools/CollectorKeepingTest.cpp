// What the collection server answers is stored, and what it cannot store it does not answer.

#include <chrono>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/system/Environment.h"
#include "tests/support/Bytes.h"
#include "tests/tools/CollectorClient.h"
#include "tools/collector/storage/Sqlite.h"

namespace {

using collector::sqlite::Connection;
using collector::sqlite::Statement;
using sqm::platform::test::EnvironmentVariable;

const char* const kFull =
    "CREATE TRIGGER full BEFORE UPDATE ON last BEGIN SELECT RAISE(ABORT, 'the disk is full'); END";

/// Posts a body on a connection of its own.
void sendPost(const RawConnection& connection, const std::string& path, const std::string& body = "a") {
  connection.send("POST " + path + " HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(body.size()) +
                  "\r\n\r\n" + body);
}

TEST(CollectorKeeping, ResetsTheConnectionOfABodyThatCannotBeStoredInTime) {
  const TemporaryFolder folder;
  CollectorClient client({"--database", folder / "kept.db", "--patience", "1"});
  EXPECT_EQ(client.post("/queue", "a"), 200);
  Connection(folder / "kept.db").run(kFull);
  RawConnection raw(client.port());
  sendPost(raw, "/connection", kDocument);
  EXPECT_EQ(raw.readAll(), "") << "clients take any status for delivery";
  EXPECT_TRUE(raw.isReset());
  EXPECT_EQ(client.get("/_records").size(), 1U) << "a request is stored whole or not at all";
  Connection(folder / "kept.db").run("DROP TRIGGER full");
  EXPECT_EQ(client.post("/queue", "b"), 200);
  EXPECT_EQ(client.get("/_requests").size(), 2U) << "what was given up is not stored later";
}

TEST(CollectorKeeping, HoldsABodyUntilItCanBeStored) {
  const TemporaryFolder folder;
  CollectorClient client({"--database", folder / "kept.db", "--patience", "250"});
  Connection other(folder / "kept.db");
  other.run("BEGIN IMMEDIATE");
  RawConnection first(client.port());
  RawConnection second(client.port());
  sendPost(first, "/first");
  sendPost(second, "/second");
  EXPECT_EQ(client.get("/_requests").size(), 0U) << "reading goes on";
  other.run("ROLLBACK");
  EXPECT_TRUE(first.readUntil("kept\n").starts_with("HTTP/1.1 200 "));
  EXPECT_TRUE(second.readUntil("kept\n").starts_with("HTTP/1.1 200 "));
  EXPECT_EQ(client.get("/_requests").size(), 2U);
}

TEST(CollectorKeeping, StoresABodyThatTakesLongerToArriveThanToBeStored) {
  CollectorClient client({"--patience", "5"});
  RawConnection raw(client.port());
  raw.send("POST /queue HTTP/1.1\r\nHost: localhost\r\nContent-Length: 2\r\n\r\na");
  std::this_thread::sleep_for(std::chrono::seconds(6));
  raw.send("b");
  EXPECT_TRUE(raw.readUntil("kept\n").starts_with("HTTP/1.1 200 "));
}

TEST(CollectorKeeping, StoresTheOthersWhenOneBodyCannotBeStored) {
  const TemporaryFolder folder;
  CollectorClient client({"--database", folder / "kept.db", "--patience", "250"});
  Connection database(folder / "kept.db");
  Statement day(database, "SELECT day FROM days");
  ASSERT_TRUE(day.next());
  const std::string table = "requests_" + day.text(0);
  day.reset();
  database.run(("CREATE TRIGGER one BEFORE INSERT ON " + table +
                " WHEN NEW.path = '/never' BEGIN SELECT RAISE(ABORT, 'never'); END")
                   .c_str());
  RawConnection never(client.port());
  sendPost(never, "/never");
  for (int i = 0; i < 20; ++i) EXPECT_EQ(client.post("/sqm", ""), 200);
  EXPECT_EQ(client.get("/_requests").size(), 20U);
  EXPECT_EQ(client.collector().end(), 0);
  EXPECT_EQ(never.readAll(), "");
  EXPECT_TRUE(never.isReset());
}

TEST(CollectorKeeping, LeavesBodiesUnreadThatFindNoRoom) {
  const TemporaryFolder folder;
  CollectorClient client({"--database", folder / "kept.db", "--patience", "250", "--in-flight", "1"});
  Connection other(folder / "kept.db");
  other.run("BEGIN IMMEDIATE");
  const std::string body(1 << 20, 'a');
  RawConnection first(client.port());
  sendPost(first, "/first", body);
  RawConnection second(client.port());
  sendPost(second, "/second", body);
  other.run("ROLLBACK");
  EXPECT_TRUE(first.readUntil("kept\n").starts_with("HTTP/1.1 200 "));
  EXPECT_TRUE(second.readUntil("kept\n").starts_with("HTTP/1.1 200 "));
}

TEST(CollectorKeeping, EndsWithWhatCannotBeStoredReset) {
  const TemporaryFolder folder;
  CollectorClient client({"--database", folder / "kept.db", "--patience", "3600"});
  Connection(folder / "kept.db").run(kFull);
  std::vector<std::unique_ptr<RawConnection>> waiting;
  for (int i = 0; i < 5; ++i) {
    waiting.push_back(std::make_unique<RawConnection>(client.port()));
    sendPost(*waiting.back(), "/sqm");
  }
  EXPECT_EQ(client.collector().end(), 0);
  for (const auto& connection : waiting) EXPECT_EQ(connection->readAll(), "");
}

TEST(CollectorKeeping, LosesNothingThatWasAnsweredWhenItIsKilled) {
  const TemporaryFolder folder;
  constexpr int kClients = 4;
  for (int round = 0; round < 3; ++round) {
    CollectorClient client({"--database", folder / "kept.db"});
    std::vector<std::vector<std::string>> answered(kClients);
    std::vector<std::thread> clients;
    clients.reserve(kClients);
    for (int each = 0; each < kClients; ++each) {
      clients.emplace_back([&, each] {
        httplib::Client http("127.0.0.1", client.port());
        http.set_keep_alive(true);
        for (int n = 0;; ++n) {
          const std::string path = "/" + std::to_string(round) + "-" + std::to_string(each) + "-" + std::to_string(n);
          const auto answer = http.Post(path, "", "text/plain");
          if (!answer) return;  // the server was killed
          EXPECT_EQ(answer->status, 200);
          answered[static_cast<std::size_t>(each)].push_back(path);
        }
      });
    }
    while (client.get("/_requests").size() < 200) {
    }
    client.collector().kill();
    for (std::thread& thread : clients) thread.join();
    CollectorClient again({"--database", folder / "kept.db"});
    std::set<std::string> kept;
    for (const auto& request : again.get("/_requests")) {
      EXPECT_TRUE(kept.insert(request.at("path")).second) << "stored twice";
    }
    for (const auto& paths : answered) {
      for (const std::string& path : paths) EXPECT_TRUE(kept.contains(path)) << path;
    }
  }
}

TEST(CollectorKeeping, SyncsWhatItHasAnswered) {
  // What is not synced is lost: the second server gets the files as they were at their last sync.
  const TemporaryFolder folder;
  const TemporaryFolder synced;
  {
    // Copies each file that it syncs to a folder.
    const EnvironmentVariable library("LD_PRELOAD", (kPrograms + "/libfile_faults.so").c_str());
    const EnvironmentVariable copies("SQM_SYNCED_COPIES", synced.path().c_str());
    CollectorClient client({"--database", folder / "kept.db"});
    for (int i = 1; i <= 20; ++i) {
      EXPECT_EQ(client.post("/sqm", std::to_string(i)), 200);
      const TemporaryFolder afterLossOfPower;
      for (const std::string& name : synced.names()) {
        std::filesystem::copy_file(synced / name, afterLossOfPower / name);
      }
      Connection database(afterLossOfPower / "kept.db");
      Statement count(database, "SELECT count(*) FROM requests");
      ASSERT_TRUE(count.next());
      EXPECT_EQ(count.number(0), i);
    }
  }
}

}  // namespace
