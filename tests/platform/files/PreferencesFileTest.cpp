#include <algorithm>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <locale.h>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/internal/XmlText.h"
#include "sqm/platform/files/PreferencesFile.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/files/BinaryPropertyListFile.h"
#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/platform/system/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::EnvironmentVariable;
using test::Fault;
using test::FaultyFileOperations;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class PreferencesFileTest : public ::testing::Test {
 protected:
  std::string stored() { return std::string(PreferencesFile(folder_.path(), logs_).clientTimeStamp()); }
  std::string storedIn(std::string_view content) {
    putContent(path_, content);
    return stored();
  }
  static std::string dictionary(const std::string& content) {
    return R"(<?xml version="1.0"?><plist version="1.0"><dict>)" + content + "</dict></plist>";
  }
  std::vector<std::string> problems() const { return logs_.lines("SQMFiles.log"); }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "UserPrefs.plist";
  sqm::testing::MemoryLogs logs_;
};

TEST_F(PreferencesFileTest, WithoutAFileThereIsNoTimeStampAndNoProblem) {
  EXPECT_EQ(stored(), "");
  EXPECT_THAT(problems(), IsEmpty());
  EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(PreferencesFileTest, ATimeStampComesBack) {
  for (const std::string_view value : {"\"2026-11-21T10:00:00Z\"", "", "<&>'ä€😀", " "}) {
    PreferencesFile preferences(folder_.path(), logs_);
    EXPECT_TRUE(preferences.setClientTimeStamp(value));
    EXPECT_EQ(preferences.clientTimeStamp(), value);
    EXPECT_EQ(stored(), value);
  }
  EXPECT_EQ(permissionsOf(path_), static_cast<std::filesystem::perms>(0600));
}

TEST_F(PreferencesFileTest, WhatXmlCannotHoldIsReplaced) {
  PreferencesFile preferences(folder_.path(), logs_);
  EXPECT_TRUE(preferences.setClientTimeStamp(std::string_view("a\0b\xFF", 4)));
  EXPECT_EQ(preferences.clientTimeStamp(), "a\uFFFDb\uFFFD");
  EXPECT_EQ(stored(), "a\uFFFDb\uFFFD");
}

TEST_F(PreferencesFileTest, AnAbsentTimeStampIsRemovedAndAllElseKept) {
  EXPECT_EQ(storedIn(dictionary("<key>clientTimeStamp</key><string>t</string><key>other</key><integer>7</integer>")),
            "t");
  PreferencesFile preferences(folder_.path(), logs_);
  EXPECT_TRUE(preferences.setClientTimeStamp(std::nullopt));
  EXPECT_EQ(preferences.clientTimeStamp(), "");
  EXPECT_THAT(contentOf(path_), HasSubstr("<key>other</key>"));
  EXPECT_THAT(contentOf(path_), HasSubstr("<integer>7</integer>"));
  EXPECT_THAT(contentOf(path_), ::testing::Not(HasSubstr("clientTimeStamp")));
}

TEST_F(PreferencesFileTest, ToRemoveWhatIsNotThereMakesNoFile) {
  EXPECT_TRUE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp(std::nullopt));
  EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(PreferencesFileTest, TheFolderIsMadeWhenItIsMissing) {
  PreferencesFile preferences(folder_ / "Library/Application Support", logs_);
  EXPECT_TRUE(preferences.setClientTimeStamp("t"));
  EXPECT_EQ(PreferencesFile(folder_ / "Library/Application Support", logs_).clientTimeStamp(), "t");
}

TEST_F(PreferencesFileTest, ABinaryFileIsReadToo) {
  using File = test::BinaryPropertyListFile;
  EXPECT_EQ(
      storedIn(File{.objects = {File::dictionary({1, 2}), File::text("clientTimeStamp"), File::text("t")}}.bytes()),
      "t");
}

TEST_F(PreferencesFileTest, OfSeveralTimeStampsInAFileNoneIsLeftBesideANewOne) {
  using File = test::BinaryPropertyListFile;
  const File file{.objects = {File::dictionary({1, 1, 2, 3}), File::text("clientTimeStamp"), File::text("first"),
                              File::text("second")}};
  for (const std::optional<std::string_view> value : {std::optional<std::string_view>("new"), {}}) {
    storedIn(file.bytes());
    EXPECT_TRUE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp(value));
    EXPECT_EQ(stored(), value.value_or(""));
  }
}

