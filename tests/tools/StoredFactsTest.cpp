// The facts of records in a database.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/tools/PostedRecords.h"
#include "tools/collector/storage/Samples.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;
using Fact = ConnectionFact;
using Time = Fact::Time;

TEST(StoredFacts, AreReadAsTheyWere) {
  PostedRecords posted;
  posted.post(
      "<connectionList><connectionRecord><eventTime>2026-11-21T11:00:00.250Z</eventTime><clientId>c</clientId>"
      "<event>start</event><mobile><sessionId>s</sessionId><connectionStatus>failed</connectionStatus>"
      "<loginResult>no <![CDATA[& yes]]></loginResult><carrier>Caf\u00E9 ' \"</carrier><technology>LTE</technology>"
      "<roaming>1</roaming><receivedPower>-97</receivedPower><attachSeconds>1.5</attachSeconds></mobile>"
      "</connectionRecord></connectionList>");
  const auto rows = posted.facts();
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].id, 1);
  const Fact expected = {.time = kNoon - 1h + 250ms,
                         .age = 1h - 250ms,
                         .medium = Fact::Medium::mobile,
                         .isStart = true,
                         .outcome = Fact::Outcome::failed,
                         .client = "c",
                         .session = "s",
                         .network = "Caf\u00E9 ' \"",
                         .reason = "no & yes",
                         .technology = "LTE",
                         .connecting = 1500ms,
                         .signal = -97,
                         .isRoaming = true};
  EXPECT_EQ(rows[0].fact, expected);
}

TEST(StoredFacts, WithoutOptionalValuesAreReadAsTheyWere) {
  PostedRecords posted;
  posted.post("<connectionList><c><event>stop</event></c></connectionList>");
  const auto rows = posted.facts();
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0].fact, (Fact{.time = kNoon}));
}

TEST(StoredFacts, AreReadPieceByPieceFromTheNewest) {
  PostedRecords posted;
  int client = 0;
  for (int minute : {3, 1, 2, 2, 2, 4}) posted.postConnection(kNoon - minute * 1min, std::to_string(++client));
  std::vector<std::int64_t> ids;
  for (FactPosition before{kNoon - 1min};;) {
    const auto rows = posted.facts({.from = kNoon - 3min}, before, 2);
    if (rows.empty()) break;
    EXPECT_LE(rows.size(), 2U);
    for (const FactRow& row : rows) ids.push_back(row.id);
    before = {rows.back().fact.time, rows.back().id};
  }
  EXPECT_EQ(ids, (std::vector<std::int64_t>{5, 4, 3, 1}));
}

TEST(StoredFacts, AreSelectedByMediumNetworkAndVersion) {
  PostedRecords posted;
  posted.post(
      "<connectionList><r><event>start</event><wifi><ssid>office</ssid><productVersion>4.70</productVersion></wifi></r>"
      "<r><event>start</event><wifi><ssid>hotel</ssid><productVersion>4.71</productVersion></wifi></r>"
      "<r><event>start</event><mobile><carrier>hotel</carrier></mobile></r></connectionList>");
  posted.post(
      "<sqmList><vpn><vpnEvent>start</vpnEvent><gateway>g</gateway><vpnClientVersion>4.71</vpnClientVersion></vpn>"
      "</sqmList>");
  const auto idsWith = [&posted](const FactFilter& filter) {
    std::vector<std::int64_t> ids;
    for (const FactRow& row : posted.facts(filter)) ids.push_back(row.id);
    return ids;
  };
  using Ids = std::vector<std::int64_t>;
  EXPECT_EQ(idsWith({}), (Ids{4, 3, 2, 1}));
  EXPECT_EQ(idsWith({.medium = Fact::Medium::mobile}), (Ids{4, 3})) << "a VPN session has no medium";
  EXPECT_EQ(idsWith({.network = "hotel"}), (Ids{4, 3, 2}));
  EXPECT_EQ(idsWith({.medium = Fact::Medium::wiFi, .network = "hotel"}), (Ids{4, 2}));
  EXPECT_EQ(idsWith({.version = "4.71"}), (Ids{4, 2}));
  EXPECT_EQ(idsWith({.version = "4.70"}), (Ids{1}));
  EXPECT_EQ(idsWith({.network = "' OR 1=1 --"}), (Ids{4}));
}

TEST(StoredFacts, AreCountedUpToALimit) {
  PostedRecords posted;
  for (int minute : {3, 2, 1}) posted.postConnection(kNoon - minute * 1min);
  const auto counted = [&posted](Time from, Time before, std::int64_t most) {
    return posted.storage().countFacts(from, before, 1, most);
  };
  EXPECT_EQ(counted(kNoon - 3min, kNoon, 10), 3);
  EXPECT_EQ(counted(kNoon - 2min, kNoon, 10), 2);
  EXPECT_EQ(counted(kNoon - 3min, kNoon - 1min, 10), 2);
  EXPECT_EQ(counted(kNoon - 3min, kNoon, 2), 2);
}

