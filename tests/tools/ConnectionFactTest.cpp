// What a record tells about the quality of the service: the forms of the records, and values that are missing, unknown,
// hostile or out of range.

#include <chrono>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/internal/Utf8.h"
#include "sqm/common/internal/XmlText.h"
#include "sqm/records/SQMApplicationRecHelper.h"

#include "tools/collector/RecordReader.h"
#include "tools/collector/service/ConnectionFact.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;
using std::chrono::sys_days;
using Fact = ConnectionFact;
using Medium = Fact::Medium;
using Outcome = Fact::Outcome;

constexpr Fact::Time kNoon = sys_days(std::chrono::year(2026) / 11 / 21) + 12h;

Record recordOf(std::string_view type, FieldValues values, std::optional<std::string> subType = std::nullopt) {
  Record record;
  record.type = type;
  record.subType = std::move(subType);
  record.values = std::move(values);
  return record;
}

/// The facts of a document's records, as they arrive at noon.
std::vector<std::optional<Fact>> factsOf(const std::string& document) {
  std::vector<std::optional<Fact>> facts;
  readRecords("/", document, [&](const Record& record) { facts.push_back(factOf(record, FieldMapping(), kNoon)); });
  return facts;
}

std::optional<Fact> connectionFact(const std::string& record) {
  const auto facts = factsOf("<connectionList>" + record + "</connectionList>");
  EXPECT_EQ(facts.size(), 1U) << record;
  return facts.empty() ? std::nullopt : facts.front();
}

std::optional<Fact> vpnFact(const std::string& record) {
  const auto facts = factsOf("<sqmList>" + record + "</sqmList>");
  EXPECT_EQ(facts.size(), 1U) << record;
  return facts.empty() ? std::nullopt : facts.front();
}

/// A Wi-Fi start with these elements among its fields.
std::string wiFiStart(const std::string& fields) {
  return "<connectionRecord><eventTime "
         "timestamp=\"0000000000\">2026-11-21T11:00:00Z</eventTime><event>start</event><wifi>" +
         fields + "</wifi></connectionRecord>";
}

TEST(ConnectionFact, IsMadeOfAWiFiStart) {
  const auto fact = connectionFact(
      "<connectionRecord><eventTime "
      "timestamp=\"0000000000\">2026-11-21T11:59:30.250Z</eventTime><clientId>c-1</clientId>"
      "<event>start</event><recordIndex>0</recordIndex><wifi><sessionId>s-1</sessionId>"
      "<connectionStatus>connected</connectionStatus><userName>ada</userName><signalStrength>-61</signalStrength>"
      "<ssid>Caf\u00E9 &lt;Bar&gt;</ssid><radioType>802.11ax</radioType><loginSeconds>2.7</loginSeconds>"
      "<accessPointOwner></accessPointOwner></wifi></connectionRecord>");
  const Fact expected = {.time = kNoon - 29750ms,
                         .age = 29750ms,
                         .medium = Medium::wiFi,
                         .isStart = true,
                         .outcome = Outcome::connected,
                         .client = "c-1",
                         .session = "s-1",
                         .network = "Caf\u00E9 <Bar>",
                         .reason = "",
                         .technology = "802.11ax",
                         .version = "",
                         .connecting = 2700ms,
                         .signal = -61};
  EXPECT_EQ(fact, expected);
}

