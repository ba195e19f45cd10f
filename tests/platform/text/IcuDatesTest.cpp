#include <chrono>
#include <clocale>
#include <locale>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>

#include "sqm/platform/system/SystemClock.h"
#include "sqm/platform/text/IcuDates.h"
#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/testing/FakeHost.h"

#include "tests/platform/system/Environment.h"
#include "tests/sessionfiles/FullSession.h"
#include "tests/support/Golden.h"

using sqm::Date;
using sqm::SQMDataCollector;
using sqm::platform::IcuDates;
using sqm::platform::test::EnvironmentVariable;
using sqm::testing::FakeHost;
using namespace std::chrono_literals;

namespace {

constexpr std::string_view kStartTimePattern = "Y-MM-dd H:mm:s.F";

constexpr Date at(std::chrono::year_month_day day, std::chrono::microseconds time) {
  return std::chrono::sys_days(day) + time;
}

/// The text that a collector writes for a connection that starts at this moment, in this zone.
std::string startTime(Date moment, const std::string& zone) {
  FakeHost host;
  IcuDates dates(zone);
  host.host.dates = &dates;
  host.clock.set(moment);
  SQMDataCollector collector(host.host);
  collector.setConnectStartTime();
  return std::string(*collector.valueForField(12));
}

TEST(IcuDates, RecognisesTheNamesOfZones) {
  for (const char* each : {"Europe/Berlin", "Asia/Kolkata", "UTC", "America/Argentina/Buenos_Aires"})
    EXPECT_TRUE(IcuDates::isZone(each)) << each;
  for (const char* each : {"", "Europe/Nowhere", "GMT+3", "Berlin", "../etc/passwd", "\xFF"})
    EXPECT_FALSE(IcuDates::isZone(each)) << each;
}

TEST(IcuDates, OffsetsFollowTheZoneAndItsSummerTime) {
  struct Case {
    std::string zone;
    std::chrono::year_month_day day;
    std::chrono::seconds offset;
  };
  const Case cases[] = {
      {"GMT", 2026y / 7 / 1, 0s},
      {"Europe/Berlin", 2026y / 1 / 15, 1h},
      {"Europe/Berlin", 2026y / 7 / 15, 2h},
      {"America/Los_Angeles", 2026y / 1 / 15, -8h},
      {"America/Los_Angeles", 2026y / 7 / 15, -7h},
      {"Asia/Kolkata", 2026y / 7 / 15, 5h + 30min},
      {"Asia/Kathmandu", 2026y / 7 / 15, 5h + 45min},
      {"America/St_Johns", 2026y / 1 / 15, -3h - 30min},
      {"Australia/Lord_Howe", 2026y / 1 / 15, 11h},
      {"Australia/Lord_Howe", 2026y / 7 / 15, 10h + 30min},
      {"Pacific/Kiritimati", 2026y / 7 / 15, 14h},
      {"Pacific/Pago_Pago", 2026y / 7 / 15, -11h},
      {"No/Such_Zone", 2026y / 7 / 15, 0s},
  };
  for (const Case& entry : cases) {
    EXPECT_EQ(IcuDates(entry.zone).secondsFromGMT(at(entry.day, 0s)), entry.offset) << entry.zone;
  }
}

TEST(IcuDates, TheOffsetChangesAtTheSecondAtWhichSummerTimeBeginsAndEnds) {
  const IcuDates berlin("Europe/Berlin");
  EXPECT_EQ(berlin.secondsFromGMT(at(2026y / 3 / 29, 59min + 59s)), 1h);
  EXPECT_EQ(berlin.secondsFromGMT(at(2026y / 3 / 29, 1h)), 2h);
  EXPECT_EQ(berlin.secondsFromGMT(at(2026y / 10 / 25, 59min + 59s)), 2h);
  EXPECT_EQ(berlin.secondsFromGMT(at(2026y / 10 / 25, 1h)), 1h);
}

TEST(IcuDates, TextIsTheWallClockOfTheZone) {
  const Date moment = at(2026y / 11 / 15, 20h + 7min + 8s);
  EXPECT_EQ(IcuDates("GMT").text(moment, kStartTimePattern), "2026-11-15 20:07:8.3");
  EXPECT_EQ(IcuDates("Europe/Berlin").text(moment, kStartTimePattern), "2026-11-15 21:07:8.3");
  EXPECT_EQ(IcuDates("Asia/Kolkata").text(moment, kStartTimePattern), "2026-11-16 1:37:8.3");
  EXPECT_EQ(IcuDates("America/Los_Angeles").text(moment, "yyyy-MM-dd'T'HH:mm:ss"), "2026-11-15T12:07:08");
}

TEST(IcuDates, AnInvalidPatternGivesAnEmptyText) {
  EXPECT_EQ(IcuDates("GMT").text(at(2026y / 11 / 15, 0s), "yyyy f"), "");
  EXPECT_EQ(IcuDates("GMT").text(at(2026y / 11 / 15, 0s), ""), "");
}

TEST(IcuDates, PatternsMayAlternate) {
  const Date moment = at(2026y / 11 / 15, 20h + 7min + 8s);
  const IcuDates dates("Europe/Berlin");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(dates.text(moment, kStartTimePattern), "2026-11-15 21:07:8.3");
    EXPECT_EQ(dates.text(moment, "HH:mm zzzz"), "21:07 Central European Standard Time");
    EXPECT_EQ(dates.text(moment, "yyyy f"), "");
    EXPECT_EQ(dates.text(moment, kStartTimePattern), "2026-11-15 21:07:8.3");
  }
}

