// The records and the figures of hand-made days.

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "sqm/common/FieldNameTable.h"
#include "sqm/platform/files/FileProblems.h"
#include "sqm/platform/files/PropertyListFiles.h"

#include "tests/support/ManagerTest.h"
#include "tests/support/Paths.h"
#include "tools/fleet/sim/Recorder.h"
#include "tools/fleet/sim/Truth.h"

namespace fleet {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using Json = nlohmann::ordered_json;
using Kind = Event::Kind;
using Outcome = Connection::Outcome;
using namespace std::chrono_literals;

const World kWorld(1, 100);
constexpr Time kMorning = std::chrono::sys_days(2026y / 11 / 16) + 8h;

Connection connectionAt(Place place, Outcome outcome, std::string_view reason) {
  return {.begin = kMorning,
          .end = kMorning + 1h,
          .network = kWorld.networkAt(place, 0),
          .outcome = outcome,
          .reason = reason,
          .connectTenths = outcome == Outcome::failed ? 0 : 23,
          .signal = -61};
}

/// The figures of connections of one client, each with its start and its stop.
Json figuresOf(const std::vector<Connection>& connections, std::uint32_t client = 1) {
  const Day day{connections, {}};
  Truth truth(kWorld);
  for (std::size_t index = 0; index < connections.size(); ++index) {
    truth.add(client, day, {kMorning, Kind::connect, index});
    truth.add(client, day, {kMorning, Kind::disconnect, index});
  }
  return truth.json();
}

TEST(FleetTruth, CountsAttemptsByMediumAndReason) {
  const Json figures = figuresOf({connectionAt(Place::home, Outcome::ended, "user"),
                                  connectionAt(Place::home, Outcome::failed, "no address"),
                                  connectionAt(Place::dock, Outcome::ended, "user"),
                                  connectionAt(Place::homeCarrier, Outcome::dropped, "signal lost")});
  const Json& connections = figures["connections"];
  EXPECT_EQ(connections["attempts"], 4);
  EXPECT_EQ(connections["succeeded"], 3);
  EXPECT_EQ(connections["rate"], 0.75);
  EXPECT_EQ(connections["byMedium"]["wifi"]["rate"], 0.5);
  EXPECT_EQ(connections["byMedium"]["ethernet"]["attempts"], 1);
  EXPECT_EQ(connections["failures"], Json({{"no address", 1}}));
  EXPECT_EQ(connections["ends"], Json({{"signal lost", 1}, {"user", 2}}));
  EXPECT_EQ(figures["records"]["connection"], 8);
}

TEST(FleetTruth, OneLoopingClientDoesNotRuleTheMeanOfClientsAndNetworks) {
  const Connection success = connectionAt(Place::home, Outcome::ended, "user");
  const Connection failure = connectionAt(Place::home, Outcome::failed, "no address");
  Truth truth(kWorld);
  const Day day{{success, failure}, {}};
  for (std::uint32_t client = 1; client <= 9; ++client) truth.add(client, day, {kMorning, Kind::connect, 0});
  for (int count = 0; count < 91; ++count) truth.add(10, day, {kMorning, Kind::connect, 1});
  const Json connections = truth.json()["connections"];
  EXPECT_EQ(connections["rate"], 0.09);
  EXPECT_EQ(connections["ratePerClientAndNetwork"], 0.9);
  EXPECT_EQ(connections["pairs"], 10);
}

TEST(FleetTruth, PercentilesAreTimesOfTheNearestRank) {
  std::vector<Connection> connections;
  for (int tenths = 100; tenths > 0; --tenths) {
    connections.push_back(connectionAt(Place::home, Outcome::ended, "user"));
    connections.back().connectTenths = tenths;
  }
  EXPECT_EQ(figuresOf(connections)["connections"]["secondsToConnect"],
            Json({{"count", 100}, {"p50", 5.0}, {"p95", 9.5}, {"p99", 9.9}}));
  EXPECT_EQ(figuresOf({})["connections"]["secondsToConnect"],
            Json({{"count", 0}, {"p50", nullptr}, {"p95", nullptr}, {"p99", nullptr}}));
}

TEST(FleetTruth, CountsDropsInStepsOf5Decibels) {
  Connection kept = connectionAt(Place::home, Outcome::ended, "user");
  Connection dropped = connectionAt(Place::home, Outcome::dropped, "signal lost");
  kept.signal = -60;
  dropped.signal = -64;
  Connection atTheEdge = kept;
  atTheEdge.signal = -65;
  const Json steps = figuresOf({kept, dropped, atTheEdge})["connections"]["dropsBySignal"];
  ASSERT_EQ(steps.size(), 2U);
  EXPECT_EQ(steps[0], Json({{"medium", "wifi"}, {"from", -65}, {"to", -60}, {"connections", 2}, {"dropped", 1}}));
  EXPECT_EQ(steps[1], Json({{"medium", "wifi"}, {"from", -60}, {"to", -55}, {"connections", 1}, {"dropped", 0}}));
}

TEST(FleetTruth, CountsVpnSessionsWithoutAStop) {
  Connection ended = connectionAt(Place::home, Outcome::ended, "user");
  ended.vpn = Vpn{.begin = kMorning, .end = kMorning + 90s, .endReason = 1};
  Connection lost = ended;
  lost.vpn->hasStop = false;
  Connection failed = lost;
  failed.vpn->status = 4;
  const Day day{{ended, lost, failed}, {}};
  Truth truth(kWorld);
  for (std::size_t index = 0; index < 3; ++index) truth.add(1, day, {kMorning, Kind::vpnStart, index});
  truth.add(1, day, {kMorning + 90s, Kind::vpnStop, 0});
  const Json vpn = truth.json()["vpn"];
  EXPECT_EQ(vpn["starts"], 3);
  EXPECT_EQ(vpn["succeeded"], 2);
  EXPECT_EQ(vpn["withoutStop"], 1);
  EXPECT_EQ(vpn["ends"], Json({{"Disconnected By User", 1}}));
  EXPECT_EQ(vpn["seconds"]["p50"], 90.0);
}

/// A manager on a host in memory, with the names of the example table.
class FleetRecorder : public ManagerTest {
 protected:
  FleetRecorder() {
    sqm::platform::FileProblems problems(fakes.logs);
    sqm::platform::PropertyListFiles files(problems, {});
    const auto names = files.arrayWithContentsOfFile(paths::sources() + "/examples/SQMFieldNames.plist");
    fakes.setFieldNames(names);
    table_.emplace(*names);
  }

