// The figures of the service page, of facts whose true figures are known.

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tools/collector/service/Measures.h"
#include "tools/collector/service/ServiceReport.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;
using Fact = ConnectionFact;
using Medium = Fact::Medium;
using Outcome = Fact::Outcome;

constexpr Fact::Time kMorning = std::chrono::sys_days(std::chrono::year(2026) / 11 / 21) + 8h;
const ServiceQuery kDay = {.from = kMorning - 8h, .to = kMorning + 16h};

/// A number of sessions of clients, each with a start and a stop, a minute after another.
class Traffic {
 public:
  /// Adds an attempt on Wi-Fi, which `change` alters in its start and its stop.
  void attempt(const std::string& client, const std::string& network, Outcome outcome,
               const std::function<void(Fact&)>& change = {}) {
    Fact fact = {.time = kMorning + minutes_++ * 1min,
                 .medium = Medium::wiFi,
                 .isStart = true,
                 .outcome = outcome,
                 .client = client,
                 .session = "s" + std::to_string(minutes_),
                 .network = network};
    if (change) change(fact);
    facts_.push_back(fact);
    fact.isStart = false;
    fact.time += 30s;
    fact.outcome = outcome == Outcome::failed ? Outcome::failed : Outcome::unknown;
    if (change) change(fact);
    facts_.push_back(fact);
  }

  void attempts(int count, const std::string& client, const std::string& network, Outcome outcome,
                const std::function<void(Fact&)>& change = {}) {
    for (int each = 0; each < count; ++each) attempt(client, network, outcome, change);
  }

  Json report(const ServiceQuery& query = kDay) const {
    ServiceReport report(query);
    std::for_each(facts_.rbegin(), facts_.rend(), [&report](const Fact& fact) { report.take(fact); });
    return report.finish();
  }

  std::vector<Fact>& facts() { return facts_; }

 private:
  int minutes_ = 0;
  std::vector<Fact> facts_;
};

std::int64_t sum(const Json& rows, const char* member) {
  std::int64_t total = 0;
  for (const Json& row : rows) total += row[member].get<std::int64_t>();
  return total;
}

TEST(ServiceReport, OfNothingHasNoFigures) {
  const Json report = Traffic().report();
  EXPECT_EQ(report["selected"], 0);
  EXPECT_TRUE(report["oldest"].is_null());
  EXPECT_TRUE(report["success"]["success"].is_null());
  EXPECT_TRUE(report["success"]["mean"].is_null());
  EXPECT_TRUE(report["connecting"]["p50"].is_null());
  EXPECT_TRUE(report["connecting"]["apdex"]["value"].is_null());
  EXPECT_EQ(report["reasons"]["frequent"].size(), 0U);
  EXPECT_EQ(report["steps"].size(), 48U);
}

TEST(ServiceReport, OneLoopingClientDoesNotRuleTheMean) {
  Traffic traffic;
  for (const char* client : {"a", "b", "c"}) traffic.attempts(4, client, "office", Outcome::connected);
  traffic.attempts(988, "looping", "office", Outcome::failed);
  const Json success = traffic.report()["success"];
  EXPECT_EQ(success["attempts"], 1000);
  EXPECT_DOUBLE_EQ(success["success"]["value"], 12.0 / 1000);
  EXPECT_DOUBLE_EQ(success["mean"]["value"], 0.75);
  EXPECT_EQ(success["pairs"], 4);
}

TEST(ServiceReport, AShareIsAsUncertainAsItsClientsDiffer) {
  Traffic alike;
  Traffic different;
  const auto withTechnology = [](Fact& fact) { fact.technology = "LTE"; };
  for (int number = 0; number < 10; ++number) {
    const std::string client = std::to_string(number);
    for (const Outcome outcome : {Outcome::connected, Outcome::failed}) {
      alike.attempts(5, client, "office", outcome, withTechnology);
      different.attempts(5, client, "office", number < 5 ? Outcome::connected : Outcome::failed, withTechnology);
    }
  }
  const auto lowOf = [](const Json& share) { return share["low"].get<double>(); };
  for (const auto& [traffic, size] : {std::pair(&alike, 100), std::pair(&different, 10)}) {
    const Json report = traffic->report();
    const double low = shareOf(size / 2.0, size)->low;
    EXPECT_DOUBLE_EQ(lowOf(report["success"]["success"]), low);
    EXPECT_DOUBLE_EQ(lowOf(report["success"]["media"][0]["success"]), low);
    EXPECT_DOUBLE_EQ(lowOf(report["technologies"][0]["success"]), low);
  }
}

TEST(ServiceReport, AClientCountsOnceForEachNetworkAndAnUnknownOneForNone) {
  Traffic traffic;
  traffic.attempts(4, "a", "office", Outcome::connected);
  traffic.attempts(4, "a", "hotel", Outcome::failed);
  traffic.attempts(4, "", "hotel", Outcome::failed);
  const Json success = traffic.report()["success"];
  EXPECT_DOUBLE_EQ(success["mean"]["value"], 0.5);
  EXPECT_EQ(success["pairs"], 2);
  EXPECT_EQ(success["failed"], 8);
}

