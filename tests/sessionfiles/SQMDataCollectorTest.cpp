#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/testing/FakeHost.h"

#include "tests/sessionfiles/FullSession.h"
#include "tests/sessionfiles/SqmLine.h"
#include "tests/support/Golden.h"

using sqm::Date;
using sqm::SQMDataCollector;
using sqm::testing::FakeHost;
using namespace std::chrono_literals;

namespace {

using Texts = std::map<std::size_t, std::string>;
using Arguments = std::array<std::optional<std::string_view>, 7>;

const std::string kFolder = "/sessions";
constexpr Date kNoon = std::chrono::sys_days(std::chrono::November / 15 / 2026) + std::chrono::hours(12);

/// The text at every position before a call under test.
constexpr std::string_view kBefore = "before";

/// The three calls that take seven texts.
struct TextCall {
  std::string_view name;
  std::function<void(SQMDataCollector&, const Arguments&)> call;
  std::vector<std::pair<std::size_t, std::optional<std::size_t>>> written;  // position, argument, in order of writing
};

const TextCall kCreation = {"collectDataOnCreation",
                            [](SQMDataCollector& collector, const Arguments& a) {
                              collector.collectDataOnCreation(a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
                            },
                            {{0, 2},
                             {21, 3},
                             {1, {}},
                             {3, {}},
                             {19, 0},
                             {20, 4},
                             {41, 5},
                             {30, 1},
                             {31, 6},
                             {2, {}},
                             {9, {}},
                             {43, {}},
                             {18, {}},
                             {77, {}},
                             {42, {}},
                             {82, {}},
                             {83, {}},
                             {85, {}}}};

// Argument 3, the pop type, is not listed: an absent one is no error.
const TextCall kPreConnect = {
    "collectDataonPreConnect",
    [](SQMDataCollector& collector, const Arguments& a) {
      collector.collectDataonPreConnect(a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
    },
    {{34, 0}, {40, 1}, {7, 1}, {28, 2}, {24, {}}, {79, 4}, {75, 5}, {29, {}}, {35, {}}, {36, {}}, {76, 6}}};

const TextCall kPostConnect = {"collectDataPostConnect",
                               [](SQMDataCollector& collector, const Arguments& a) {
                                 collector.collectDataPostConnect(a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
                               },
                               {{4, 0}, {5, 1}, {16, 5}, {15, 6}, {37, 2}, {38, 3}, {58, 4}}};

class SQMDataCollectorTest : public ::testing::Test {
 protected:
  SQMDataCollectorTest() {
    host.clock.set(kNoon);
    host.files.makeFolder(kFolder);
    collector.setSQMDirPath(kFolder);
  }

  void fillRow() {
    for (std::int64_t position = 0; position < 86; ++position) collector.setStringValueForField(position, kBefore);
  }

  /// The texts that are not `before`, by position.
  Texts changed(std::string_view before = kBefore) const {
    Texts texts;
    for (std::size_t position = 0; position < 86; ++position) {
      const auto text = collector.valueForField(static_cast<std::int64_t>(position));
      if (text != before) texts[position] = *text;
    }
    return texts;
  }

  void createWithNumbers() { collector.collectDataOnCreation("0", "1", "2", "3", "4", "5", "6"); }

  FakeHost host;
  SQMDataCollector collector{host.host};
};

TEST_F(SQMDataCollectorTest, CreationEmptiesTheRowAndFillsItsPositions) {
  fillRow();
  collector.collectDataOnCreation("first", "lang", "user", "full user", "profile", "install", "counter");
  EXPECT_EQ(changed(""), (Texts{{0, "user"},
                                {1, "10.8.2"},
                                {2, "Barrim.exe 4.70"},
                                {18, "-100"},
                                {19, "first"},
                                {20, "profile"},
                                {21, "full user"},
                                {30, "lang"},
                                {31, "counter"},
                                {41, "install"},
                                {43, "0"},
                                {77, "1"},
                                {85, "0"}}));
}

TEST_F(SQMDataCollectorTest, PreConnectFillsItsPositions) {
  fillRow();
  collector.collectDataonPreConnect("first", "ssid", "procedure", "customer", "security", "phone", "date");
  EXPECT_EQ(changed(), (Texts{{7, "ssid"},
                              {24, "1"},
                              {28, "procedure"},
                              {29, ""},
                              {34, "first"},
                              {35, ""},
                              {36, ""},
                              {40, "ssid"},
                              {75, "phone"},
                              {76, "date"},
                              {79, "security"}}));
}

TEST_F(SQMDataCollectorTest, PostConnectFillsItsPositions) {
  fillRow();
  collector.collectDataPostConnect("first", "device", "client mac", "ap mac", "strength", "client ip", "server ip");
  EXPECT_EQ(changed(), (Texts{{4, "first"},
                              {5, "device"},
                              {15, "server ip"},
                              {16, "client ip"},
                              {37, "client mac"},
                              {38, "ap mac"},
                              {58, "strength"}}));
}

TEST_F(SQMDataCollectorTest, DisconnectionFillsItsPositionsWithTheSentBytesBeforeTheReceivedOnes) {
  fillRow();
  collector.collectDataOnDisconnect(3, -70, "phone", "date", /*rxBytes=*/10, /*txBytes=*/20);
  EXPECT_EQ(changed(), (Texts{{33, "3"}, {66, "-70"}, {70, "20"}, {71, "10"}, {75, "phone"}, {76, "date"}}));
}

TEST_F(SQMDataCollectorTest, DisconnectionTakesTheWholeRangeOfItsNumbers) {
  constexpr auto kSmallest = std::numeric_limits<std::int64_t>::min();
  constexpr auto kGreatest = std::numeric_limits<std::int64_t>::max();
  collector.collectDataOnDisconnect(std::numeric_limits<std::uint32_t>::max(), kSmallest, "", "", kSmallest, kGreatest);
  EXPECT_EQ(changed(""), (Texts{{33, "4294967295"},
                                {66, "-9223372036854775808"},
                                {70, "9223372036854775807"},
                                {71, "-9223372036854775808"}}));
}

TEST_F(SQMDataCollectorTest, TheLaterCallGivesThePhoneBookItsVersionAndDate) {
  collector.collectDataonPreConnect("", "", "", "", "", "phone before", "date before");
  collector.collectDataOnDisconnect(0, 0, "phone after", "date after", 0, 0);
  EXPECT_EQ(collector.valueForField(75), "phone after");
  EXPECT_EQ(collector.valueForField(76), "date after");
  collector.collectDataonPreConnect("", "", "", "", "", "phone again", "date again");
  EXPECT_EQ(collector.valueForField(75), "phone again");
  EXPECT_EQ(collector.valueForField(76), "date again");
}

TEST_F(SQMDataCollectorTest, TransferredBytesAreTextsAndAnAbsentOneIsWrittenAsTheWordNull) {
  collector.setTxandRxBytes("many", "%@ more");
  EXPECT_EQ(changed(""), (Texts{{70, "many"}, {71, "%@ more"}}));
  collector.setTxandRxBytes(std::nullopt, "");
  EXPECT_EQ(changed(""), (Texts{{70, "(null)"}}));
}

TEST_F(SQMDataCollectorTest, ErrorCodeAndAutoConnectTakeThePlaceOfWhatCreationWrote) {
  createWithNumbers();
  collector.setErrorCode(-7);
  collector.setAutoConnect(1);
  EXPECT_EQ(collector.valueForField(18), "-7");
  EXPECT_EQ(collector.valueForField(85), "1");
}

TEST_F(SQMDataCollectorTest, OwnerOfTheAccessPointIsACodeComparedExactly) {
  const std::pair<std::optional<std::string_view>, std::string_view> cases[] = {
      {"", "3"},     {"trelk", "0"}, {"customer", "1"}, {"home", "2"},      {"Home", ""},
      {"TRELK", ""}, {"home ", ""},  {"hotel", ""},     {std::nullopt, ""},
  };
  for (const auto& [popType, code] : cases) {
    fillRow();
    collector.collectDataonPreConnect("", "", "", popType, "", "", "");
    EXPECT_EQ(collector.valueForField(24), code) << popType.value_or("absent");
  }
}

TEST_F(SQMDataCollectorTest, AccessProcedureIsLeftOutWhenTheFirstArgumentIsS) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"s", ""}, {"S", "wispr"}, {"ss", "wispr"}, {"", "wispr"}, {"w", "wispr"}};
  for (const auto& [first, written] : cases) {
    fillRow();
    collector.collectDataonPreConnect(first, "", "wispr", "", "", "", "");
    EXPECT_EQ(collector.valueForField(28), written) << first;
    EXPECT_EQ(collector.valueForField(34), first);
  }
  EXPECT_NO_THROW(collector.collectDataonPreConnect("s", "", std::nullopt, "", "", "", ""));
}

TEST_F(SQMDataCollectorTest, AnAbsentArgumentThrowsAndWhatWasWrittenBeforeItStays) {
  for (const TextCall& call : {kCreation, kPreConnect, kPostConnect}) {
    for (std::size_t absent = 0; absent < 7; ++absent) {
      if (call.name == kPreConnect.name && absent == 3) continue;
      Arguments arguments;
      arguments.fill("given");
      arguments[absent].reset();
      std::set<std::size_t> expected;
      for (const auto& [position, argument] : call.written) {
        if (argument == absent) break;
        expected.insert(position);
      }
      fillRow();
      EXPECT_THROW(call.call(collector, arguments), std::invalid_argument) << call.name << " " << absent;
      // Creation empties the row first: an empty text that it writes later is not distinguishable.
      const bool isEmptied = call.name == kCreation.name;
      if (isEmptied) expected.erase(3);
      std::set<std::size_t> found;
      for (const auto& [position, text] : changed(isEmptied ? "" : kBefore)) found.insert(position);
      EXPECT_EQ(found, expected) << call.name << " " << absent;
    }
  }
}

TEST_F(SQMDataCollectorTest, DisconnectionWritesItsNumbersThenItsTextsThenTheBytes) {
  EXPECT_THROW(collector.collectDataOnDisconnect(1, 2, std::nullopt, "date", 3, 4), std::invalid_argument);
  EXPECT_EQ(changed(""), (Texts{{33, "1"}, {66, "2"}}));
  EXPECT_THROW(collector.collectDataOnDisconnect(1, 2, "phone", std::nullopt, 3, 4), std::invalid_argument);
  EXPECT_EQ(changed(""), (Texts{{33, "1"}, {66, "2"}, {75, "phone"}}));
}

TEST_F(SQMDataCollectorTest, TheSystemVersionIsReadOnceAndKept) {
  EXPECT_EQ(collector.getOSVersion(), "10.8.2");
  createWithNumbers();
  host.utilities.osVersion = "10.9";
  EXPECT_EQ(collector.getOSVersion(), "10.9");
  collector.clear();
  EXPECT_EQ(collector.valueForField(1), "");
  createWithNumbers();
  EXPECT_EQ(collector.valueForField(1), "10.8.2");
}

TEST_F(SQMDataCollectorTest, AnEmptySystemVersionIsKeptAndNotReadAgain) {
  host.utilities.osVersion = "";
  createWithNumbers();
  EXPECT_EQ(collector.valueForField(1), "");
  host.utilities.osVersion = "10.9";
  createWithNumbers();
  EXPECT_EQ(collector.valueForField(1), "");
}

TEST_F(SQMDataCollectorTest, ASecondCreationClearsEverythingWrittenBefore) {
  createWithNumbers();
  const Texts afterCreation = changed("");
  fillRow();
  collector.setConnectStartTime();
  collector.setLoginStartTime();
  host.clock.advance(5s);
  createWithNumbers();
  EXPECT_EQ(changed(""), afterCreation);
  collector.setLoginEndTime();
  EXPECT_EQ(collector.valueForField(32), "0") << "the date of the login start is reset, too";
}

TEST_F(SQMDataCollectorTest, StartTimesAreWrittenAsTheDateMovedBackByTheOffsetOfTheZone) {
  const std::chrono::seconds offsets[] = {0s, 1h, 2h, -8h, 5h + 30min};
  for (const std::chrono::seconds offset : offsets) {
    host.dates.offset = offset;
    const auto asked = [&](Date date) {
      return "Y-MM-dd H:mm:s.F@" + std::to_string((date - offset).time_since_epoch().count());
    };
    host.clock.set(kNoon);
    collector.setConnectStartTime();
    host.clock.advance(1500ms);
    collector.setLoginStartTime();
    EXPECT_EQ(collector.valueForField(12), asked(kNoon));
    EXPECT_EQ(collector.valueForField(13), asked(kNoon + 1500ms));
  }
}

TEST_F(SQMDataCollectorTest, ConnectStartWritesNothingButItsTime) {
  fillRow();
  collector.setConnectStartTime();
  EXPECT_EQ(changed().size(), 1U);
}

TEST_F(SQMDataCollectorTest, SecondsToTheLoginAreTheDifferenceOfTwoWholeReadings) {
  const std::pair<std::chrono::milliseconds, std::string_view> cases[] = {
      {0ms, "5"}, {99ms, "5"}, {100ms, "6"}, {999ms, "6"}};
  for (const auto& [fraction, seconds] : cases) {
    host.clock.set(kNoon + fraction);
    collector.setConnectStartTime();
    host.clock.advance(5900ms);
    collector.setLoginStartTime();
    EXPECT_EQ(collector.valueForField(14), seconds) << fraction.count();
  }
}

TEST_F(SQMDataCollectorTest, SecondsToTheLoginComeFromTheCClockAndLoginSecondsFromTheDates) {
  collector.setConnectStartTime();
  host.clock.seconds += 40;
  collector.setLoginStartTime();
  EXPECT_EQ(collector.valueForField(14), "40");
  host.clock.seconds += 1000;
  host.clock.now += 9s;
  collector.setLoginEndTime();
  EXPECT_EQ(collector.valueForField(32), "9");
}

TEST_F(SQMDataCollectorTest, AClockThatWasSetBackGivesNegativeSeconds) {
  collector.setConnectStartTime();
  host.clock.advance(-30s);
  collector.setLoginStartTime();
  EXPECT_EQ(collector.valueForField(14), "-30");
  host.clock.advance(-2700ms);
  collector.setLoginEndTime();
  EXPECT_EQ(collector.valueForField(32), "-2");
}

TEST_F(SQMDataCollectorTest, ALoginWithoutAConnectionStartCountsFromTheEpoch) {
  collector.setLoginStartTime();
  EXPECT_EQ(collector.valueForField(14), std::to_string(host.clock.seconds));
}

TEST_F(SQMDataCollectorTest, TheConnectionStartOutlivesASecondCreationOnTheCClock) {
  collector.setConnectStartTime();
  createWithNumbers();
  host.clock.advance(7s);
  collector.setLoginStartTime();
  EXPECT_EQ(collector.valueForField(14), "7");
}

TEST_F(SQMDataCollectorTest, LoginSecondsAreCutTowardsZero) {
  const std::pair<std::chrono::microseconds, std::string_view> cases[] = {
      {2700ms, "2"}, {2999'999us, "2"}, {3s, "3"}, {0s, "0"}, {999ms, "0"}, {-999ms, "0"}, {-1500ms, "-1"}};
  for (const auto& [duration, seconds] : cases) {
    host.clock.set(kNoon + 400ms);
    collector.setLoginStartTime();
    host.clock.advance(duration);
    collector.setLoginEndTime();
    EXPECT_EQ(collector.valueForField(32), seconds) << duration.count();
  }
}

TEST_F(SQMDataCollectorTest, ALoginEndWithoutALoginStartStoresZero) {
  collector.setConnectStartTime();
  host.clock.advance(5s);
  collector.setLoginEndTime();
  EXPECT_EQ(collector.valueForField(32), "0");
}

TEST_F(SQMDataCollectorTest, ALaterStartTakesThePlaceOfAnEarlierOne) {
  collector.setLoginStartTime();
  host.clock.advance(60s);
  collector.setLoginStartTime();
  host.clock.advance(4s);
  collector.setLoginEndTime();
  EXPECT_EQ(collector.valueForField(32), "4");
}

TEST_F(SQMDataCollectorTest, TheFileSavedRightAfterCreationHoldsItsConstantsAndIsEmptyElsewhere) {
  createWithNumbers();
  collector.saveRecord();
  ASSERT_EQ(host.files.names(kFolder), (std::vector<std::string>{"0Q20261115120000.sqm"}));
  EXPECT_EQ(host.files.content(kFolder + "/0Q20261115120000.sqm"), sqmLine({{0, "2"},
                                                                            {1, "10.8.2"},
                                                                            {2, "Barrim.exe 4.70"},
                                                                            {18, "-100"},
                                                                            {19, "0"},
                                                                            {20, "4"},
                                                                            {21, "3"},
                                                                            {30, "1"},
                                                                            {31, "6"},
                                                                            {41, "5"},
                                                                            {43, "0"},
                                                                            {77, "1"},
                                                                            {85, "0"}}));
}

TEST_F(SQMDataCollectorTest, AFullSessionIsOneLine) {
  host.dates.offset = 1h;
  const auto text = [&](Date date, std::string_view written) {
    host.dates.texts["Y-MM-dd H:mm:s.F@" + std::to_string((date - 1h).time_since_epoch().count())] = written;
  };
  text(kSessionConnectStart, "2026-11-15 20:01:5.3");
  text(kSessionLoginStart, "2026-11-15 20:01:10.3");
  collectFullSession(collector, host.clock);
  ASSERT_EQ(host.files.names(kFolder), std::vector<std::string>{std::string(kSessionFile)});
  expectGoldenFile(host.files.content(kFolder + "/" + std::string(kSessionFile)).value(), "full_session.sqm");
}

TEST_F(SQMDataCollectorTest, ASaveThatFailsIsNotReported) {
  collector.setSQMDirPath("/missing");
  collector.saveRecord();
  EXPECT_EQ(host.files.names(kFolder), std::vector<std::string>{});
}

}  // namespace