TEST(StoredFacts, OfASampleAreAllThoseOfItsClients) {
  PostedRecords posted;
  std::string records;
  const auto record = [&records](const std::string& client, const std::string& session, const std::string& event) {
    records += "<r><clientId>" + client + "</clientId><event>" + event + "</event><wifi><sessionId>" + session +
               "</sessionId></wifi></r>";
  };
  for (int client = 0; client < 300; ++client) {
    for (const char* event : {"start", "stop"}) {
      record("DOMAIN\\Zoë '" + std::to_string(client), "s", event);
      record("", "session " + std::to_string(client), event);
    }
    record("", "", "start");
  }
  posted.post("<connectionList>" + records + "</connectionList>");
  const auto all = posted.facts();
  ASSERT_EQ(all.size(), 1500U);
  for (const std::int64_t oneIn : kSamples) {
    std::vector<std::int64_t> expected;
    std::vector<std::int64_t> found;
    for (const auto& [id, fact] : all) {
      if (sampleOf(fact.client, fact.session, id) < 4096 / oneIn) expected.push_back(id);
    }
    for (const FactRow& row : posted.facts({.oneIn = oneIn})) found.push_back(row.id);
    EXPECT_EQ(found, expected) << oneIn;
    EXPECT_EQ(posted.storage().countFacts(Time::min(), Time::max(), oneIn, 10'000),
              static_cast<std::int64_t>(expected.size()));
  }
}

TEST(StoredFacts, HaveTheVersionThatTheirClientReportedLast) {
  PostedRecords posted;
  posted.postConnection(kNoon - 5min);
  posted.postClient("c", "4.70");
  posted.postClient("other", "1.0");
  posted.postConnection(kNoon - 4min);
  posted.postClient("c", "4.71");
  posted.postConnection(kNoon - 3min);
  posted.post(
      "<sqmList><vpn><vpnEvent>start</vpnEvent><userName>c</userName><vpnClientVersion>2</vpnClientVersion>"
      "</vpn></sqmList>");
  std::vector<std::string> versions;
  for (const FactRow& row : posted.facts()) versions.push_back(row.fact.version);
  EXPECT_EQ(versions, (std::vector<std::string>{"2", "4.71", "4.70", ""}));
}

TEST(StoredFacts, GoWithTheirRecords) {
  PostedRecords posted({.database = "", .mostRequests = 2});
  for (int minute = 5; minute > 0; --minute) posted.postConnection(kNoon - minute * 1min);
  const auto rows = posted.facts();
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[1].id, 4);
}

TEST(StoredFacts, GoWithTheNamesOfTheirClientsAndTheSumsOfTheirMinutesWhenTheirDaysAreGone) {
  PostedRecords posted({.mostDays = 2});
  const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
  const auto postFact = [&](const std::string& client, Time at) {
    posted.post("<connectionList><c><clientId>" + client + "</clientId><event>start</event><at>" +
                    sqm::isoTimeStamp(at) + "</at></c></connectionList>",
                at);
  };
  for (const char* client : {"gone", "seen"}) posted.postClient(client, "4.70", today - 48h);
  postFact("gone", today - 36h);
  postFact("seen", today - 24h);
  while (posted.storage().tidy()) {
  }
  postFact("gone", today);
  postFact("seen", today);
  std::vector<std::string> versions;
  for (const FactRow& row : posted.facts()) versions.push_back(row.fact.client + " " + row.fact.version);
  EXPECT_EQ(versions, (std::vector<std::string>{"seen 4.70", "gone ", "seen 4.70"}));
  EXPECT_EQ(posted.storage().arrivals(Time::min(), today - 24h - 1min).posts, 0);
  EXPECT_EQ(posted.storage().arrivals(today - 24h, today).posts, 3);
}

TEST(StoredFacts, SurviveARestartOfTheServer) {
  PostedRecords posted;
  posted.postConnection(kNoon - 1h);
  posted.reopen();
  posted.postConnection(kNoon);
  EXPECT_EQ(posted.facts().size(), 2U);
}

TEST(StoredArrivals, AreSumsOfMinutes) {
  PostedRecords posted;
  posted.post("<connectionList><c/><c/></connectionList>", kNoon);
  posted.post("<connectionList><c/><c>", kNoon + 59s);
  posted.post("<connectionList><c/></connectionList>", kNoon + 60s);
  const ArrivalCounts first = posted.storage().arrivals(kNoon, kNoon + 59s);
  EXPECT_EQ(first.posts, 2);
  EXPECT_EQ(first.records, 4);
  EXPECT_EQ(first.problems, 1);
  EXPECT_EQ(posted.storage().arrivals(kNoon - 1h, kNoon + 1h).posts, 3);
  EXPECT_EQ(posted.storage().arrivals(kNoon - 1h, kNoon - 1min).posts, 0);
}

}  // namespace