TEST(ServiceReport, DividesSuccessByMediumAndOverTime) {
  Traffic traffic;
  traffic.attempts(30, "a", "office", Outcome::connected);
  traffic.attempts(3, "a", "Mobile", Outcome::failed, [](Fact& fact) { fact.medium = Medium::mobile; });
  const Json report = traffic.report();
  const Json& media = report["success"]["media"];
  ASSERT_EQ(media.size(), 2U);
  EXPECT_EQ(media[0]["medium"], "wifi");
  EXPECT_EQ(media[0]["connected"], 30);
  EXPECT_EQ(media[1]["medium"], "mobile");
  EXPECT_DOUBLE_EQ(media[1]["mean"]["value"], 0);
  const Json& overTime = report["success"]["overTime"];
  ASSERT_EQ(overTime.size(), report["steps"].size());
  EXPECT_EQ(report["steps"][16], "2026-11-21T08:00:00.000Z");
  EXPECT_EQ(overTime[16]["connected"], 30);
  EXPECT_EQ(overTime[17]["failed"], 3);
}

TEST(ServiceReport, MeasuresTheTimeOfSuccessfulAttempts) {
  Traffic traffic;
  for (int each = 1; each <= 100; ++each) {
    traffic.attempt("a", "office", Outcome::connected, [&](Fact& fact) { fact.connecting = each * 100ms; });
  }
  traffic.attempts(25, "a", "office", Outcome::failed, [](Fact& fact) { fact.connecting = 1h; });
  const Json connecting = traffic.report()["connecting"];
  EXPECT_EQ(connecting["count"], 100);
  EXPECT_DOUBLE_EQ(connecting["p50"], 5);
  EXPECT_DOUBLE_EQ(connecting["p95"], 9.5);
  EXPECT_DOUBLE_EQ(connecting["p99"], 9.9);
  EXPECT_EQ(connecting["apdex"]["satisfied"], 40);
  EXPECT_EQ(connecting["apdex"]["tolerating"], 60);
  EXPECT_EQ(connecting["apdex"]["frustrated"], 25);
  EXPECT_DOUBLE_EQ(connecting["apdex"]["value"], (40 + 30) / 125.0);
  EXPECT_EQ(connecting["apdex"]["isSmall"], false);
  EXPECT_EQ(sum(connecting["overTime"], "count"), 100);
  ServiceQuery strict = kDay;
  strict.target = 1s;
  EXPECT_EQ(traffic.report(strict)["connecting"]["apdex"]["satisfied"], 10);
}

TEST(ServiceReport, ShowsTheEightMostFrequentReasons) {
  Traffic traffic;
  for (int kind = 1; kind <= 10; ++kind) {
    traffic.attempts(kind, "a", "office", Outcome::failed,
                     [&](Fact& fact) { fact.reason = fact.isStart ? "before" : "reason " + std::to_string(kind); });
  }
  const Json reasons = traffic.report()["reasons"];
  ASSERT_EQ(reasons["frequent"].size(), 8U);
  EXPECT_EQ(reasons["frequent"][0]["text"], "reason 10");
  EXPECT_EQ(reasons["frequent"][0]["count"], 10);
  EXPECT_EQ(reasons["frequent"][7]["text"], "reason 3");
  EXPECT_EQ(reasons["others"]["count"], 3);
  EXPECT_EQ(reasons["others"]["kinds"], 2);
}

TEST(ServiceReport, ComparesNetworksWithEnoughAttemptsAndClients) {
  Traffic traffic;
  for (const char* client : {"a", "b", "c"}) {
    traffic.attempts(7, client, "bad", Outcome::failed);
    traffic.attempts(7, client, "fair", Outcome::connected);
    traffic.attempts(3, client, "fair", Outcome::failed);
    traffic.attempts(6, client, "seldom", Outcome::failed);
  }
  traffic.attempts(50, "a", "home", Outcome::failed);
  traffic.attempts(500, "loop", "fair", Outcome::failed);  // counts as one of four clients
  const Json networks = traffic.report()["networks"];
  ASSERT_EQ(networks["worst"].size(), 2U);
  EXPECT_EQ(networks["worst"][0]["network"], "bad");
  EXPECT_EQ(networks["worst"][0]["clients"], 3);
  EXPECT_NEAR(networks["worst"][0]["success"]["high"].get<double>(), 0.5615, 0.0001);  // 0 of 3
  EXPECT_EQ(networks["worst"][1]["network"], "fair");
  EXPECT_NEAR(networks["worst"][1]["success"]["value"].get<double>(), 3 * 0.7 / 4, 1e-9);
  EXPECT_EQ(networks["worst"][1]["attempts"], 530);
  EXPECT_EQ(networks["tooFew"], 2);
}