TEST_F(PreferencesFileTest, RealNumbersAreKeptWhateverTheLocaleOfTheHost) {
  // The numbers of a locale that writes 1,5 for 1.5, as the C library finds them on the disk; a minimal system has no
  // such locale of its own.
  const unsigned char kNumbers[] = {0x14, 0x11, 0x03, 0x20, 6,    0,   0,   0,   0x20, 0,   0,   0,   0x22, 0,   0, 0,
                                    0x24, 0,    0,    0,    0x28, 0,   0,   0,   0x2C, 0,   0,   0,   0x30, 0,   0, 0,
                                    ',',  0,    '.',  0,    3,    3,   0,   0,   ',',  0,   0,   0,   '.',  0,   0, 0,
                                    'A',  'N',  'S',  'I',  '_',  'X', '3', '.', '4',  '-', '1', '9', '6',  '8', 0};
  std::filesystem::create_directory(folder_ / "comma");
  putContent(folder_ / "comma/LC_NUMERIC", std::string(std::begin(kNumbers), std::end(kNumbers)));
  const EnvironmentVariable locales("LOCPATH", folder_.path().c_str());
  ASSERT_NE(std::setlocale(LC_NUMERIC, "comma"), nullptr);  // NOLINT(concurrency-mt-unsafe): there is one thread
  char written[8];
  std::snprintf(written, sizeof written, "%.1f", 1.5);
  storedIn(dictionary("<key>other</key><real>1.5</real>"));
  EXPECT_TRUE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp("t"));
  EXPECT_EQ(::uselocale(nullptr), LC_GLOBAL_LOCALE) << "the thread's locale is the host's affair";
  std::setlocale(LC_NUMERIC, "C");  // NOLINT(concurrency-mt-unsafe): there is one thread
  EXPECT_STREQ(written, "1,5");
  EXPECT_THAT(contentOf(path_), HasSubstr("<real>1.5"));
}