TEST(IcuDates, ThreadsMayShareThem) {
  const Date moment = at(2026y / 11 / 15, 20h + 7min + 8s);
  const IcuDates dates("Asia/Kolkata");
  const auto compareMany = [&](std::string_view pattern, std::string_view text) {
    for (int round = 0; round < 200; ++round) {
      EXPECT_EQ(dates.text(moment, pattern), text);
      EXPECT_EQ(dates.secondsFromGMT(moment), 5h + 30min);
    }
  };
  std::thread other(compareMany, "HH:mm", "01:37");
  compareMany(kStartTimePattern, "2026-11-16 1:37:8.3");
  other.join();
}

TEST(IcuDates, FollowsTheSystemsZone) {
  const Date moment = at(2026y / 7 / 15, 12h);
  const IcuDates dates;
  for (const auto& [zone, offset] : {std::pair<const char*, std::chrono::seconds>{"Asia/Kolkata", 5h + 30min},
                                     {"America/Los_Angeles", -7h},
                                     {":Europe/Berlin", 2h},
                                     {"/usr/share/zoneinfo/Asia/Kathmandu", 5h + 45min},
                                     {"XYZ-3:30", 3h + 30min},
                                     {"XYZ3:30", -3h - 30min},
                                     {"CET-1CEST,M3.5.0,M10.5.0/3", 2h},
                                     {"UTC", 0s}}) {
    const EnvironmentVariable variable("TZ", zone);
    EXPECT_EQ(dates.secondsFromGMT(moment), offset) << zone;
    EXPECT_EQ(dates.text(moment, kStartTimePattern), IcuDates("GMT").text(moment + offset, kStartTimePattern)) << zone;
  }
}

TEST(IcuDates, TheLanguageOfTheHostHasNoEffect) {
  const Date moment = at(2026y / 11 / 15, 20h + 7min + 8s);
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
  };
  // Languages with other digits, another calendar, other weeks.
  for (const char* language : {"ar_EG.UTF-8", "fa_IR.UTF-8", "th_TH.UTF-8", "de_DE.UTF-8", "C"}) {
    const EnvironmentVariable all("LC_ALL", language);
    const EnvironmentVariable lang("LANG", language);
    std::setlocale(LC_ALL, "");  // NOLINT(concurrency-mt-unsafe): there is one thread
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    EXPECT_EQ(IcuDates("GMT").text(moment, kStartTimePattern), "2026-11-15 20:07:8.3") << language;
    std::locale::global(before);
  }
  std::setlocale(LC_ALL, "C");  // NOLINT(concurrency-mt-unsafe): there is one thread
}

