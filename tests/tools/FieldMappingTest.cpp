// What the fields of records mean: the default, a file that changes it, and the messages about a wrong file.

#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Paths.h"
#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/collector/service/FieldMapping.h"

namespace {

using collector::FieldMapping;
using collector::FieldValues;
using collector::Meaning;

FieldMapping mappingOf(const std::string& text) {
  std::istringstream lines(text);
  return FieldMapping::ofLines(lines, "fields.txt");
}

std::string problemOf(const std::string& text) {
  try {
    mappingOf(text);
    return "none";
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

/// The lines "meaning = text" of a text.
std::vector<std::pair<std::string, std::string>> linesOf(const std::string& text) {
  std::vector<std::pair<std::string, std::string>> found;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find(" = ");
    if (line.starts_with('#') || equals == std::string::npos) continue;
    found.emplace_back(line.substr(0, equals), line.substr(equals + 3));
  }
  return found;
}

TEST(FieldMapping, KnowsTheNamesOfTheExampleTable) {
  const FieldMapping mapping;
  const FieldValues wiFi = {{"timestamp", "0"},   {"eventTime", "9:00"}, {"clientId", "c"}, {"event", "start"},
                            {"recordIndex", "0"}, {"sessionId", "s"},    {"ssid", "Café"},  {"signalStrength", "-61"}};
  EXPECT_EQ(mapping.valueOf(Meaning::time, wiFi), "9:00");
  EXPECT_EQ(mapping.valueOf(Meaning::client, wiFi), "c");
  EXPECT_EQ(mapping.valueOf(Meaning::event, wiFi), "start");
  EXPECT_EQ(mapping.valueOf(Meaning::index, wiFi), "0");
  EXPECT_EQ(mapping.valueOf(Meaning::session, wiFi), "s");
  EXPECT_EQ(mapping.valueOf(Meaning::network, wiFi), "Café");
  EXPECT_EQ(mapping.valueOf(Meaning::signal, wiFi), "-61");
  EXPECT_EQ(mapping.valueOf(Meaning::technology, wiFi), "");
}

TEST(FieldMapping, TakesTheFirstNameThatHasAValue) {
  const FieldMapping mapping;
  EXPECT_EQ(mapping.valueOf(Meaning::client, {{"userName", "ada"}, {"clientId", "c"}}), "c");
  EXPECT_EQ(mapping.valueOf(Meaning::client, {{"userName", "ada"}, {"clientId", ""}}), "ada");
  EXPECT_EQ(mapping.valueOf(Meaning::client, {{"ssid", "ada"}}), "");
  EXPECT_EQ(mapping.valueOf(Meaning::client, {}), "");
}

TEST(FieldMapping, ComparesTextsWithoutTheCaseOfLetters) {
  const FieldMapping mapping;
  EXPECT_TRUE(mapping.is(Meaning::isStart, "start"));
  EXPECT_TRUE(mapping.is(Meaning::isConnected, "Success"));
  EXPECT_FALSE(mapping.is(Meaning::isStart, "stop"));
  EXPECT_FALSE(mapping.is(Meaning::isStart, "starts"));
  EXPECT_FALSE(mapping.is(Meaning::isStart, ""));
  EXPECT_FALSE(mapping.is(Meaning::isStart, std::string_view("start\0", 6)));
}

TEST(FieldMapping, AFileReplacesAMeaningAsAWholeAndKeepsTheOthers) {
  const FieldMapping mapping =
      mappingOf("# ours\n\n client = device.id \r\nclient=Nutzer\nis-failed = not connected\n");
  EXPECT_EQ(mapping.valueOf(Meaning::client, {{"clientId", "c"}, {"Nutzer", "n"}, {"device.id", "d"}}), "d");
  EXPECT_EQ(mapping.valueOf(Meaning::client, {{"clientId", "c"}, {"Nutzer", "n"}}), "n");
  EXPECT_EQ(mapping.valueOf(Meaning::client, {{"clientId", "c"}}), "");
  EXPECT_TRUE(mapping.is(Meaning::isFailed, "Not Connected"));
  EXPECT_FALSE(mapping.is(Meaning::isFailed, "failed"));
  EXPECT_EQ(mapping.valueOf(Meaning::session, {{"sessionId", "s"}}), "s");
}

TEST(FieldMapping, AnEmptyTextTakesTheMeaningFromEveryField) {
  EXPECT_EQ(mappingOf("client =\n").valueOf(Meaning::client, {{"clientId", "c"}}), "");
}

TEST(FieldMapping, ATextMayContainAnEqualsSign) {
  EXPECT_EQ(mappingOf("reason = a = b").valueOf(Meaning::reason, {{"a = b", "why"}}), "why");
}

TEST(FieldMapping, ThePrintedDefaultIsReadAsTheDefault) {
  const FieldMapping again = mappingOf(FieldMapping::defaultText());
  const FieldMapping standard;
  for (const auto& [name, text] : linesOf(FieldMapping::defaultText())) {
    for (std::size_t at = 0; at < collector::kMeanings; ++at) {
      const auto meaning = static_cast<Meaning>(at);
      EXPECT_EQ(again.is(meaning, text), standard.is(meaning, text)) << name << " " << text;
      EXPECT_EQ(again.valueOf(meaning, {{text, "v"}}), standard.valueOf(meaning, {{text, "v"}})) << name << " " << text;
    }
  }
}

TEST(FieldMapping, AWrongLineIsNamedWithWhatWouldBeRight) {
  EXPECT_EQ(problemOf("# fine\nclient clientId\n"),
            "fields.txt:2: a line is to be 'meaning = text', such as 'client = clientId'");
  EXPECT_THAT(problemOf("client = a\n\nsesion = b\n"),
              testing::StartsWith("fields.txt:3: 'sesion' is no meaning; the meanings are client, session, event, "));
  EXPECT_THAT(problemOf("= b"), testing::StartsWith("fields.txt:1: '' is no meaning"));
}

TEST(FieldMapping, TheDefaultNamesAreInTheExampleTable) {
  const std::string table = contentOf(paths::sources() + "/examples/SQMFieldNames.plist");
  int checked = 0;
  for (const auto& [meaning, name] : linesOf(FieldMapping::defaultText())) {
    if (meaning.starts_with("is-") || name == "gateway") continue;  // the record itself names its gateway
    EXPECT_THAT(table, testing::HasSubstr("<string>" + name + "</string>"));
    ++checked;
  }
  EXPECT_GE(checked, 14);
}

const std::string kCollector = kPrograms + "/sqm-collector";

TEST(CollectorFields, PrintsTheDefaultAsAFileThatItTakes) {
  const Outcome printed = runProgram({kCollector, "fields"});
  EXPECT_EQ(printed.status, 0);
  EXPECT_EQ(printed.err, "");
  EXPECT_EQ(printed.out, FieldMapping::defaultText());
  const TemporaryFolder folder;
  putContent(folder / "fields.txt", printed.out);
  Collector taking({"--fields", folder / "fields.txt"});
  EXPECT_EQ(taking.end(), 0);
}

TEST(CollectorFields, AFileThatIsWrongOrMissingEndsTheProgram) {
  const TemporaryFolder folder;
  putContent(folder / "wrong.txt", "clients = clientId\n");
  const Outcome wrong = runProgram({kCollector, "--fields", folder / "wrong.txt"});
  EXPECT_EQ(wrong.status, 2);
  EXPECT_THAT(wrong.err, testing::HasSubstr("wrong.txt:1: 'clients' is no meaning"));
  for (const std::string& file : {folder / "missing.txt", folder.path()}) {
    const Outcome unread = runProgram({kCollector, "--fields", file});
    EXPECT_EQ(unread.status, 2);
    EXPECT_EQ(unread.err, "sqm-collector: --fields: '" + file + "' cannot be read\n");
  }
}

}  // namespace
