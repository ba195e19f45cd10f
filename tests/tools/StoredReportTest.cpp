// The report on what a database contains.

#include <chrono>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/tools/PostedRecords.h"
#include "tools/collector/service/StoredReport.h"
#include "tools/collector/storage/Samples.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;

TEST(StoredReport, IsAboutTheFactsOfItsWindow) {
  PostedRecords posted;
  for (int hour : {30, 20, 10, 0}) posted.postConnection(kNoon - hour * 1h);
  const Json report = storedReport(posted.storage(), {.from = kNoon - 24h, .to = kNoon});
  EXPECT_EQ(report["facts"], 2);
  EXPECT_EQ(report["success"]["connected"], 2);
  EXPECT_EQ(report["isCut"], false);
  EXPECT_EQ(report["stored"]["records"], 4);
  EXPECT_EQ(report["stored"]["newest"], "2026-11-21T12:00:00.000Z");
  EXPECT_EQ(report["pipeline"]["posts"], 4) << "they all arrived at noon";
}

TEST(StoredReport, SaysWhatIsThereWhenTheWindowIsEmpty) {
  PostedRecords posted;
  const ServiceQuery query = {.from = kNoon, .to = kNoon + 1h};
  EXPECT_EQ(storedReport(posted.storage(), query)["stored"].dump(), R"({"records":0,"newest":null})");
  posted.post("<deviceList><d/></deviceList>");
  EXPECT_EQ(storedReport(posted.storage(), query)["stored"].dump(), R"({"records":1,"newest":null})");
  posted.postConnection(kNoon - 24h);
  EXPECT_EQ(storedReport(posted.storage(), query)["stored"].dump(),
            R"({"records":2,"newest":"2026-11-20T12:00:00.000Z"})");
}

const ServiceQuery kDay = {.from = kNoon - 24h, .to = kNoon};

TEST(StoredReport, IsOfASampleWhenThereAreMoreFactsThanItsLimit) {
  PostedRecords posted;
  for (int minute = 10; minute > 0; --minute) posted.postConnection(kNoon - minute * 1min);
  const Json whole = storedReport(posted.storage(), kDay, 10);
  EXPECT_EQ(whole["oneIn"], 1);
  EXPECT_EQ(whole["facts"], 10);
  EXPECT_EQ(storedReport(posted.storage(), kDay, 9)["oneIn"], 8);
}

TEST(StoredReport, ReadsTheNewestFactsWhenEvenTheSmallestSampleHasMore) {
  PostedRecords posted;
  int client = 0;
  while (sampleOf(std::to_string(client), "", 0) != 0) ++client;  // in all samples
  for (int minute = 10; minute > 0; --minute) posted.postConnection(kNoon - minute * 1min, std::to_string(client));
  const Json cut = storedReport(posted.storage(), kDay, 9);
  EXPECT_EQ(cut["oneIn"], 4096);
  EXPECT_EQ(cut["selected"], 9);
  EXPECT_EQ(cut["isCut"], true);
  EXPECT_EQ(cut["oldest"], "2026-11-21T11:51:00.000Z");
  EXPECT_EQ(storedReport(posted.storage(), kDay, 10)["isCut"], false);
}

TEST(StoredReport, WithAFilterIsOfTheSameClientsAsWithout) {
  PostedRecords posted;
  for (int minute = 80; minute > 0; --minute) {
    posted.postConnection(kNoon - minute * 1min, std::to_string(minute), "start", minute % 2 == 0 ? "lab" : "office");
  }
  const Json all = storedReport(posted.storage(), kDay, 20);
  EXPECT_EQ(all["oneIn"], 8);
  std::int64_t selected = 0;
  for (const char* network : {"lab", "office"}) {
    ServiceQuery narrow = kDay;
    narrow.network = network;
    const Json report = storedReport(posted.storage(), narrow, 20);
    EXPECT_EQ(report["oneIn"], 8);
    EXPECT_EQ(report["facts"], all["facts"]);
    selected += report["selected"].get<std::int64_t>();
  }
  EXPECT_EQ(selected, all["selected"]);
}

/// True when an interval of a report holds a value.
bool holds(const Json& share, double value) { return share["low"] <= value && value <= share["high"]; }

