#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <locale>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMRecord.h"
#include "sqm/testing/FakeHost.h"

#include "tests/sessionfiles/SqmLine.h"
#include "tests/support/Golden.h"

using sqm::Date;
using sqm::SQMRecord;
using sqm::testing::FakeHost;
using namespace std::chrono_literals;
using namespace std::string_literals;

namespace {

constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kGreatest = std::numeric_limits<std::int64_t>::max();

const std::string kFolder = "/sessions";
const std::string kFile = kFolder + "/0Q20261115210738.sqm";

Date at(std::chrono::year_month_day day, std::chrono::seconds time) { return std::chrono::sys_days(day) + time; }

/// Makes the protected members public.
struct SubclassRecord : SQMRecord {
  using SQMRecord::mConnectStartDate_;
  using SQMRecord::mLoginStartDate_;
  using SQMRecord::mOSver_;
  using SQMRecord::SQMRecord;
};

class SQMRecordTest : public ::testing::Test {
 protected:
  SQMRecordTest() {
    host.clock.set(at(2026y / 11 / 15, 21h + 7min + 38s));
    host.files.makeFolder(kFolder);
    record.setSQMDir(kFolder);
  }

  /// The content of the file after a successful save.
  std::string saved() {
    EXPECT_TRUE(record.saveRec());
    return host.files.content(kFile).value_or("no such file");
  }

