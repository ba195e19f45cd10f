// The simulator of clients, run against a collection server.

#include <algorithm>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/CollectorClient.h"
#include "tools/fleet/sim/Model.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;

Outcome runFleet(const std::string& server, const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {kPrograms + "/sqm-fleet", "--server", server, "--start", "2026-11-16"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  return runProgram(arguments);
}

/// A record's values by name; of a name that occurs twice, the last.
using Record = std::map<std::string, std::string>;

std::vector<Record> recordsOf(CollectorClient& collector) {
  std::vector<Record> records;
  for (const json& record : collector.get("/_records?limit=1000000")) {
    Record& values = records.emplace_back();
    for (const json& pair : record["values"]) values[pair[0]] = pair[1];
    values["type"] = record["type"];
    values["medium"] = record["subType"].is_string() ? record["subType"] : "";
    values["raw"] = record["raw"];
  }
  return records;
}

std::uint64_t count(const std::vector<Record>& records, const Record& expected) {
  return static_cast<std::uint64_t>(std::ranges::count_if(records, [&](const Record& record) {
    return std::ranges::all_of(expected, [&](const auto& pair) {
      const auto found = record.find(pair.first);
      return found != record.end() && found->second == pair.second;
    });
  }));
}

TEST(Fleet, PrintsTheFiguresOfWhatArrives) {
  CollectorClient collector;
  const Outcome outcome = runFleet(collector.collector().address(), {"--clients", "60", "--days", "2"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const json figures = json::parse(outcome.out);
  const auto records = recordsOf(collector);
  EXPECT_GT(records.size(), 800U);
  EXPECT_EQ(figures["waiting"], 0);
  for (const auto& [type, number] : figures["records"].items()) EXPECT_EQ(count(records, {{"type", type}}), number);

  const json& connections = figures["connections"];
  EXPECT_EQ(count(records, {{"event", "start"}}), connections["attempts"]);
  for (const auto& [medium, success] : connections["byMedium"].items()) {
    EXPECT_EQ(count(records, {{"event", "start"}, {"medium", medium}}), success["attempts"]) << medium;
    EXPECT_EQ(count(records, {{"event", "start"}, {"medium", medium}, {"connectionStatus", "connected"}}),
              success["succeeded"])
        << medium;
  }
  for (const json& network : connections["byNetwork"]) {
    if (network["medium"] != "wifi") continue;
    EXPECT_EQ(count(records, {{"event", "start"}, {"ssid", network["network"]}}), network["attempts"]) << network;
  }
  for (const auto& [reason, number] : connections["failures"].items()) {
    EXPECT_EQ(count(records, {{"event", "stop"}, {"connectionStatus", "failed"}, {"disconnectReason", reason}}),
              number);
  }
  std::vector<std::string> seconds;
  for (const Record& record : records) {
    if (record.contains("loginSeconds") && record.at("event") == "start" && !record.at("loginSeconds").empty()) {
      seconds.push_back(record.at("loginSeconds"));
    }
  }
  std::ranges::sort(seconds, {}, [](const std::string& text) { return std::stod(text); });
  const json& toConnect = connections["byMedium"]["wifi"]["secondsToConnect"];
  EXPECT_EQ(seconds.size(), toConnect["count"]);
  EXPECT_EQ(std::stod(seconds[(seconds.size() + 1) / 2 - 1]), toConnect["p50"]);

  EXPECT_EQ(count(records, {{"vpnEvent", "start"}, {"vpnResult", "success"}}), figures["vpn"]["succeeded"]);
  for (const auto& [reason, number] : figures["vpn"]["ends"].items()) {
    EXPECT_EQ(count(records, {{"vpnEvent", "stop"}, {"vpnDisconnectReason", reason}}), number);
  }
}

std::uint64_t madeRecords(const json& figures) {
  std::uint64_t made = 0;
  for (const auto& [type, number] : figures["records"].items()) made += number.get<std::uint64_t>();
  return made;
}

/// The raw records of each user in the order in which they arrived.
std::map<std::string, std::vector<std::string>> arrivalsOf(const std::vector<std::string>& options) {
  CollectorClient collector;
  EXPECT_EQ(runFleet(collector.collector().address(), options).status, 0);
  std::map<std::string, std::vector<std::string>> byUser;
  for (const Record& record : recordsOf(collector)) {
    if (record.contains("userName")) byUser[record.at("userName")].push_back(record.at("raw"));
  }
  return byUser;
}

TEST(Fleet, SendsTheSameRecordsInTheSameOrderForTheSameSeed) {
  const auto first = arrivalsOf({"--clients", "30", "--seed", "5"});
  const auto again = arrivalsOf({"--clients", "30", "--seed", "5", "--threads", "3", "--uploads", "1"});
  EXPECT_GT(first.size(), 15U);
  EXPECT_EQ(first, again);
  EXPECT_NE(first, arrivalsOf({"--clients", "30", "--seed", "6"}));
}

TEST(Fleet, DeliversEverythingToAServerThatResetsConnections) {
  CollectorClient collector;
  collector.putFaults({"/connection:reset=before:5", "/client:reset=before:2", "/application:reset=inside:2"});
  const Outcome outcome = runFleet(collector.collector().address(), {"--clients", "10"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const json figures = json::parse(outcome.out);
  EXPECT_EQ(figures["waiting"], 0);
  EXPECT_FALSE(figures["posts"]["failed"].empty());
  std::set<std::string> arrived;
  for (const Record& record : recordsOf(collector)) arrived.insert(record.at("raw"));
  EXPECT_EQ(arrived.size(), madeRecords(figures));
}

TEST(Fleet, KeepsWhatWasAnsweredInAFile) {
  const TemporaryFolder folder;
  CollectorClient collector;
  const std::string file = folder / "answered";
  ASSERT_EQ(runFleet(collector.collector().address(), {"--clients", "5", "--answered", file}).status, 0);
  std::ifstream lines(file);
  std::string line;
  for (const json& request : collector.get("/_requests")) {
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_THAT(line, ::testing::StartsWith("200 " + collector.collector().address() + "/"));
    EXPECT_THAT(line, HasSubstr("<?xml version=")) << request;
  }
  EXPECT_FALSE(std::getline(lines, line));
}

TEST(Fleet, SendsItsToken) {
  const TemporaryFolder folder;
  putContent(folder / "tokens", "clients  write  0123456789abcdef0123\n");
  const Collector collector({"--token-file", folder / "tokens"});
  EXPECT_EQ(runFleet(collector.address(), {"--clients", "3", "--token", "0123456789abcdef0123"}).status, 0);
  const Outcome refused = runFleet(collector.address(), {"--clients", "3", "--token", "other", "--patience", "1"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_GT(json::parse(refused.out)["waiting"], 0);
}

TEST(Fleet, SimulatesAThousandClients) {
  CollectorClient collector;
  const Outcome outcome = runFleet(collector.collector().address(), {"--clients", "1000", "--days", "0.4"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const json figures = json::parse(outcome.out);
  EXPECT_GT(figures["records"]["client"], 500);
  EXPECT_EQ(figures["posts"]["failed"].size(), 0U);
}

TEST(Fleet, EndsEarlyWhenAskedAndDeliversWhatItHas) {
  CollectorClient collector;
  // A day takes a quarter of an hour.
  tools::Process fleet({kPrograms + "/sqm-fleet", "--server", collector.collector().address(), "--clients", "200",
                        "--start", "2026-11-16", "--days", "9", "--speed", "96"},
                       /*readsOutput=*/true);
  while (collector.get("/_requests").empty()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  fleet.terminate();
  std::string out;
  while (!fleet.isAtEnd()) out += fleet.readLine();
  EXPECT_EQ(fleet.wait(), 0);
  const json figures = json::parse(out);
  EXPECT_EQ(figures["waiting"], 0);
  EXPECT_EQ(recordsOf(collector).size(), madeRecords(figures));
  EXPECT_LT(madeRecords(figures), 200U);
}

/// A seed with which the only client makes a device record just before its first connection, and the time of that
/// connection.
std::pair<std::uint64_t, fleet::Time> deviceBeforeConnection() {
  using Kind = fleet::Event::Kind;
  const std::chrono::sys_days monday = std::chrono::year(2026) / 11 / 16;
  for (std::uint64_t seed = 1;; ++seed) {
    const fleet::World world(seed, 1);
    const fleet::Day day = dayOf(world, 0, std::chrono::local_days(monday.time_since_epoch()),
                                 {monday - std::chrono::days(9), monday + std::chrono::days(9)});
    if (day.events.size() > 2 && day.events[1].kind == Kind::device && day.events[2].kind == Kind::connect) {
      return {seed, day.events[2].at};
    }
  }
}

TEST(Fleet, MakesTwoRecordsDifferWhenItEndsAtADeviceReport) {
  const TemporaryFolder folder;
  CollectorClient collector;
  const auto [seed, connection] = deviceBeforeConnection();
  const std::time_t begin = (connection - std::chrono::seconds(1)).time_since_epoch().count();
  std::ostringstream start;
  start << std::put_time(std::gmtime(&begin), "%FT%TZ");
  tools::Process fleet(
      {kPrograms + "/sqm-fleet", "--server", collector.collector().address(), "--clients", "1", "--seed",
       std::to_string(seed), "--start", start.str(), "--speed", "0.001", "--progress", "0.1"},
      /*readsOutput=*/true, folder / "progress");
  while (contentOf(folder / "progress").empty()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  fleet.terminate();
  std::string out;
  while (!fleet.isAtEnd()) out += fleet.readLine();
  EXPECT_EQ(fleet.wait(), 0);
  EXPECT_EQ(json::parse(out)["records"]["device"], 2);
  std::set<std::string> arrived;
  for (const Record& record : recordsOf(collector)) arrived.insert(record.at("raw"));
  EXPECT_EQ(arrived.size(), 3U);
}

TEST(Fleet, GivesUpAServerThatDoesNotAnswer) {
  const Outcome outcome = runFleet("http://127.0.0.1:9", {"--clients", "20", "--patience", "2"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("the server does not answer"));
  EXPECT_GT(json::parse(outcome.out)["waiting"], 0);
}

TEST(Fleet, SaysWhatIsWrongWithItsCommandLine) {
  EXPECT_EQ(runProgram({kPrograms + "/sqm-fleet"}).status, 2);
  const Outcome outcome =
      runProgram({kPrograms + "/sqm-fleet", "--server", "http://127.0.0.1:9", "--start", "yesterday"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.err, HasSubstr("2026-11-22T08:00:00Z"));
}

}  // namespace