TEST(ServiceReport, ComparesSignalWithDrops) {
  Traffic traffic;
  const auto with = [](int signal, Outcome end) {
    return [signal, end](Fact& fact) {
      fact.signal = signal;
      if (!fact.isStart) fact.outcome = end;
    };
  };
  traffic.attempts(3, "a", "office", Outcome::connected, with(-81, Outcome::dropped));
  traffic.attempts(1, "a", "office", Outcome::connected, with(-85, Outcome::unknown));
  traffic.attempts(2, "a", "office", Outcome::connected, with(-80, Outcome::unknown));
  const Json signal = traffic.report()["signal"];
  ASSERT_EQ(signal.size(), 2U);
  EXPECT_EQ(signal[0]["from"], -85);
  EXPECT_EQ(signal[0]["to"], -80);
  EXPECT_EQ(signal[0]["ended"], 4);
  EXPECT_DOUBLE_EQ(signal[0]["drops"]["value"], 0.75);
  EXPECT_EQ(signal[1]["from"], -80);
  EXPECT_EQ(signal[1]["dropped"], 0);
}

TEST(ServiceReport, ComparesRoamingAndTechnologies) {
  Traffic traffic;
  traffic.attempts(2, "a", "Mobile", Outcome::failed, [](Fact& fact) {
    fact.isRoaming = true;
    fact.technology = "LTE";
  });
  traffic.attempts(3, "a", "Mobile", Outcome::connected, [](Fact& fact) {
    fact.isRoaming = false;
    fact.technology = "NR";
  });
  traffic.attempts(4, "a", "office", Outcome::connected);
  const Json report = traffic.report();
  ASSERT_EQ(report["roaming"].size(), 2U);
  EXPECT_EQ(report["roaming"][0]["isAbroad"], false);
  EXPECT_EQ(report["roaming"][0]["connected"], 3);
  EXPECT_EQ(report["roaming"][1]["failed"], 2);
  ASSERT_EQ(report["technologies"].size(), 2U);
  EXPECT_EQ(report["technologies"][0]["technology"], "NR");
  EXPECT_EQ(report["technologies"][1]["failed"], 2);
}

TEST(ServiceReport, FollowsVpnSessions) {
  Traffic traffic;
  const auto vpn = [](std::chrono::minutes length) {
    return [length](Fact& fact) {
      fact.medium = Medium::vpn;
      if (fact.isStart) fact.connecting = 2s;
      if (!fact.isStart) fact.time += length - 30s;
      if (!fact.isStart) fact.reason = length < 1h ? "Disconnected By Policy" : "Disconnected By User";
    };
  };
  traffic.attempts(3, "a", "gateway", Outcome::connected, vpn(2h));
  traffic.attempts(1, "a", "gateway", Outcome::connected, vpn(5min));
  traffic.attempts(2, "a", "gateway", Outcome::failed, vpn(1min));
  traffic.attempt("a", "gateway", Outcome::connected, vpn(1min));
  traffic.facts().pop_back();
  std::ranges::stable_sort(traffic.facts(), {}, &Fact::time);
  const Json report = traffic.report();
  const Json& vpnFigures = report["vpn"];
  EXPECT_EQ(vpnFigures["connected"], 5);
  EXPECT_EQ(vpnFigures["failed"], 2);
  EXPECT_EQ(vpnFigures["withoutStop"], 1);
  EXPECT_EQ(vpnFigures["withoutStart"], 0);
  EXPECT_EQ(vpnFigures["lengths"]["count"], 4);
  EXPECT_DOUBLE_EQ(vpnFigures["lengths"]["p50"], 7200);
  EXPECT_EQ(vpnFigures["setUp"]["count"], 5);
  ASSERT_EQ(vpnFigures["ends"]["frequent"].size(), 2U);
  EXPECT_EQ(vpnFigures["ends"]["frequent"][0]["text"], "Disconnected By User");
  EXPECT_EQ(vpnFigures["ends"]["frequent"][0]["count"], 3);
  EXPECT_EQ(report["success"]["attempts"], 0) << "a VPN session is no connection";
}

TEST(ServiceReport, MeasuresTheAgeOfRecordsAtTheirArrival) {
  Traffic traffic;
  traffic.attempts(5, "a", "office", Outcome::connected, [](Fact& fact) { fact.age = fact.isStart ? 30s : 2h; });
  traffic.attempt("a", "office", Outcome::connected);  // their age is unknown
  const Json ages = traffic.report()["ages"];
  EXPECT_EQ(ages["count"], 10);
  EXPECT_DOUBLE_EQ(ages["p50"], 30);
  EXPECT_DOUBLE_EQ(ages["p95"], 7200);
  EXPECT_EQ(ages["ranges"][0]["count"], 5);
  EXPECT_EQ(sum(ages["ranges"], "count"), 10);
}

TEST(ServiceReport, NamesTheNetworksAndVersionsThatAFilterCanChoose) {
  Traffic traffic;
  traffic.attempts(1, "a", "office", Outcome::connected, [](Fact& fact) { fact.version = "4.70"; });
  traffic.attempts(2, "a", "hotel", Outcome::connected, [](Fact& fact) { fact.version = "4.71"; });
  traffic.attempts(8, "a", "gateway", Outcome::connected, [](Fact& fact) { fact.medium = Medium::vpn; });
  const Json report = traffic.report();
  EXPECT_EQ(report["networksSeen"].dump(), R"(["hotel","office"])");
  EXPECT_EQ(report["versionsSeen"].dump(), R"(["4.71","4.70"])");
}

}  // namespace