TEST(StoredReport, OfASampleIsTrueForTheWholeWindow) {
  // Each client connects ten times at each of two networks, whose success differs, over the whole day. Every fiftieth
  // one tries again at a third, and fails each time. Every fifth one has a VPN session, and every fourth of these no
  // stop.
  constexpr int kClients = 2000;
  PostedRecords posted;
  std::mt19937 random(1);
  double shares = 0;
  int pairs = 0;
  int attempts = 0;
  int pairsOfEighth = 0;
  int attemptsOfEighth = 0;
  const auto connection = [](int minute, const std::string& client, int session, const char* network, bool succeeds) {
    return "<r><eventTime>" + sqm::isoTimeStamp(kNoon - minute * 1min) + "</eventTime><clientId>" + client +
           "</clientId><event>start</event><wifi><sessionId>" + std::to_string(session) + "</sessionId><ssid>" +
           network + "</ssid><connectionStatus>" + (succeeds ? "connected" : "failed") +
           "</connectionStatus></wifi></r>";
  };
  const auto vpn = [](int minute, const std::string& client, const char* event) {
    return "<vpn><eventTime>" + sqm::isoTimeStamp(kNoon - minute * 1min) + "</eventTime><vpnEvent>" + event +
           "</vpnEvent><userName>" + client + "</userName><vpnProfile>p</vpnProfile><gateway>g</gateway>" +
           (event == std::string_view("start") ? "<vpnResult>success</vpnResult>" : "") + "</vpn>";
  };
  std::vector<std::string> bodies;
  for (int number = 0; number < kClients; ++number) {
    const std::string client = "client-" + std::to_string(number);
    std::string records;
    const bool isInEighth = sampleOf(client, "", 0) < 4096 / 8;
    const auto connect = [&](const char* network, double rate, int sessions) {
      int succeeded = 0;
      for (int session = 0; session < sessions; ++session) {
        const bool succeeds = std::uniform_real_distribution()(random) < rate;
        succeeded += succeeds ? 1 : 0;
        records += connection(10 + 1400 / sessions * session, client, session, network, succeeds);
      }
      shares += static_cast<double>(succeeded) / sessions;
      pairs += 1;
      attempts += sessions;
      pairsOfEighth += isInEighth ? 1 : 0;
      attemptsOfEighth += isInEighth ? sessions : 0;
    };
    connect("good", 0.9, 10);
    connect("bad", 0.6, 10);
    if (number % 50 == 0) connect("none", 0, 200);
    bodies.push_back("<connectionList>" + records + "</connectionList>");
    if (number % 5 != 0) continue;
    bodies.push_back("<sqmList>" + vpn(90, client, "start") + (number % 20 == 0 ? "" : vpn(30, client, "stop")) +
                     "</sqmList>");
  }
  posted.post(bodies);
  const Json whole = storedReport(posted.storage(), kDay);
  EXPECT_EQ(whole["oneIn"], 1);
  EXPECT_EQ(whole["success"]["attempts"], attempts);
  EXPECT_NEAR(whole["success"]["mean"]["value"].get<double>(), shares / pairs, 1e-9);

  const Json part = storedReport(posted.storage(), kDay, 10'000);
  EXPECT_EQ(part["oneIn"], 8);
  EXPECT_EQ(part["isCut"], false);
  EXPECT_LT(part["oldest"], "2026-11-20T15:00:00.000Z") << "it reaches back as far as the window";
  EXPECT_EQ(part["success"]["attempts"], attemptsOfEighth);
  EXPECT_EQ(part["success"]["pairs"], pairsOfEighth);
  EXPECT_TRUE(holds(part["success"]["mean"], whole["success"]["mean"]["value"])) << part["success"].dump();
  EXPECT_TRUE(holds(part["success"]["success"], whole["success"]["success"]["value"])) << part["success"].dump();
  ASSERT_EQ(part["networks"]["worst"].size(), 3U);
  for (const std::size_t at : {0U, 1U, 2U}) {
    const Json& of = part["networks"]["worst"][at];
    const Json& all = whole["networks"]["worst"][at];
    EXPECT_EQ(of["network"], all["network"]);
    EXPECT_TRUE(holds(of["success"], all["success"]["value"])) << of.dump();
  }
  EXPECT_EQ(whole["vpn"]["withoutStop"], 100);
  EXPECT_EQ(part["vpn"]["withoutStart"], 0) << "start and stop are in the same sample";
  EXPECT_EQ(part["vpn"]["lengths"]["p50"], 3600);
  EXPECT_TRUE(holds(shareJson(part["vpn"]["withoutStop"], part["vpn"]["attempts"]), 0.25)) << part["vpn"].dump();
  EXPECT_EQ(part["pipeline"]["posts"], bodies.size()) << "of all clients";
}

}  // namespace