TEST_F(PreferencesFileTest, AFileOfAnotherKindIsReportedAndReplaced) {
  using File = test::BinaryPropertyListFile;
  File deep;
  for (std::uint64_t level = 1; level < 3000; ++level) deep.objects.push_back(File::array({level}));
  deep.objects.push_back(File::array({}));
  File laughs;
  for (std::uint64_t level = 1; level < 30; ++level) laughs.objects.push_back(File::array({level, level, level}));
  laughs.objects.push_back(File::text("ha"));
  File sets{.objects = {File::dictionary({1, 2}), File::text("key")}};
  for (std::uint64_t level = 3; level < 33; ++level) sets.objects.push_back(File::set({level, level}));
  sets.objects.push_back(File::text("ha"));
  const File echoes{.objects = {File::dictionary({1, 2}), File::text("key"),
                                File::array(std::vector<std::uint64_t>(4000, 3)),
                                File::text(std::string(40'000, 'x'))}};
  const std::string contents[] = {
      "",           "garbage",      "<plist><array/></plist>",    "<plist><dict>", deep.bytes(), laughs.bytes(),
      sets.bytes(), echoes.bytes(), R"({"clientTimeStamp": "t"})"};
  std::size_t reported = 0;
  for (const std::string& content : contents) {
    SCOPED_TRACE(content.substr(0, 40));
    EXPECT_EQ(storedIn(content), "");
    ASSERT_THAT(problems(), SizeIs(++reported));
    EXPECT_THAT(problems().back(), HasSubstr("cannot read " + path_ + ": "));
  }
  PreferencesFile preferences(folder_.path(), logs_);
  EXPECT_TRUE(preferences.setClientTimeStamp("t"));
  EXPECT_EQ(stored(), "t");
}

TEST_F(PreferencesFileTest, EntitiesAreNotExpanded) {
  EXPECT_EQ(storedIn(R"(<!DOCTYPE plist [<!ENTITY a "ha"><!ENTITY b SYSTEM "file:///etc/hostname">]>)" +
                     dictionary("<key>clientTimeStamp</key><string>&a;&b;</string>")),
            "&a;&b;");
}

TEST_F(PreferencesFileTest, AllElseIsKeptInItsOrderBeforeTheTimeStamp) {
  const std::string others =
      "\t<key>z</key>\n"
      "\t<date>2026-11-22T10:00:00Z</date>\n"
      "\t<key>a</key>\n"
      "\t<data>\n"
      "\tAAEC\n"
      "\t</data>\n"
      "\t<key>m</key>\n"
      "\t<dict>\n"
      "\t\t<key>real</key>\n"
      "\t\t<real>0.10000000000000001</real>\n"
      "\t\t<key>on</key>\n"
      "\t\t<true/>\n"
      "\t</dict>\n"
      "\t<key>b</key>\n"
      "\t<array>\n"
      "\t\t<integer>-5</integer>\n"
      "\t\t<integer>18446744073709551615</integer>\n"
      "\t\t<string>&lt; </string>\n"
      "\t</array>\n";
  storedIn(dictionary("<key>clientTimeStamp</key><string>old</string>" + others));
  ASSERT_TRUE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp("\"new\"\r"));
  EXPECT_THAT(contentOf(path_), HasSubstr("<plist version=\"1.0\">\n<dict>\n" + others +
                                          "\t<key>clientTimeStamp</key>\n"
                                          "\t<string>\"new\"\r</string>\n"
                                          "</dict>\n</plist>\n"));
  EXPECT_EQ(stored(), "\"new\"\r");
}

TEST_F(PreferencesFileTest, WithoutEntriesTheDictionaryHasTwoTags) {
  storedIn(dictionary("<key>clientTimeStamp</key><string>old</string>"));
  ASSERT_TRUE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp(std::nullopt));
  EXPECT_THAT(contentOf(path_), HasSubstr("<plist version=\"1.0\">\n<dict>\n</dict>\n</plist>\n"));
}

TEST_F(PreferencesFileTest, AFileIsNotWrittenThatWouldBeTooLongToRead) {
  using File = test::BinaryPropertyListFile;
  File file{.objects = {File::dictionary({1, 2}), File::text("numbers"),
                        File::array(std::vector<std::uint64_t>(5000, 3)), std::string("\x10\x07", 2)}};
  EXPECT_EQ(storedIn(file.bytes()), "");
  EXPECT_THAT(problems(), IsEmpty());
  EXPECT_FALSE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp("new"));
  EXPECT_EQ(contentOf(path_), file.bytes());
  EXPECT_THAT(problems(), ::testing::ElementsAre("USER 2 cannot write " + path_ + ": File too large"));
}

TEST_F(PreferencesFileTest, AValueThatIsNoStringIsNoTimeStamp) {
  EXPECT_EQ(storedIn(dictionary("<key>clientTimeStamp</key><integer>1</integer>")), "");
}

TEST_F(PreferencesFileTest, DeepXmlIsRefusedOrReadButHarmless) {
  std::string nested;
  for (int level = 0; level < 4000; ++level) nested += "<array>";
  EXPECT_EQ(storedIn("<plist>" + nested), "");
  for (int level = 0; level < 4000; ++level) nested += "</array>";
  EXPECT_EQ(storedIn("<plist>" + nested + "</plist>"), "");
  EXPECT_EQ(storedIn(std::string(70'000, ' ') + dictionary("")), "");
  EXPECT_THAT(problems().back(), HasSubstr("File too large"));
}

TEST_F(PreferencesFileTest, AFailureIsReportedAndTheOldFileStays) {
  ASSERT_TRUE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp("old"));
  const std::string before = contentOf(path_);
  FaultyFileOperations dryRun;
  ASSERT_TRUE(PreferencesFile(folder_.path(), logs_, dryRun).setClientTimeStamp("new"));
  const auto callOf = [&](const char* name) {
    return static_cast<std::size_t>(std::find(dryRun.calls().begin(), dryRun.calls().end(), name) -
                                    dryRun.calls().begin()) +
           1;
  };
  std::size_t reported = 0;
  for (std::size_t call = callOf("mkdir"); call <= callOf("rename"); ++call) {
    SCOPED_TRACE(dryRun.calls()[call - 1]);
    putContent(path_, before);
    FaultyFileOperations files({Fault::Kind::fails, call, ENOSPC});
    PreferencesFile preferences(folder_.path(), logs_, files);
    EXPECT_FALSE(preferences.setClientTimeStamp("new"));
    EXPECT_EQ(preferences.clientTimeStamp(), "new");
    EXPECT_EQ(contentOf(path_), before);
    EXPECT_EQ(problems().size(), ++reported);
  }
}

TEST_F(PreferencesFileTest, WhatCannotBeReadIsNotOverwritten) {
  ASSERT_TRUE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp("old"));
  const std::string before = contentOf(path_);
  FaultyFileOperations dryRun;
  const PreferencesFile dryPreferences(folder_.path(), logs_, dryRun);
  FaultyFileOperations files({Fault::Kind::fails, dryRun.calls().size() + 1, EACCES});
  EXPECT_FALSE(PreferencesFile(folder_.path(), logs_, files).setClientTimeStamp("new"));
  EXPECT_EQ(contentOf(path_), before);
}

TEST_F(PreferencesFileTest, MutatedFilesDoNoHarm) {
  ASSERT_TRUE(PreferencesFile(folder_.path(), logs_).setClientTimeStamp("\"2026-11-21\" & <more>"));
  using File = test::BinaryPropertyListFile;
  const std::string wholes[] = {
      contentOf(path_), File{.objects = {File::dictionary({1, 3, 2, 4}), File::text("clientTimeStamp"), File::text("t"),
                                         File::text("other"), File::array({1, 2})}}
                            .bytes()};
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string mutated = wholes[random() % 2];
    for (std::size_t change = random() % 4 + 1; change > 0; --change) {
      mutated[random() % mutated.size()] = static_cast<char>(random());
    }
    if (random() % 4 == 0) mutated.resize(random() % mutated.size());
    EXPECT_TRUE(isXmlAllowed(storedIn(mutated)));
  }
}

}  // namespace
}  // namespace sqm::platform
