// The records as CSV and as JSON Lines.

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/tools/CollectorClient.h"
#include "tools/collector/Csv.h"

namespace {

using collector::csvCell;

TEST(CsvCell, HoldsTheText) {
  EXPECT_EQ(csvCell(""), R"("")");
  EXPECT_EQ(csvCell("Caf\u00E9, Bar"), "\"Caf\u00E9, Bar\"");
  EXPECT_EQ(csvCell(R"(the "best" one)"), R"("the ""best"" one")");
  EXPECT_EQ(csvCell("two\nlines"), "\"two\nlines\"");
}

TEST(CsvCell, IsNoFormula) {
  for (const char* formula : {"=1+1", "+1+1", "-1+1", "@SUM(1)", "=cmd|' /C calc'!A0", "-inf", "+49 30 1", "-"}) {
    EXPECT_EQ(csvCell(formula), "\"'" + std::string(formula) + "\"");
  }
  EXPECT_TRUE(csvCell("\t=1").starts_with("\"'"));
  EXPECT_TRUE(csvCell("\r=1").starts_with("\"'"));
  EXPECT_TRUE(csvCell("\n=1").starts_with("\"'"));
  EXPECT_EQ(csvCell("\",=1+1"), R"(""",=1+1")") << "nor is the text after a quote";
}

TEST(CsvCell, LeavesNumbersAsTheyAre) {
  for (const char* number : {"-67", "-0.5", "-1e3", "67"})
    EXPECT_EQ(csvCell(number), "\"" + std::string(number) + "\"");
}

TEST(CsvCell, ControlsNoTerminal) {
  EXPECT_EQ(csvCell("\x1B]0;title\x07"), R"("\u001B]0;title\u0007")");
  EXPECT_EQ(csvCell("\u202Eevil\u009B"), R"("\u202Eevil\u009B")");  // NOLINT(misc-misleading-bidirectional)
  EXPECT_EQ(csvCell("\xFF"), R"("\xFF")");
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class CollectorExport : public testing::Test {
 protected:
  httplib::Response get(const std::string& path, const httplib::Headers& headers = {}) {
    const auto answer = client_.http().Get(path, headers);
    EXPECT_TRUE(answer) << path;
    return answer ? *answer : httplib::Response();
  }

  CollectorClient client_;
};

TEST_F(CollectorExport, GivesARecordInEachLineOfJson) {
  client_.post("/connection", kDocument);
  const auto answer = get("/_export");
  EXPECT_EQ(answer.get_header_value("Content-Type"), "application/x-ndjson");
  EXPECT_EQ(answer.get_header_value("Content-Disposition"), "attachment; filename=\"sqm-records.jsonl\"");
  const auto found = lines(answer.body);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(nlohmann::json::parse(found[0]), client_.get("/_records/1"));
  EXPECT_EQ(nlohmann::json::parse(found[1]), client_.get("/_records/2"));
}

TEST_F(CollectorExport, GivesATableWithTheFieldsThatAreNamed) {
  client_.post("/connection",
               "<connectionList><r><event>start</event><wifi><ssid>=1+1</ssid><signal>-67</signal></wifi></r>"
               "<r><signal>-70</signal></r></connectionList>");
  const auto answer = get("/_export?format=csv&fields=signal,ssid");
  EXPECT_EQ(answer.get_header_value("Content-Type"), "text/csv; charset=utf-8; header=present");
  const std::string time = client_.get("/_records/1").at("time");
  EXPECT_EQ(answer.body, R"("id","request","time","path","type","subType","event","problem","signal","ssid")"
                         "\r\n"
                         R"("1","1",")" +
                             time + R"(","/connection","connection","wifi","start","","-67","'=1+1")" + "\r\n" +
                             R"("2","1",")" + time + R"(","/connection","connection","","","","-70","")" + "\r\n");
}

TEST_F(CollectorExport, GivesAllValuesWhenNoFieldIsNamed) {
  client_.post("/connection", "<connectionList><r><a>1</a><b>\"</b></r></connectionList>");
  const auto found = lines(get("/_export", {{"Accept", "text/csv, */*;q=0.1"}}).body);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_TRUE(found[0].ends_with(",\"values\"\r")) << found[0];
  EXPECT_TRUE(found[1].ends_with(R"(,"[[""a"",""1""],[""b"",""\""""]]")"
                                 "\r"))
      << found[1];
}

TEST_F(CollectorExport, BeginsAfterARecordAndIsNotShortenedByItsLength) {
  const std::string body =
      "<connectionList>" + repeated("<r><a>" + std::string(10'000, 'x') + "</a></r>", 600) + "</connectionList>";
  EXPECT_EQ(client_.post("/connection", body), 200);
  const auto found = lines(get("/_export?format=jsonl&since=10").body);
  ASSERT_EQ(found.size(), 590U);
  EXPECT_EQ(nlohmann::json::parse(found.front()).at("id"), 11);
  EXPECT_EQ(nlohmann::json::parse(found.back()).at("id"), 600);
  EXPECT_EQ(get("/_export?since=600").body, "");
  EXPECT_EQ(lines(get("/_export?format=csv&since=600").body).size(), 1U) << "the head";
}

TEST_F(CollectorExport, RejectsWhatItDoesNotKnow) {
  for (const char* path : {"/_export?format=xml", "/_export?format=", "/_export?since=x"}) {
    EXPECT_EQ(get(path).status, 400) << path;
  }
}

}  // namespace