TEST(ConnectionFact, IsMadeOfAMobileBroadbandStop) {
  const auto fact = connectionFact(
      "<connectionRecord><eventTime "
      "timestamp=\"0000000000\">2026-11-21T10:00:00+01:00</eventTime><clientId>c-1</clientId>"
      "<event>stop</event><recordIndex>1</recordIndex><mobile><sessionId>s-2</sessionId>"
      "<connectionStatus>dropped</connectionStatus><disconnectReason>signal lost</disconnectReason>"
      "<carrier>Example Mobile</carrier><technology>LTE</technology><roaming>1</roaming><registration></registration>"
      "<receivedPower>-97</receivedPower></mobile></connectionRecord>");
  ASSERT_TRUE(fact);
  EXPECT_EQ(fact->time, kNoon - 3h);
  EXPECT_EQ(fact->medium, Medium::mobile);
  EXPECT_FALSE(fact->isStart);
  EXPECT_EQ(fact->outcome, Outcome::dropped);
  EXPECT_EQ(fact->network, "Example Mobile");
  EXPECT_EQ(fact->reason, "signal lost");
  EXPECT_EQ(fact->technology, "LTE");
  EXPECT_EQ(fact->isRoaming, true);
  EXPECT_EQ(fact->signal, -97);
  EXPECT_EQ(fact->connecting, std::nullopt);
}

TEST(ConnectionFact, IsMadeOfAWiredStart) {
  const auto fact = connectionFact(
      "<connectionRecord><eventTime timestamp=\"0000000000\">2026-11-21T11:00:00Z</eventTime><clientId></clientId>"
      "<event>start</event><recordIndex>0</recordIndex><ethernet><connectionStatus>failed</connectionStatus>"
      "<wiredSpeed></wiredSpeed></ethernet></connectionRecord>");
  ASSERT_TRUE(fact);
  EXPECT_EQ(fact->medium, Medium::ethernet);
  EXPECT_EQ(fact->outcome, Outcome::failed);
  EXPECT_EQ(fact->client, "");
  EXPECT_EQ(fact->network, "");
}

TEST(ConnectionFact, HasTheTextsOfTheCodeTablesForVpnSessions) {
  auto& codes = *sqm::SQMApplicationRecHelper::sharedSQMApplicationRecHelper();
  const std::pair<int, Outcome> results[] = {
      {0, Outcome::unknown}, {1, Outcome::connected}, {2, Outcome::failed}, {3, Outcome::unknown}};
  for (const auto& [code, outcome] : results) {
    const auto fact = vpnFact(
        "<vpn><eventTime timestamp=\"0000000000\">2026-11-21T11:00:00Z</eventTime><vpnLaunch></vpnLaunch>"
        "<vpnProfile>Head office</vpnProfile><vpnEvent>start</vpnEvent><vpnIndex>-1</vpnIndex><vpnStatus>" +
        std::string(codes.connectionStatusCode(4)) + "</vpnStatus><vpnResult>" +
        std::string(codes.connectionResult(code)) +
        "</vpnResult><userName>ada</userName><vpnClientVersion>4.70</vpnClientVersion>"
        "<vpnSetupSeconds>2</vpnSetupSeconds><gateway>vpn.example.com</gateway></vpn>");
    const Fact expected = {.time = kNoon - 1h,
                           .age = 1h,
                           .medium = Medium::vpn,
                           .isStart = true,
                           .outcome = outcome,
                           .client = "ada",
                           .session = "Head office",
                           .network = "vpn.example.com",
                           .reason = "Authentication Failure",
                           .technology = "",
                           .version = "4.70",
                           .connecting = 2s};
    EXPECT_EQ(fact, expected) << code;
  }
}

TEST(ConnectionFact, AVpnStopHasItsReason) {
  const auto fact = vpnFact(
      "<vpn><eventTime "
      "timestamp=\"0000000000\">2026-11-21T11:00:00Z</eventTime><vpnLaunch></vpnLaunch><vpnProfile></vpnProfile>"
      "<vpnEvent>stop</vpnEvent><vpnDisconnectReason>Disconnected By "
      "Policy</vpnDisconnectReason><gateway></gateway></vpn>");
  ASSERT_TRUE(fact);
  EXPECT_FALSE(fact->isStart);
  EXPECT_EQ(fact->outcome, Outcome::unknown);
  EXPECT_EQ(fact->reason, "Disconnected By Policy");
}