  FakeHost host;
  SubclassRecord record{host.host};
};

TEST_F(SQMRecordTest, FreshRecordIsALineOf258Bytes) {
  expectGoldenFile(saved(), "fresh_record.sqm");
  EXPECT_EQ(saved().size(), 258U);
}

TEST_F(SQMRecordTest, EveryTextIsWrittenAtItsPosition) {
  std::map<std::size_t, std::string> texts;
  for (std::size_t position = 0; position < SQMRecord::kPositions; ++position) {
    texts[position] = "text " + std::to_string(position);
    record.setStringValueForField(static_cast<std::int64_t>(position), texts[position]);
  }
  EXPECT_EQ(saved(), sqmLine(texts));
}

TEST_F(SQMRecordTest, IntegersAreDecimal) {
  const std::pair<std::int64_t, std::string> cases[] = {{-100, "-100"},
                                                        {0, "0"},
                                                        {1'234'567, "1234567"},
                                                        {kSmallest, "-9223372036854775808"},
                                                        {kGreatest, "9223372036854775807"}};
  for (const auto& [value, text] : cases) {
    record.setIntValueForField(18, value);
    EXPECT_EQ(record.valueForField(18), text);
  }
}

TEST_F(SQMRecordTest, ALaterValueReplacesAnEarlierOne) {
  record.setStringValueForField(4, "a longer text than fits anywhere small");
  record.setStringValueForField(4, "b");
  EXPECT_EQ(saved(), sqmLine({{4, "b"}}));
}

TEST_F(SQMRecordTest, QuotesAreWrittenAsTheyAreSoTheLineHasMoreOfThemThanFieldsNeed) {
  record.setStringValueForField(7, "the \"best\" network");
  const std::string line = saved();
  EXPECT_EQ(line, sqmLine({{7, "the \"best\" network"}}));
  EXPECT_EQ(std::count(line.begin(), line.end(), '"'), 2 * 86 + 2);
}

TEST_F(SQMRecordTest, CommasLineBreaksAndPerCentSignsAreWrittenAsTheyAre) {
  record.setStringValueForField(0, "a,b");
  record.setStringValueForField(1, "a\r\nb");
  record.setStringValueForField(84, "100 %s %n");
  record.setStringValueForField(85, "a\nb,");
  EXPECT_EQ(saved(), sqmLine({{0, "a,b"}, {1, "a\r\nb"}, {84, "100 %s %n"}, {85, "a\nb,"}}));
}

TEST_F(SQMRecordTest, AValueEndsInTheFileBeforeItsFirstNul) {
  record.setStringValueForField(0, "\0all gone"s);
  record.setStringValueForField(40, "kept\0gone\0gone"s);
  record.setStringValueForField(85, "last\0gone"s);
  EXPECT_EQ(saved(), sqmLine({{40, "kept"}, {85, "last"}}));
  EXPECT_EQ(record.valueForField(40), "kept\0gone\0gone"s);
}

TEST_F(SQMRecordTest, IllFormedUtf8IsWrittenAsItIs) {
  record.setStringValueForField(40, "caf\xE9 \xC3");
  EXPECT_EQ(saved(), sqmLine({{40, "caf\xE9 \xC3"}}));
}

TEST_F(SQMRecordTest, LongValuesAreWrittenWhole) {
  const std::string text(3'000'000, 'x');
  record.setStringValueForField(12, text);
  EXPECT_EQ(saved(), sqmLine({{12, text}}));
}

TEST_F(SQMRecordTest, PositionsOutsideTheRowAreKeptAndNotWritten) {
  for (const std::int64_t position : {std::int64_t{-1}, std::int64_t{86}, kSmallest, kGreatest}) {
    EXPECT_EQ(record.valueForField(position), std::nullopt);
    record.setStringValueForField(position, std::to_string(position));
    EXPECT_EQ(record.valueForField(position), std::to_string(position));
  }
  record.setIntValueForField(86, 7);
  EXPECT_EQ(record.valueForField(86), "7");
  EXPECT_EQ(saved(), sqmLine({}));
}

TEST_F(SQMRecordTest, AnAbsentValueIsRefusedAndChangesNothing) {
  record.setStringValueForField(3, "before");
  EXPECT_THROW(record.setStringValueForField(3, std::nullopt), std::invalid_argument);
  EXPECT_THROW(record.setStringValueForField(-1, std::nullopt), std::invalid_argument);
  EXPECT_EQ(record.valueForField(3), "before");
  EXPECT_EQ(record.valueForField(-1), std::nullopt);
}

TEST_F(SQMRecordTest, ClearEmptiesTheRowAndForgetsTheDates) {
  record.setStringValueForField(0, "first");
  record.setStringValueForField(85, "last");
  record.mConnectStartDate_ = host.clock.date();
  record.mLoginStartDate_ = host.clock.date();
  record.clear();
  EXPECT_EQ(record.mConnectStartDate_, std::nullopt);
  EXPECT_EQ(record.mLoginStartDate_, std::nullopt);
  EXPECT_EQ(saved(), sqmLine({}));
}

TEST_F(SQMRecordTest, ClearKeepsTheSystemVersionTheFolderTheTypeAndWhatIsOutsideTheRow) {
  record.mOSver_ = "10.8.2";
  record.setRecordType(2);
  record.setStringValueForField(86, "outside");
  record.clear();
  EXPECT_EQ(record.mOSver_, "10.8.2");
  EXPECT_EQ(record.recordType(), 2U);
  EXPECT_EQ(record.valueForField(86), "outside");
  EXPECT_EQ(record.getSQMFileName(), kFile);
}

TEST_F(SQMRecordTest, RecordNameFollowsFromTheType) {
  EXPECT_EQ(record.recordType(), 0U);
  const std::pair<std::uint64_t, std::string_view> cases[] = {
      {0, "client"}, {1, "connection"},        {2, "device"}, {3, "confirmation"},
      {5, ""},       {4, "connectionQuality"}, {6, ""},       {std::numeric_limits<std::uint64_t>::max(), ""}};
  for (const auto& [type, name] : cases) {
    record.setRecordType(type);
    EXPECT_EQ(record.recordType(), type);
    EXPECT_EQ(record.recordName(), name) << type;
  }
}

TEST_F(SQMRecordTest, FileNameIsTheLocalTimeToTheSecond) {
  struct Case {
    Date gmt;
    std::chrono::seconds offset;
    std::string_view digits;
  };
  const Case cases[] = {
      {at(2026y / 11 / 15, 21h + 7min + 38s), 0s, "20261115210738"},
      {at(2026y / 11 / 15, 20h + 7min + 38s), 1h, "20261115210738"},
      {at(2026y / 1 / 2, 3h + 4min + 5s), 0s, "20260102030405"},
      {at(2026y / 12 / 31, 23h + 30min), 1h, "20270101003000"},              // the New Year comes early in the east
      {at(2027y / 1 / 1, 0s), -8h, "20261231160000"},                        // and late in the west
      {at(2026y / 12 / 31, 18h + 30min), 5h + 30min, "20270101000000"},      // India
      {at(2027y / 1 / 1, 3h + 29min + 59s), -3h - 30min, "20261231235959"},  // Newfoundland
      {at(2024y / 2 / 28, 23h), 2h, "20240229010000"},
      {at(1969y / 12 / 31, 23h + 59min + 59s), 0s, "19691231235959"},
  };
  record.setSQMDir("F");
  for (const Case& entry : cases) {
    host.clock.set(entry.gmt);
    host.dates.offset = entry.offset;
    EXPECT_EQ(record.getSQMFileName(), "F/0Q" + std::string(entry.digits) + ".sqm");
  }
}

TEST_F(SQMRecordTest, FileNameFollowsTheCClock) {
  record.setSQMDir("F");
  host.clock.set(at(2026y / 11 / 15, 21h + 7min + 38s) + 999'999us);
  EXPECT_EQ(record.getSQMFileName(), "F/0Q20261115210738.sqm");
  host.clock.seconds += 1;
  EXPECT_EQ(record.getSQMFileName(), "F/0Q20261115210739.sqm");
}

TEST_F(SQMRecordTest, TheProcessLocaleShowsNowhere) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  record.setIntValueForField(14, -1'234'567);
  const std::string name = record.getSQMFileName();
  const std::string line = saved();
  std::locale::global(before);
  EXPECT_EQ(name, kFile);
  EXPECT_EQ(line, sqmLine({{14, "-1234567"}}));
}

TEST_F(SQMRecordTest, AFolderNameIsNoFormat) {
  host.files.makeFolder("/100 %@ %s %d");
  record.setSQMDir("/100 %@ %s %d");
  EXPECT_EQ(record.getSQMFileName(), "/100 %@ %s %d/0Q20261115210738.sqm");
  EXPECT_TRUE(record.saveRec());
  EXPECT_EQ(host.files.content("/100 %@ %s %d/0Q20261115210738.sqm"), sqmLine({}));
}

TEST_F(SQMRecordTest, WithoutAFolderThePathBeginsWithTheWordNull) {
  const SQMRecord fresh(host.host);
  EXPECT_EQ(fresh.getSQMFileName(), "(null)/0Q20261115210738.sqm");
  EXPECT_FALSE(fresh.saveRec());
  record.setSQMDir(std::nullopt);
  EXPECT_EQ(record.getSQMFileName(), "(null)/0Q20261115210738.sqm");
  host.files.makeFolder("(null)");
  EXPECT_TRUE(fresh.saveRec());
  EXPECT_EQ(host.files.content("(null)/0Q20261115210738.sqm"), sqmLine({}));
}

TEST_F(SQMRecordTest, ASecondSaveWithinTheSameSecondReplacesTheFirst) {
  record.setStringValueForField(0, "a first record with more to say");
  EXPECT_TRUE(record.saveRec());
  record.clear();
  record.setStringValueForField(0, "second");
  EXPECT_EQ(saved(), sqmLine({{0, "second"}}));
  host.clock.advance(1s);
  EXPECT_TRUE(record.saveRec());
  EXPECT_EQ(host.files.names(kFolder), (std::vector<std::string>{"0Q20261115210738.sqm", "0Q20261115210739.sqm"}));
}

TEST_F(SQMRecordTest, AMissingFolderIsNotMadeAndTheSaveFails) {
  record.setSQMDir("/missing");
  EXPECT_FALSE(record.saveRec());
  EXPECT_EQ(host.files.names("/missing"), std::vector<std::string>{});
}

TEST_F(SQMRecordTest, AFileThatCannotBeOpenedFailsTheSave) {
  host.files.refuse(sqm::testing::MemoryFiles::Operation::write, kFile);
  EXPECT_FALSE(record.saveRec());
}

}  // namespace
