// What happens to the simulated clients.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/fleet/sim/Model.h"
#include "tools/fleet/sim/Random.h"
#include "tools/fleet/sim/World.h"

namespace fleet {
namespace {

using std::chrono::local_days;
using std::chrono::sys_days;
using namespace std::chrono_literals;
using Kind = Event::Kind;

constexpr auto kMonday = 2026y / 11 / 16;
const Period kMonth = {sys_days(2026y / 11 / 1), sys_days(2026y / 12 / 1)};
const World kWorld(/*seed=*/1, /*clients=*/2000);

/// Calls `visit` with each client and its day.
void forEachDay(const std::function<void(std::uint32_t, const Day&)>& visit,
                std::chrono::year_month_day day = kMonday) {
  for (std::uint32_t client = 0; client < 2000; ++client) visit(client, dayOf(kWorld, client, local_days(day), kMonth));
}

/// A day as text, for comparisons.
std::string textOf(const Day& day) {
  std::string text;
  for (const Connection& each : day.connections) {
    text.append(std::to_string(each.network) + " " + std::string(each.reason) + " " + std::to_string(each.signal) +
                " " + std::to_string(each.bytesSent) + "\n");
  }
  for (const Event& event : day.events) {
    text.append(std::to_string(event.at.time_since_epoch().count()) + " " +
                std::to_string(static_cast<int>(event.kind)) + " " + std::to_string(event.connection) + "\n");
  }
  return text;
}

TEST(FleetModel, ADayDependsOnSeedClientAndDateAlone) {
  const World same(1, 2000);
  const World other(2, 2000);
  std::set<std::string> days;
  for (std::uint32_t client = 0; client < 50; ++client) {
    const std::string day = textOf(dayOf(kWorld, client, local_days(kMonday), kMonth));
    EXPECT_EQ(textOf(dayOf(same, client, local_days(kMonday), kMonth)), day);
    if (day.empty()) continue;
    EXPECT_NE(textOf(dayOf(other, client, local_days(kMonday), kMonth)), day);
    EXPECT_NE(textOf(dayOf(kWorld, client, local_days(kMonday) + std::chrono::days(1), kMonth)), day);
    EXPECT_TRUE(days.insert(day).second) << "two clients have the same day";
  }
  EXPECT_GT(days.size(), 30U);
}

TEST(FleetModel, EventsAreInTheOrderOfTheirTimesFromStartToSleep) {
  forEachDay([](std::uint32_t client, const Day& day) {
    if (day.events.empty()) return;
    EXPECT_TRUE(std::ranges::is_sorted(day.events, {}, &Event::at)) << client;
    EXPECT_EQ(day.events.front().kind, Kind::clientStart);
    EXPECT_EQ(day.events.back().kind, Kind::sleep);
    EXPECT_EQ(std::ranges::count(day.events, Kind::sleep, &Event::kind), 1);
  });
}

TEST(FleetModel, AClientHasOneConnectionAtATime) {
  forEachDay([](std::uint32_t client, const Day& day) {
    for (std::size_t at = 0; at < day.connections.size(); ++at) {
      EXPECT_LT(day.connections[at].begin, day.connections[at].end) << client;
      if (at == 0) continue;
      EXPECT_LT(day.connections[at - 1].end, day.connections[at].begin) << client;
    }
  });
}

TEST(FleetModel, AVpnSessionAndAnUploadAreInsideTheirConnection) {
  std::size_t sessions = 0;
  forEachDay([&](std::uint32_t client, const Day& day) {
    for (const Connection& each : day.connections) {
      if (!each.vpn) continue;
      ++sessions;
      EXPECT_TRUE(each.isConnected());
      EXPECT_LT(each.begin, each.vpn->begin) << client;
      EXPECT_LT(each.vpn->begin, each.vpn->end) << client;
      EXPECT_LE(each.vpn->end, each.end) << client;
    }
    for (const Event& event : day.events) {
      if (event.kind != Kind::upload) continue;
      const Connection& connection = day.connections[event.connection];
      EXPECT_TRUE(connection.isConnected());
      EXPECT_TRUE((Period{connection.begin, connection.end}.holds(event.at))) << client;
    }
  });
  EXPECT_GT(sessions, 500U);
}

TEST(FleetModel, ConnectionsOutsideThePeriodAreLeftOut) {
  const Period morning = {sys_days(kMonday) + 6h, sys_days(kMonday) + 12h};
  std::size_t connections = 0;
  for (std::uint32_t client = 0; client < 200; ++client) {
    const Day whole = dayOf(kWorld, client, local_days(kMonday), kMonth);
    const auto kept = [&](const Connection& each) { return morning.holds(each.begin) && each.end < morning.end; };
    const Day day = dayOf(kWorld, client, local_days(kMonday), morning);
    EXPECT_TRUE(std::ranges::all_of(day.connections, kept));
    EXPECT_EQ(std::ssize(day.connections), std::ranges::count_if(whole.connections, kept));
    EXPECT_EQ(day.events.empty(), day.connections.empty());
    connections += day.connections.size();
  }
  EXPECT_GT(connections, 100U);
}

TEST(FleetModel, DaysHaveARhythm) {
  std::map<bool, std::size_t> byDaylight;
  std::size_t onMonday = 0;
  std::size_t onSunday = 0;
  forEachDay([&](std::uint32_t client, const Day& day) {
    for (const Connection& each : day.connections) {
      const auto local = each.begin + profileOf(kWorld, client).zone;
      const auto hour = std::chrono::floor<std::chrono::hours>(local) - std::chrono::floor<std::chrono::days>(local);
      ++byDaylight[hour >= 6h && hour < 23h];
    }
    onMonday += day.connections.size();
  });
  forEachDay([&](std::uint32_t /*client*/, const Day& day) { onSunday += day.connections.size(); }, 2026y / 11 / 15);
  EXPECT_EQ(byDaylight[false], 0U);
  EXPECT_GT(onMonday, 2 * onSunday);
  EXPECT_GT(onSunday, 500U);
}

/// Successes or drops among attempts or connections.
struct Share {
  double part = 0;
  double all = 0;