TEST(ConnectionFact, IsNotMadeOfOtherRecords) {
  EXPECT_EQ(connectionFact("<connectionRecord><eventTime timestamp=\"0000000000\">2026-11-21T11:00:00Z</eventTime>"
                           "<wifi><accessPointOwner></accessPointOwner></wifi></connectionRecord>"),
            std::nullopt);  // a record of its time alone
  EXPECT_EQ(connectionFact("<connectionRecord><event></event><mobile></mobile></connectionRecord>"), std::nullopt);
  EXPECT_EQ(connectionFact("<connectionRecord><event>pause</event></connectionRecord>"), std::nullopt);
  EXPECT_EQ(connectionFact("<(null)><(null)>start</(null)></(null)>"), std::nullopt);  // without a field-name table
  for (const std::string list : {"clientList", "deviceList", "userAcceptanceList"}) {
    EXPECT_EQ(factsOf("<" + list + "><r><event>start</event></r></" + list + ">"),
              std::vector<std::optional<Fact>>{std::nullopt});
  }
}

TEST(ConnectionFact, LeavesOutWhatIsMissingOrUnknown) {
  const auto fact = connectionFact(
      "<connectionRecord><event>stop</event><satellite><connectionStatus>what</connectionStatus></satellite></"
      "connectionRecord>");
  EXPECT_EQ(fact, (Fact{.time = kNoon, .age = std::nullopt}));
}

