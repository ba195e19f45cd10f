// How bodies are taken apart: the documents, the lines of the older path, and what is neither.

#include <algorithm>
#include <ctime>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/CaseName.h"
#include "tests/support/Paths.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/collector/RecordReader.h"

namespace {

using namespace collector;
using Pairs = std::vector<std::pair<std::string, std::string>>;

/// A body taken apart.
struct Parts {
  Parts(std::string_view path, std::string whole)
      : body(std::move(whole)),
        problem(readRecords(path, body, [this](const Record& record) { records.push_back(record); })) {}
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;

  const std::string body;  // the records lie within it
  std::vector<Record> records;
  const std::optional<std::string> problem;
};

Parts partsOf(std::string_view path, std::string body) { return {path, std::move(body)}; }

std::string golden(const std::string& name) {
  std::string text = contentOf(paths::golden() + "/" + name);
  EXPECT_FALSE(text.empty()) << name;
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string list(const std::string& records, const std::string& element = "connectionList") {
  return R"(<?xml version="1.0" encoding="utf-8"?><)" + element + ">" + records + "</" + element + ">";
}

std::vector<std::string> eventsOf(const Parts& parts) {
  std::vector<std::string> events;
  for (const Record& record : parts.records) events.push_back(record.event.value_or("-"));
  return events;
}

struct Kind {
  const char* file;
  const char* element;
  const char* type;
  const char* subType;  // null: none
};

class EveryKind : public testing::TestWithParam<Kind> {};

TEST_P(EveryKind, IsTakenApartByItsList) {
  const Kind& kind = GetParam();
  const std::string text = golden(kind.file);
  const std::string body = list(text + text, kind.element);

  for (const char* path : {"/connection", "/anything"}) {
    const Parts parts = partsOf(path, body);
    EXPECT_EQ(parts.problem, std::nullopt);
    ASSERT_EQ(parts.records.size(), 2U);
    for (const Record& record : parts.records) {
      EXPECT_EQ(record.type, kind.type);
      EXPECT_EQ(record.subType, kind.subType ? std::optional<std::string>(kind.subType) : std::nullopt);
      EXPECT_EQ(record.raw, text);
      EXPECT_EQ(record.problem, std::nullopt);
      EXPECT_EQ(record.values.at(0), (std::pair<std::string, std::string>("timestamp", "2026-11-21T10:00:00Z")));
      EXPECT_EQ(record.values.at(1), (std::pair<std::string, std::string>("F6", "V6")));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Records, EveryKind,
    testing::Values(Kind{"wifi_connection_record.xml", "connectionList", "connection", "F10"},
                    Kind{"mobile_broadband_connection_record.xml", "connectionList", "connection", "F42"},
                    Kind{"ethernet_connection_record.xml", "connectionList", "connection", "F74"},
                    Kind{"client_record.xml", "clientList", "client", "F0"},
                    Kind{"device_record.xml", "deviceList", "device", nullptr},
                    Kind{"application_record.xml", "sqmList", "application", nullptr},
                    Kind{"user_acceptance_record.xml", "userAcceptanceList", "user-acceptance", nullptr}));

TEST(Document, GivesItsValuesInOrderAndDecoded) {
  const Parts parts =
      partsOf("/connection", list("<r><a>1</a><b k=\"&lt;\">&amp;&#xE9;</b><g><c> </c><d/></g><a>2</a></r>"));
  ASSERT_EQ(parts.records.size(), 1U);
  EXPECT_EQ(parts.records[0].values, (Pairs{{"a", "1"}, {"k", "<"}, {"b", "&é"}, {"c", " "}, {"d", ""}, {"a", "2"}}));
  EXPECT_EQ(parts.records[0].subType, "g");
}

TEST(Document, FindsTheEventByItsNameAndElseByItsValue) {
  EXPECT_EQ(eventsOf(partsOf("/connection", list("<r><eventTime>t</eventTime><event>START</event></r>"
                                                 "<r><vpnProfile>start</vpnProfile><vpnEvent>stop</vpnEvent></r>"
                                                 "<r><x>stop</x><y>start</y></r>"
                                                 "<r><eventTime>t</eventTime></r>"))),
            (std::vector<std::string>{"START", "stop", "stop", "-"}));
}

TEST(Document, KnowsTheTypeOfALoneRecordByThePath) {
  const Parts parts = partsOf("/device", "<dev><a>1</a></dev>");
  ASSERT_EQ(parts.records.size(), 1U);
  EXPECT_EQ(parts.records[0].type, "device");
  EXPECT_EQ(parts.records[0].raw, "<dev><a>1</a></dev>");
  EXPECT_TRUE(partsOf("/elsewhere", "<dev><a>1</a></dev>").records.empty());
}

TEST(Document, HasNoRecordsWhenTheListIsEmpty) {
  for (const char* body :
       {"<connectionList></connectionList>", "<connectionList/>", "<connectionList />\n",
        "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- none -->\n<connectionList>\n</connectionList>\n"}) {
    const Parts parts = partsOf("/connection", body);
    EXPECT_TRUE(parts.records.empty()) << body;
    EXPECT_EQ(parts.problem, std::nullopt) << body;
  }
}

TEST(Document, TakesElementsOfOneNameInEachOther) {
  const std::string record = "<x><x timestamp=\"t\">1</x><x/><x><x>2</x></x></x>";
  const Parts parts = partsOf("/connection", list(record + record));
  EXPECT_EQ(parts.problem, std::nullopt);
  ASSERT_EQ(parts.records.size(), 2U);
  EXPECT_EQ(parts.records[1].raw, record);
  EXPECT_EQ(parts.records[1].subType, "x");
}

struct IllFormed {
  const char* name;
  const char* record;
  bool hasValues;
};

void PrintTo(const IllFormed& illFormed, std::ostream* stream) { *stream << illFormed.name; }

class IllFormedRecord : public testing::TestWithParam<IllFormed> {};

TEST_P(IllFormedRecord, IsFlaggedAndHarmsNoOther) {
  const std::string good = "<r><event>start</event></r>";
  const Parts parts = partsOf("/connection", list(good + GetParam().record + good));
  ASSERT_EQ(parts.records.size(), 3U);
  EXPECT_EQ(parts.records[0].problem, std::nullopt);
  EXPECT_TRUE(parts.records[1].problem);
  EXPECT_EQ(parts.records[1].raw, GetParam().record);
  EXPECT_EQ(parts.records[1].values.empty(), !GetParam().hasValues);
  EXPECT_EQ(parts.records[2].problem, std::nullopt);
  EXPECT_EQ(parts.records[2].raw, good);
  ASSERT_TRUE(parts.problem);
  EXPECT_EQ(*parts.problem, "record 2: " + *parts.records[1].problem);
}

INSTANTIATE_TEST_SUITE_P(
    Values, IllFormedRecord,
    testing::Values(IllFormed{"LessThan", "<r><a>1 < 2</a></r>", false}, IllFormed{"Tag", "<r><a><b></a></r>", false},
                    IllFormed{"OwnTag", "<r><a><r></a></r>", false},
                    IllFormed{"Ampersand", "<r><a>Tom & Jerry</a></r>", true},
                    IllFormed{"Reference", "<r><a>&nbsp;</a></r>", true},
                    IllFormed{"NoCharacter", "<r><a>&#7;</a></r>", true},
                    IllFormed{"Control", "<r><a>\x01</a></r>", true}, IllFormed{"Bytes", "<r><a>\xC3(</a></r>", true},
                    IllFormed{"NoCharacterAsItIs", "<r><a>\xEF\xBF\xBE</a></r>", true},
                    IllFormed{"EndOfCData", "<r><a>a[b[0]]>1</a></r>", true},
                    IllFormed{"Comment", "<r><a><!-- </a></r>", false}, IllFormed{"EndMissing", "<r><a>1</r>", false},
                    IllFormed{"NoName", "<(null)><(null)>1</(null)></(null)>", false}),
    CaseName());

struct Broken {
  const char* body;
  std::size_t records;
  const char* problem;
};

TEST(Document, TellsWhatIsWrongWithIt) {
  const Broken cases[] = {
      {"", 0, "it is no document: it does not begin with an element"},
      {"hello", 0, "it is no document: it does not begin with an element"},
      {"<", 0, "it is no document: it does not begin with an element"},
      {"<?xml", 0, "it is no document: it does not begin with an element"},
      {"<connectionList", 0, "the tag of connectionList has no end"},
      {"<connectionList><r></r>", 1, "connectionList has no end tag"},
      {"<connectionList><r></r><r><a>", 2, "record 2: it is not well-formed: its end tag is missing"},
      {"<connectionList><r></r></connectionList>more", 1, "text stands behind connectionList"},
      {"<connectionList><r></r></connectionList", 1, "text stands behind connectionList"},
      {"<connectionList>more<r></r></connectionList>", 1, "text stands before the first record"},
      {"<connectionList><r></r>more<r></r></connectionList>", 2, "text stands behind record 1"},
      {"<connectionList/><r></r>", 0, "text stands behind connectionList"},
  };
  for (const Broken& broken : cases) {
    const Parts parts = partsOf("/connection", broken.body);
    EXPECT_EQ(parts.problem, broken.problem) << broken.body;
    EXPECT_EQ(parts.records.size(), broken.records) << broken.body;
  }
}

TEST(Document, OfAnotherPathIsNoProblemWhateverItIs) {
  for (const std::string& body : kAwkwardTexts) {
    const Parts parts = partsOf("/elsewhere", body);
    EXPECT_TRUE(parts.records.empty());
    EXPECT_EQ(parts.problem, std::nullopt);
  }
}

TEST(Document, IsNotTakenApartBeyondWhatAClientSends) {
  const Parts many = partsOf("/connection", list(repeated("<r/>", kMostRecords + 1)));
  EXPECT_EQ(many.records.size(), kMostRecords);
  EXPECT_TRUE(many.problem);

  for (const std::string& large :
       {"<r>" + repeated("<a/>", 20'000) + "</r>", "<r " + repeated("a='' ", 20'000) + "></r>"}) {
    const Parts parts = partsOf("/connection", list(large + "<r><a>1</a></r>"));
    ASSERT_EQ(parts.records.size(), 2U);
    EXPECT_TRUE(parts.records[0].values.empty());
    EXPECT_EQ(parts.records[0].problem, "it is too large to be taken apart");
    EXPECT_EQ(parts.records[1].values.size(), 1U);
  }
}

/// The least processor time of this thread, in seconds, in which `body` was read.
double effortOf(const std::string& body) {
  const auto now = [] {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  };
  double least = std::numeric_limits<double>::max();
  for (int round = 0; round < 3; ++round) {
    const double begin = now();
    partsOf("/connection", body);
    least = std::min(least, now() - begin);
  }
  return least;
}

TEST(Document, IsReadInTimeThatGrowsWithItsLengthWhateverItHolds) {
  // Each of these makes a careless reader look over the rest of the text again and again: 16 times the text would take
  // it 256 times as long.
  constexpr std::size_t kShort = 2000;
  constexpr std::size_t kLong = 16 * kShort;
  for (const char* piece : {"<r>", "<r><r></r>", "<r><!--</r>", "<!--<r></r>", "<!--", "<r<r", "</r ", "<r </r",
                            "<r a=\"", "<r><![CDATA[</r>", "<a><b></a>", "<", "</", "&", "<r><r></r></r x>"}) {
    const auto opened = [piece](std::size_t count) { return list("<r>" + repeated(piece, count)); };
    const auto followed = [piece](std::size_t count) { return list(repeated(piece, count) + "<r></r>"); };
    EXPECT_LT(effortOf(opened(kLong)), 64 * effortOf(opened(kShort))) << piece;
    EXPECT_LT(effortOf(followed(kLong)), 64 * effortOf(followed(kShort))) << piece;
  }
}

TEST(Document, IsNeverMoreThanItsBytesHoweverItIsDamaged) {
  const std::string whole = list(golden("wifi_connection_record.xml") + golden("ethernet_connection_record.xml"));
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string body = whole;
    for (int fault = 0; fault < 1 + round % 4; ++fault) {
      const std::size_t at = random() % body.size();
      switch (random() % 3) {
        case 0:
          body[at] = "<>&/\"r\0 "[random() % 8];
          break;
        case 1:
          body.erase(at, random() % 40);
          break;
        default:
          body.insert(at, body.substr(random() % body.size(), random() % 40));
      }
    }
    const char* end = body.data() + body.size();
    const char* behind = body.data();
    readRecords("/connection", body, [&](const Record& record) {
      ASSERT_GE(record.raw.data(), behind);
      ASSERT_LE(record.raw.data() + record.raw.size(), end);
      behind = record.raw.data() + record.raw.size();
    });
  }
}

TEST(SessionLines, GiveTheirTextsByTheNamesOfThePositions) {
  const std::string line = golden("full_session.sqm") + "\n";
  const std::string body = golden("fresh_record.sqm") + "\n" + line;
  const Parts parts = partsOf("/sqm", body);
  EXPECT_EQ(parts.problem, std::nullopt);
  ASSERT_EQ(parts.records.size(), 2U);
  EXPECT_TRUE(parts.records[0].values.empty());
  EXPECT_EQ(parts.records[1].type, "sqm");
  EXPECT_EQ(parts.records[1].raw, line);
  const auto& values = parts.records[1].values;
  EXPECT_EQ(values.size(), 36U);
  const std::map<std::string, std::string> byName(values.begin(), values.end());
  EXPECT_EQ(byName.at("username"), "jo@example.net");
  EXPECT_EQ(byName.at("forSSID"), "Café Mitte");
  EXPECT_EQ(byName.at("finalSigStrength"), "-67");
  EXPECT_EQ(byName.at("autoConnect"), "1");
  EXPECT_EQ(byName.at("43"), "0") << "a position without a name goes by its number";
}

/// A line of 86 texts whose eighth, "forSSID", is this one.
std::string lineWith(const std::string& ssid) {
  return repeated("\"\",", 7) + "\"" + ssid + "\"" + repeated(",\"\"", 78) + "\n";
}

TEST(SessionLines, TakeQuotesCommasAndLineFeedsForWhatTheyAre) {
  for (const char* ssid : {"a \"quoted\" name", "a, b", "two\nlines", "\"", "\"\"", "a\"\nb", "<a>&"}) {
    const Parts parts = partsOf("/sqm", lineWith(ssid) + lineWith("next"));
    EXPECT_EQ(parts.problem, std::nullopt) << ssid;
    ASSERT_EQ(parts.records.size(), 2U) << ssid;
    EXPECT_EQ(parts.records[0].values, (Pairs{{"forSSID", ssid}}));
    EXPECT_EQ(parts.records[1].values, (Pairs{{"forSSID", "next"}}));
  }
}

TEST(SessionLines, AreFlaggedWhenTheyHaveNot86Texts) {
  const Parts tooMany = partsOf("/sqm", lineWith("a\",\"b") + lineWith("next"));
  ASSERT_EQ(tooMany.records.size(), 2U);
  EXPECT_EQ(tooMany.problem, "line 1: it has 87 texts, and not 86");
  EXPECT_TRUE(tooMany.records[0].values.empty()) << "nobody knows which of them moved";
  EXPECT_EQ(tooMany.records[1].values, (Pairs{{"forSSID", "next"}}));

  const Parts cutOff = partsOf("/sqm", lineWith("first") + R"("jo","10.8","Barr)");
  ASSERT_EQ(cutOff.records.size(), 2U);
  EXPECT_EQ(cutOff.problem, "line 2: it has 3 texts, and not 86");
  EXPECT_EQ(cutOff.records[1].values, (Pairs{{"username", "jo"}, {"osVersion", "10.8"}, {"application", "Barr"}}));

  const Parts stray = partsOf("/sqm", "no line\n" + lineWith("next"));
  ASSERT_EQ(stray.records.size(), 2U);
  EXPECT_EQ(stray.problem, "line 1: it does not begin with a double quote");
  EXPECT_EQ(stray.records[0].raw, "no line\n");
}

TEST(SessionLines, AreNoneInAnEmptyBody) {
  const Parts parts = partsOf("/sqm", "");
  EXPECT_TRUE(parts.records.empty());
  EXPECT_EQ(parts.problem, std::nullopt);
}

TEST(QueueBody, IsOneRecordAsItIs) {
  for (const std::string& body : kAwkwardTexts) {
    const Parts parts = partsOf("/queue", body);
    ASSERT_EQ(parts.records.size(), 1U);
    EXPECT_EQ(parts.records[0].type, "queue");
    EXPECT_EQ(parts.records[0].raw, body);
    EXPECT_TRUE(parts.records[0].values.empty());
    EXPECT_EQ(parts.problem, std::nullopt);
  }
}

}  // namespace