  void add(bool isPart) {
    part += isPart ? 1 : 0;
    all += 1;
  }
  double value() const { return part / all; }
};

TEST(FleetModel, MostAttemptsSucceedAndFewDoInAnOutage) {
  Share usually;
  Share inOutage;
  forEachDay([&](std::uint32_t client, const Day& day) {
    if (profileOf(kWorld, client).isLooping) return;
    for (const Connection& each : day.connections) {
      const auto outage = kWorld.outageOn(each.network, std::chrono::floor<std::chrono::days>(each.begin));
      const bool isOut = outage && outage->holds(each.begin);
      (isOut ? inOutage : usually).add(each.isConnected());
    }
  });
  EXPECT_GT(usually.value(), 0.85);
  EXPECT_LT(usually.value(), 0.99);
  EXPECT_GT(inOutage.all, 50);
  EXPECT_LT(inOutage.value(), 0.2);
}

TEST(FleetModel, WeakSignalsFailAndDropMoreOften) {
  Share weakFailures;
  Share goodFailures;
  Share weakDrops;
  Share goodDrops;
  forEachDay([&](std::uint32_t client, const Day& day) {
    if (profileOf(kWorld, client).isLooping) return;
    for (const Connection& each : day.connections) {
      if (kWorld.network(each.network).medium != Medium::wiFi) continue;
      const bool isWeak = each.signal < -75;
      (isWeak ? weakFailures : goodFailures).add(!each.isConnected());
      if (each.isConnected()) {
        (isWeak ? weakDrops : goodDrops).add(each.outcome == Connection::Outcome::dropped);
      }
    }
  });
  EXPECT_GT(weakFailures.value(), 2 * goodFailures.value());
  EXPECT_GT(weakDrops.value(), 2 * goodDrops.value());
}

TEST(FleetModel, ALoopingClientTriesForHours) {
  std::size_t looping = 0;
  std::size_t most = 0;
  forEachDay([&](std::uint32_t client, const Day& day) {
    const auto failures = std::ranges::count(day.connections, Connection::Outcome::failed, &Connection::outcome);
    if (profileOf(kWorld, client).isLooping) {
      ++looping;
      most = std::max(most, static_cast<std::size_t>(failures));
    }
  });
  EXPECT_GT(looping, 0U);
  EXPECT_LT(looping, 20U);
  EXPECT_GT(most, 50U);
}

TEST(FleetModel, OnlyClientsWithAModemUseMobileBroadband) {
  std::size_t mobile = 0;
  forEachDay([&](std::uint32_t client, const Day& day) {
    for (const Connection& each : day.connections) {
      const bool isMobile = kWorld.network(each.network).medium == Medium::mobile;
      EXPECT_EQ(isMobile, !each.technology.empty());
      if (!isMobile) continue;
      ++mobile;
      EXPECT_TRUE(profileOf(kWorld, client).hasModem) << client;
    }
  });
  EXPECT_GT(mobile, 100U);
}

TEST(FleetRandom, PicksRowsInProportionToTheirWeights) {
  struct Row {
    char name;
    double weight;
  };
  constexpr Row kTable[] = {{'a', 1}, {'b', 0}, {'c', 3}};
  Random random{7};
  std::map<char, int> picked;
  for (int count = 0; count < 4000; ++count) ++picked[random.pick(kTable).name];
  EXPECT_NEAR(picked['a'], 1000, 100);
  EXPECT_NEAR(picked['c'], 3000, 100);
  EXPECT_EQ(picked['b'], 0);
}

TEST(FleetRandom, GivesTheNumbersOfItsAlgorithm) {
  // The first outputs of the reference implementation for the seed 0, which the list of no numbers is.
  Random random{};
  EXPECT_EQ(random.next(), 0xe220a8397b1dcdafU);
  EXPECT_EQ(random.next(), 0x6e789e6aa1b965f4U);
}

}  // namespace
}  // namespace fleet