TEST(ConnectionFact, TakesATimeInEachForm) {
  const std::pair<const char*, std::optional<Fact::Time>> times[] = {
      {"2026-11-21T11:00:00Z", kNoon - 1h},
      {"2026-11-21T11:00", kNoon - 1h},
      {"20261121T110000", kNoon - 1h},
      {"2026-11-21T13:00:00.5+02:00", kNoon - 1h + 500ms},
      {"2026-11-21", kNoon - 12h},
      {"20261121", kNoon - 12h},
      {"1795258800", kNoon - 1h},
      {"1795258800123", kNoon - 1h + 123ms},
      {"0000000000", std::nullopt},
      {"1795258800.5", std::nullopt},
      {"-1795258800", std::nullopt},
      {"-9223372036854775808", std::nullopt},
      {"1999-12-31T23:59:59Z", std::nullopt},
      {"2026-02-30T11:00:00Z", std::nullopt},
      {"2026-11-21 at 11", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& [text, time] : times) {
    const auto fact = connectionFact(std::string("<c><eventTime>") + text + "</eventTime><event>start</event></c>");
    ASSERT_TRUE(fact) << text;
    EXPECT_EQ(fact->time, time.value_or(kNoon)) << text;
    EXPECT_EQ(fact->age, time ? std::optional(kNoon - *time) : std::nullopt) << text;
  }
}

TEST(ConnectionFact, ATimeAfterTheArrivalCountsAsTheArrival) {
  for (const char* text : {"2026-11-21T12:00:01Z", "9999-12-31T23:59:59Z", "9223372036854775807"}) {
    const auto fact = connectionFact(std::string("<c><eventTime>") + text + "</eventTime><event>start</event></c>");
    ASSERT_TRUE(fact) << text;
    EXPECT_EQ(fact->time, kNoon) << text;
    EXPECT_EQ(fact->age, 0ms) << text;
  }
}

TEST(ConnectionFact, LeavesOutNumbersThatCannotBe) {
  for (const char* text : {"-0.1", "3600.1", "1e99", "nan", "inf", "2,7", "2.7 s", " 2", ""}) {
    EXPECT_EQ(connectionFact(wiFiStart(std::string("<loginSeconds>") + text + "</loginSeconds>"))->connecting,
              std::nullopt)
        << text;
  }
  for (const char* text : {"0", "1", "-151", "-61.5", "strong", "99999999999999999999", ""}) {
    EXPECT_EQ(connectionFact(wiFiStart(std::string("<signalStrength>") + text + "</signalStrength>"))->signal,
              std::nullopt)
        << text;
  }
  EXPECT_EQ(connectionFact(wiFiStart("<loginSeconds>0</loginSeconds>"))->connecting, 0ms);
  EXPECT_EQ(connectionFact(wiFiStart("<loginSeconds>3600</loginSeconds>"))->connecting, 1h);
  EXPECT_EQ(connectionFact(wiFiStart("<signalStrength>-150</signalStrength>"))->signal, -150);
  EXPECT_EQ(connectionFact(wiFiStart("<signalStrength>-1</signalStrength>"))->signal, -1);
}

TEST(ConnectionFact, KnowsRoamingByItsTextsAndOnlyWhereItIsStated) {
  EXPECT_EQ(connectionFact(wiFiStart("<roaming>TRUE</roaming>"))->isRoaming, true);
  EXPECT_EQ(connectionFact(wiFiStart("<roaming>0</roaming>"))->isRoaming, false);
  EXPECT_EQ(connectionFact(wiFiStart("<roaming></roaming>"))->isRoaming, std::nullopt);
  EXPECT_EQ(connectionFact(wiFiStart(""))->isRoaming, std::nullopt);
}

TEST(ConnectionFact, CutsLongTextsAtACharacter) {
  std::string name;
  while (name.size() < 2 * kLongestFactText) name += "\u2603";
  const auto fact = connectionFact(wiFiStart("<ssid>x" + name + "</ssid>"));
  EXPECT_EQ(fact->network.size(), kLongestFactText - 2);
  EXPECT_TRUE(sqm::isWellFormedUtf8(fact->network));
}

TEST(ConnectionFact, ItsTextsAreWellFormedAndHaveNoControlCharacters) {
  const Record record = recordOf("connection", {{"event", "start"},
                                                {"ssid", std::string("a\0b\xFF\x1B[31m\tc\r\n\xC3", 14)},
                                                {"clientId", std::string(3 * kLongestFactText, '\xFF')}});
  const auto fact = factOf(record, FieldMapping(), kNoon);
  ASSERT_TRUE(fact);
  EXPECT_EQ(fact->network, "a\uFFFDb\uFFFD\uFFFD[31m c  \uFFFD");
  EXPECT_TRUE(sqm::isXmlAllowed(fact->client));
  EXPECT_LE(fact->client.size(), kLongestFactText);
}

TEST(ConnectionFact, IsFoundUnderOtherNames) {
  std::istringstream lines("event = was\nis-start = Beginn\nnetwork = netz\nis-wifi = funk\n");
  const FieldMapping mapping = FieldMapping::ofLines(lines, "names");
  const Record record = recordOf("connection", {{"was", "beginn"}, {"netz", "daheim"}}, "funk");
  const auto fact = factOf(record, mapping, kNoon);
  ASSERT_TRUE(fact);
  EXPECT_EQ(fact->network, "daheim");
  EXPECT_EQ(fact->medium, Medium::wiFi);
  EXPECT_EQ(factOf(record, FieldMapping(), kNoon), std::nullopt);
}

TEST(ClientVersion, IsThatOfAClientRecordAlone) {
  const Record client = recordOf("client", {{"clientId", "c-1"}, {"productVersion", "4.70"}});
  EXPECT_EQ(clientVersionOf(client, FieldMapping()), (ClientVersion{"c-1", "4.70"}));
  const Record nameless = recordOf("client", {{"productVersion", "4.70"}});
  EXPECT_EQ(clientVersionOf(nameless, FieldMapping()), std::nullopt);
  const Record versionless = recordOf("client", {{"clientId", "c-1"}, {"productVersion", ""}});
  EXPECT_EQ(clientVersionOf(versionless, FieldMapping()), std::nullopt);
  const Record vpn = recordOf("application", {{"userName", "ada"}, {"vpnClientVersion", "4.70"}});
  EXPECT_EQ(clientVersionOf(vpn, FieldMapping()), std::nullopt);
}

}  // namespace
