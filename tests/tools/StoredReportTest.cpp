// The report on what a database contains.

#include <chrono>

#include <gtest/gtest.h>

#include "tests/tools/PostedRecords.h"
#include "tools/collector/service/StoredReport.h"

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

TEST(StoredReport, ReadsTheNewestFactsUpToItsLimit) {
  PostedRecords posted;
  for (int minute = 10; minute > 0; --minute) posted.postConnection(kNoon - minute * 1min);
  const ServiceQuery query = {.from = kNoon - 24h, .to = kNoon};
  const Json cut = storedReport(posted.storage(), query, 9);
  EXPECT_EQ(cut["facts"], 9);
  EXPECT_EQ(cut["isCut"], true);
  EXPECT_EQ(cut["oldest"], "2026-11-21T11:51:00.000Z");
  EXPECT_EQ(storedReport(posted.storage(), query, 10)["isCut"], false);
}

}  // namespace