TEST(SystemClock, ItsTwoReadingsAgree) {
  const sqm::platform::SystemClock clock;
  const std::int64_t before = clock.time();
  const auto date = std::chrono::floor<std::chrono::seconds>(clock.date()).time_since_epoch().count();
  const std::int64_t after = clock.time();
  EXPECT_LE(before, date + 1);  // the C library's clock may be a tick behind
  EXPECT_GE(after, date - 1);
  EXPECT_GT(before, 1'700'000'000);
}

TEST(StartTimes, ShowTheWallClockOfGMTInEveryZone) {
  const std::string zones[] = {"GMT",
                               "Europe/Berlin",
                               "America/Los_Angeles",
                               "Asia/Kolkata",
                               "America/St_Johns",
                               "Pacific/Kiritimati",
                               "Pacific/Pago_Pago"};
  for (const std::string& zone : zones) {
    EXPECT_EQ(startTime(at(2026y / 11 / 15, 20h + 7min + 8s), zone), "2026-11-15 20:07:8.3") << zone;
    EXPECT_EQ(startTime(at(2026y / 7 / 8, 9h + 5min + 59s + 900ms), zone), "2026-07-08 9:05:59.2") << zone;
    EXPECT_EQ(startTime(at(2026y / 2 / 28, 0s), zone), "2026-02-28 0:00:0.4") << zone;
  }
}

TEST(StartTimes, TheYearIsTheOneThatTheWeekBelongsTo) {
  const std::pair<Date, std::string_view> cases[] = {
      {at(2024y / 12 / 28, 23h + 59min + 59s), "2024-12-28 23:59:59.4"},  // a Saturday
      {at(2024y / 12 / 29, 0s), "2025-12-29 0:00:0.5"},                   // the Sunday of the week of 1 January
      {at(2024y / 12 / 31, 12h), "2025-12-31 12:00:0.5"},
      {at(2025y / 1 / 1, 0s), "2025-01-01 0:00:0.1"},
      {at(2026y / 12 / 26, 12h), "2026-12-26 12:00:0.4"},
      {at(2026y / 12 / 27, 12h), "2027-12-27 12:00:0.4"},
      {at(2027y / 1 / 1, 12h), "2027-01-01 12:00:0.1"},
      {at(2022y / 12 / 31, 12h), "2022-12-31 12:00:0.5"},  // a Saturday: the year ends with its week
      {at(2023y / 1 / 1, 12h), "2023-01-01 12:00:0.1"},
  };
  for (const std::string& zone : {std::string("GMT"), std::string("Asia/Kolkata"), std::string("America/St_Johns")}) {
    for (const auto& [moment, text] : cases) EXPECT_EQ(startTime(moment, zone), text) << zone;
  }
}

TEST(StartTimes, TheLastDigitCountsTheWeekdayInItsMonth) {
  for (unsigned day = 1; day <= 31; ++day) {
    const std::string text = startTime(at(2026y / 7 / std::chrono::day(day), 12h), "GMT");
    EXPECT_EQ(text.substr(text.find('.')), "." + std::to_string((day - 1) / 7 + 1)) << day;
  }
}

TEST(StartTimes, AreOffNearTheChangesOfSummerTime) {
  // The moved date is before the change, and is written with the offset of that time.
  EXPECT_EQ(startTime(at(2026y / 3 / 29, 30min), "Europe/Berlin"), "2026-03-29 0:30:0.5");
  EXPECT_EQ(startTime(at(2026y / 3 / 29, 1h + 30min), "Europe/Berlin"), "2026-03-29 0:30:0.5");
  EXPECT_EQ(startTime(at(2026y / 3 / 29, 3h), "Europe/Berlin"), "2026-03-29 3:00:0.5");
  EXPECT_EQ(startTime(at(2026y / 10 / 25, 1h + 30min), "Europe/Berlin"), "2026-10-25 2:30:0.4");
  EXPECT_EQ(startTime(at(2026y / 10 / 25, 2h), "Europe/Berlin"), "2026-10-25 2:00:0.4");
  // West of Greenwich the moved date is after the change.
  EXPECT_EQ(startTime(at(2026y / 3 / 8, 9h), "America/Los_Angeles"), "2026-03-08 10:00:0.2");
}

TEST(StartTimes, AFullSessionIsTheOneThatTheGoldenFileHolds) {
  FakeHost host;
  IcuDates berlin("Europe/Berlin");
  host.host.dates = &berlin;
  host.files.makeFolder("/sessions");
  SQMDataCollector collector(host.host);
  collector.setSQMDirPath("/sessions");
  collectFullSession(collector, host.clock);
  expectGoldenFile(host.files.content("/sessions/" + std::string(kSessionFile)).value(), "full_session.sqm");
}

TEST(FileNames, AreTheLocalTimeOfTheZone) {
  FakeHost host;
  sqm::SQMRecord record(host.host);
  record.setSQMDir("F");
  const auto name = [&](Date moment, const std::string& zone) {
    IcuDates dates(zone);
    host.host.dates = &dates;
    host.clock.set(moment);
    std::string file = record.getSQMFileName();
    host.host.dates = nullptr;
    return file;
  };
  EXPECT_EQ(name(at(2026y / 11 / 15, 20h + 7min + 38s), "Europe/Berlin"), "F/0Q20261115210738.sqm");
  EXPECT_EQ(name(at(2026y / 7 / 15, 20h + 7min + 38s), "Europe/Berlin"), "F/0Q20260715220738.sqm");
  EXPECT_EQ(name(at(2026y / 12 / 31, 18h + 30min), "Asia/Kolkata"), "F/0Q20270101000000.sqm");
  EXPECT_EQ(name(at(2027y / 1 / 1, 3h), "America/St_Johns"), "F/0Q20261231233000.sqm");
  EXPECT_EQ(name(at(2024y / 12 / 29, 12h), "GMT"), "F/0Q20241229120000.sqm") << "the calendar's year, not the week's";
}

}  // namespace