  void record(const Day& day, Kind kind) const {
    Recorder(kWorld, *table_).record(*manager, 7, day, {kMorning, kind, 0});
  }

 private:
  std::optional<sqm::FieldNameTable> table_;
};

TEST_F(FleetRecorder, AConnectionHasAStartAndAStop) {
  const Day day{{connectionAt(Place::hotspot, Outcome::dropped, "signal lost")}, {}};
  record(day, Kind::connect);
  record(day, Kind::disconnect);
  const auto records = stored(sqm::RecordType::connection);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_THAT(records[0],
              AllOf(HasSubstr("2026-11-16T08:00:00Z"), HasSubstr("<clientId>client-7</clientId>"), HasSubstr("<wifi>"),
                    HasSubstr("<ssid>Airport Free WiFi</ssid>"), HasSubstr("<signalStrength>-61</signalStrength>"),
                    HasSubstr("<connectionStatus>connected</connectionStatus>"),
                    HasSubstr("<loginSeconds>2.3</loginSeconds>")));
  EXPECT_THAT(records[1], AllOf(HasSubstr("2026-11-16T09:00:00Z"), HasSubstr("<event>stop</event>"),
                                HasSubstr("<recordIndex>1</recordIndex>"),
                                HasSubstr("<connectionStatus>dropped</connectionStatus>"),
                                HasSubstr("<disconnectReason>signal lost</disconnectReason>")));
}

TEST_F(FleetRecorder, AFailedAttemptHasItsReasonAndNoTimeToConnect) {
  const Day day{{connectionAt(Place::homeCarrier, Outcome::failed, "no coverage")}, {}};
  record(day, Kind::connect);
  record(day, Kind::disconnect);
  const auto records = stored(sqm::RecordType::connection);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_THAT(records[0], AllOf(HasSubstr("<mobile>"), HasSubstr("<connectionStatus>failed</connectionStatus>"),
                                HasSubstr("<attachSeconds></attachSeconds>")));
  EXPECT_THAT(records[1], AllOf(HasSubstr("<connectionStatus>failed</connectionStatus>"),
                                HasSubstr("<disconnectReason>no coverage</disconnectReason>")));
}

TEST_F(FleetRecorder, AVpnSessionHasTheTextsOfItsCodes) {
  Day day{{connectionAt(Place::home, Outcome::ended, "user")}, {}};
  day.connections[0].vpn =
      Vpn{.begin = kMorning, .end = kMorning + 1min, .setupTenths = 8, .launchType = 2, .endReason = 2};
  record(day, Kind::vpnStart);
  record(day, Kind::vpnStop);
  const auto records = stored(sqm::RecordType::application);
  ASSERT_EQ(records.size(), 2U);
  EXPECT_THAT(records[0],
              AllOf(HasSubstr("<vpnLaunch>autoreconnect</vpnLaunch>"), HasSubstr("<vpnResult>success</vpnResult>"),
                    HasSubstr("<vpnSetupSeconds>0.8</vpnSetupSeconds>")));
  EXPECT_THAT(records[1], AllOf(HasSubstr("<vpnDisconnectReason>Disconnected By Policy</vpnDisconnectReason>"),
                                Not(HasSubstr("<vpnResult>success"))));
}

TEST_F(FleetRecorder, ATableWithoutANeededNameIsAnError) {
  const sqm::FieldNameTable names(sqm::TextArray{"environment"});
  const Day day{{connectionAt(Place::home, Outcome::ended, "user")}, {}};
  EXPECT_THROW(Recorder(kWorld, names).record(*manager, 7, day, {kMorning, Kind::connect, 0}), std::runtime_error);
}

}  // namespace
}  // namespace fleet
