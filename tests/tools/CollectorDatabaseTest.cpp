// What the collection server keeps outlives it; what is not its own it leaves alone.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/tools/CollectorClient.h"
#include "tools/collector/storage/Sqlite.h"

namespace {

const std::string kCollector = kPrograms + "/sqm-collector";

Outcome runWith(const std::string& database) { return runProgram({kCollector, "--port", "0", "--database", database}); }

TEST(CollectorDatabase, OutlivesTheServer) {
  const TemporaryFolder folder;
  const std::string file = folder / "kept.db";
  nlohmann::json requests;
  nlohmann::json records;
  {
    CollectorClient client({"--database", file});
    client.post("/connection", kDocument);
    client.post("/queue", "a");
    requests = client.get("/_requests");
    records = client.get("/_records");
    EXPECT_EQ(client.collector().end(), 0);
  }
  EXPECT_EQ(folder.names(), std::vector<std::string>{"kept.db"});
  CollectorClient client({"--database", file});
  EXPECT_EQ(client.get("/_requests"), requests);
  EXPECT_EQ(client.get("/_records"), records);
  client.post("/queue", "b");
  EXPECT_EQ(client.get("/_requests").back().at("id"), 3);
  EXPECT_EQ(client.get("/_records").back().at("id"), 4);
}

TEST(CollectorDatabase, OutlivesACrash) {
  const TemporaryFolder folder;
  const std::string file = folder / "kept.db";
  for (int run = 1; run <= 3; ++run) {
    CollectorClient client({"--database", file});
    EXPECT_EQ(client.post("/connection", documentAt(run)), 200);
    EXPECT_EQ(client.get("/_requests").size(), static_cast<std::size_t>(run));
    EXPECT_EQ(client.get("/_records").size(), static_cast<std::size_t>(2 * run));
    client.collector().kill();
  }
}

TEST(CollectorDatabase, IsForItsUserAlone) {
  const TemporaryFolder folder;
  CollectorClient client({"--database", folder / "kept.db"});
  client.post("/queue", "a");
  using std::filesystem::perms;
  for (const std::string& name : folder.names()) {
    EXPECT_EQ(permissionsOf(folder / name) & (perms::group_all | perms::others_all), perms::none) << name;
  }
}

TEST(CollectorDatabase, AnswersQuestionsWhileItIsWritten) {
  const TemporaryFolder folder;
  CollectorClient client({"--database", folder / "kept.db"});
  client.post("/connection", kDocument);
  collector::sqlite::Connection connection(folder / "kept.db");
  collector::sqlite::Statement fields(connection, "SELECT value FROM fields WHERE name = ? ORDER BY record, position");
  fields.bind("ssid");
  ASSERT_TRUE(fields.next());
  EXPECT_EQ(fields.text(0), "Café & Bar");
  EXPECT_FALSE(fields.next());
}

TEST(CollectorDatabase, OfAnotherProgramStaysAsItIs) {
  const TemporaryFolder folder;
  const std::string other = folder / "other.db";
  const std::string text = folder / "text.txt";
  const std::string newer = folder / "newer.db";
  collector::sqlite::Connection(other).run("CREATE TABLE requests (id INTEGER PRIMARY KEY, body BLOB)");
  collector::sqlite::Connection(newer).run(
      "PRAGMA application_id = 0x53514D43; PRAGMA user_version = 1000; CREATE TABLE a (b)");
  putContent(text, "no database at all");
  for (const std::string& file : {other, text, newer}) {
    const std::string before = contentOf(file);
    const Outcome outcome = runWith(file);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("'" + file + "'"), std::string::npos) << outcome.err;
    EXPECT_EQ(contentOf(file), before);
  }
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"newer.db", "other.db", "text.txt"}));
}

TEST(CollectorDatabase, ThatCannotBeOpenedIsAFailure) {
  const TemporaryFolder folder;
  const std::string damaged = folder / "damaged.db";
  {
    CollectorClient client({"--database", damaged});
    client.post("/queue", "a");
    EXPECT_EQ(client.collector().end(), 0);
  }
  putContent(damaged, contentOf(damaged).substr(0, 100) + std::string(4000, 'x'));
  for (const std::string& file : {folder.path(), folder / "missing/kept.db", damaged}) {
    const Outcome outcome = runWith(file);
    EXPECT_EQ(outcome.status, 1) << file;
    EXPECT_EQ(outcome.out, "") << file;
    EXPECT_NE(outcome.err.find("'" + file + "'"), std::string::npos) << outcome.err;
  }
}

TEST(CollectorDatabase, ThatIsEmptyIsTakenIntoUse) {
  const TemporaryFolder folder;
  putContent(folder / "empty.db", "");
  CollectorClient client({"--database", folder / "empty.db"});
  EXPECT_EQ(client.post("/queue", "a"), 200);
}

}  // namespace
