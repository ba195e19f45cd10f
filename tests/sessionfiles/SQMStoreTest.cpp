#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMRecord.h"
#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/testing/FakeHost.h"

#include "tests/sessionfiles/SqmLine.h"
#include "tests/support/ObservedConsole.h"

using sqm::SQMStore;
using sqm::testing::FakeHost;
using namespace std::string_literals;

namespace {

using Names = std::vector<std::string>;
using Operation = sqm::testing::MemoryFiles::Operation;

const std::string kFolder = "/sessions";

class SQMStoreTest : public ::testing::Test {
 protected:
  SQMStoreTest() {
    host.host.console = &console;
    host.files.makeFolder(kFolder);
    store.setSQMDirPath(kFolder);
  }

  void put(std::string_view name, std::string_view content) {
    host.files.put(kFolder + "/" + std::string(name), content);
  }

  Names names() const { return host.files.names(kFolder); }

  FakeHost host;
  ObservedConsole console;
  SQMStore store{host.host};
};

TEST_F(SQMStoreTest, ReadsTheRecordsAndNeitherReadsNorDeletesOtherFiles) {
  sqm::SQMRecord record(host.host);
  record.setSQMDir(kFolder);
  record.setStringValueForField(7, "Caf\xC3\xA9");
  ASSERT_TRUE(record.saveRec());
  put("notes.txt", "not a record\n");
  EXPECT_EQ(store.getDataFromSQMRec(), sqmLine({{7, "Caf\xC3\xA9"}}));
  store.deleteSQMRecord();
  EXPECT_EQ(names(), Names{"notes.txt"});
}

TEST_F(SQMStoreTest, FilesFollowEachOtherByNameWithNothingBetween) {
  put("0Q20261115210739.sqm", "third\n");
  put("0Q20261115210738.sqm", "second");
  put("0Q20251231235959.sqm", "first ");
  put("zz.SQM", "fourth");
  EXPECT_EQ(store.getDataFromSQMRec(), "first secondthird\nfourth");
}

TEST_F(SQMStoreTest, ReadingLeavesTheFilesAndYieldsTheSameAgain) {
  put("a.sqm", "a\n");
  EXPECT_EQ(store.getDataFromSQMRec(), "a\n");
  EXPECT_EQ(store.getDataFromSQMRec(), "a\n");
  EXPECT_EQ(host.files.content(kFolder + "/a.sqm"), "a\n");
}

TEST_F(SQMStoreTest, WithoutAFolderThereIsNothingToReadOrDelete) {
  SQMStore fresh(host.host);
  EXPECT_EQ(fresh.SQMDirPath(), std::nullopt);
  EXPECT_EQ(fresh.getDataFromSQMRec(), "");
  fresh.deleteSQMRecord();
  EXPECT_EQ(console.lines, Names{});
}

TEST_F(SQMStoreTest, KeepsItsOwnCopyOfTheFolder) {
  std::string path = kFolder;
  store.setSQMDirPath(path);
  path.assign(path.size(), 'x');
  EXPECT_EQ(store.SQMDirPath(), kFolder);
  store.setSQMDirPath(std::nullopt);
  EXPECT_EQ(store.SQMDirPath(), std::nullopt);
}

TEST_F(SQMStoreTest, AFolderThatCannotBeListedYieldsNothing) {
  put("a.sqm", "a");
  store.setSQMDirPath("/missing");
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  store.deleteSQMRecord();
  host.files.refuse(Operation::list, kFolder);
  store.setSQMDirPath(kFolder);
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  store.deleteSQMRecord();
  EXPECT_EQ(names(), Names{"a.sqm"});
  EXPECT_EQ(console.lines, Names{});
}

TEST_F(SQMStoreTest, AnEmptyFolderYieldsNothing) {
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  store.deleteSQMRecord();
  EXPECT_EQ(console.lines, Names{});
}

TEST_F(SQMStoreTest, TheExtensionCountsInAnyCaseAndAlone) {
  const std::pair<std::string_view, bool> cases[] = {
      {"a.sqm", true}, {"b.SQM", true},         {"c.Sqm", true},      {"d.sqm.sqm", true}, {".e.sqm", true},
      {".sqm", false}, {"sqm", false},          {"f.sqm.bak", false}, {"g.sqm~", false},   {"h.xsqm", false},
      {"i.sq", false}, {"j.sqm ", false},       {"k_sqm", false},     {"l.sqmx", false},   {"m.", false},
      {"", false},     {"n.\xC5\xBFqm", false},
  };
  for (const auto& [name, isRecord] : cases) {
    EXPECT_EQ(sqm::isSqmFileName(name), isRecord) << name;
    if (name.empty()) continue;
    put(name, name);
    EXPECT_EQ(store.getDataFromSQMRec(), isRecord ? name : "") << name;
    store.deleteSQMRecord();
    EXPECT_EQ(names(), isRecord ? Names{} : Names{std::string(name)});
    host.files.remove(kFolder + "/" + std::string(name));
  }
}

TEST_F(SQMStoreTest, TheConsoleShowsTheExtensionOfWhatIsReadAndThePathOfWhatIsDeleted) {
  put("b.SQM", "b");
  put("a.sqm", "a");
  put("c.txt", "c");
  store.getDataFromSQMRec();
  EXPECT_EQ(console.lines, (Names{"Path :sqm", "Path :SQM"}));
  console.lines.clear();
  store.deleteSQMRecord();
  EXPECT_EQ(console.lines, (Names{"file deleted:/sessions/a.sqm", "file deleted:/sessions/b.SQM"}));
}

TEST_F(SQMStoreTest, AFolderNameIsNoFormat) {
  host.files.put("/100 %@ %s/a%@.sqm", "content");
  store.setSQMDirPath("/100 %@ %s");
  EXPECT_EQ(store.getDataFromSQMRec(), "content");
  store.deleteSQMRecord();
  EXPECT_EQ(console.lines, (Names{"Path :sqm", "file deleted:/100 %@ %s/a%@.sqm"}));
  EXPECT_EQ(host.files.names("/100 %@ %s"), Names{});
}

TEST_F(SQMStoreTest, AnEmptyFileContributesNothingAndIsDeleted) {
  put("a.sqm", "");
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  EXPECT_EQ(console.lines, Names{"Path :sqm"});
  store.deleteSQMRecord();
  EXPECT_EQ(names(), Names{});
}

TEST_F(SQMStoreTest, AFileThatIsNotWellFormedUtf8IsLeftOutWhole) {
  const std::string illFormed[] = {"caf\xE9\n",
                                   "\xFF",
                                   "cut off \xE2\x82",
                                   "\xC0\x80",
                                   "\xED\xA0\x80",
                                   "\xF4\x90\x80\x80",
                                   "\xE0\x80\xAF",
                                   "\x80",
                                   "\xC3(",
                                   "\xF0\x8F\xBF\xBF",
                                   "long "s + std::string(100'000, 'x') + "\xFE"};
  for (const std::string& content : illFormed) {
    put("a.sqm", "before ");
    put("b.sqm", content);
    put("c.sqm", "after");
    EXPECT_EQ(store.getDataFromSQMRec(), "before after");
  }
  store.deleteSQMRecord();
  EXPECT_EQ(names(), Names{}) << "what is left out is deleted with the others";
}

TEST_F(SQMStoreTest, AnyWellFormedTextIsTakenAsItIs) {
  const std::string texts[] = {"\xEF\xBB\xBF with a mark",
                               "a\0b"s,
                               "\xEF\xBF\xBF \xF4\x8F\xBF\xBF",
                               "\r\n\t\x01\x7F",
                               "\xED\x9F\xBF\xEE\x80\x80 \xE0\xA0\x80 \xF0\x90\x80\x80",
                               "no \"line\", %@ \n\n"};
  for (const std::string& text : texts) {
    put("a.sqm", text);
    EXPECT_EQ(store.getDataFromSQMRec(), text);
  }
}

TEST_F(SQMStoreTest, CharactersDoNotRunAcrossTwoFiles) {
  put("a.sqm", "\xC3");
  put("b.sqm", "\xA9");
  EXPECT_EQ(store.getDataFromSQMRec(), "");
}

TEST_F(SQMStoreTest, ManyFilesAreReadInOrder) {
  std::string expected;
  for (int number = 1000; number < 2000; ++number) {
    const std::string content = sqmLine({{0, std::to_string(number)}});
    put(std::to_string(number) + ".sqm", content);
    expected += content;
  }
  EXPECT_TRUE(store.getDataFromSQMRec() == expected);
}

TEST_F(SQMStoreTest, AFolderIsNotEnteredAndIsDeletedWithAllThatIsInIt) {
  host.files.makeFolder(kFolder + "/empty.sqm");
  host.files.makeFolder(kFolder + "/full.sqm");
  host.files.put(kFolder + "/full.sqm/inner.sqm", "inner");
  host.files.put(kFolder + "/full.sqm/deeper/notes.txt", "notes");
  host.files.makeFolder(kFolder + "/sub");
  host.files.put(kFolder + "/sub/inner.sqm", "inner");
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  EXPECT_EQ(console.lines, (Names{"Path :sqm", "Path :sqm"}));
  console.lines.clear();
  store.deleteSQMRecord();
  EXPECT_EQ(console.lines, (Names{"file deleted:/sessions/empty.sqm", "file deleted:/sessions/full.sqm"}));
  EXPECT_EQ(names(), Names{"sub"});
  EXPECT_EQ(host.files.names(kFolder + "/full.sqm"), Names{});
  EXPECT_EQ(host.files.content(kFolder + "/sub/inner.sqm"), "inner");
}

TEST_F(SQMStoreTest, AFileThatCannotBeReadIsSkipped) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  put("c.sqm", "c");
  host.files.refuse(Operation::read, kFolder + "/b.sqm");
  EXPECT_EQ(store.getDataFromSQMRec(), "ac");
  EXPECT_EQ(console.lines.size(), 3U);
}

TEST_F(SQMStoreTest, WhatCannotBeDeletedStaysAndTheOthersAreDeleted) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  host.files.refuse(Operation::remove, kFolder + "/a.sqm");
  store.deleteSQMRecord();
  EXPECT_EQ(names(), Names{"a.sqm"});
  EXPECT_EQ(console.lines, (Names{"file deleted:/sessions/a.sqm", "file deleted:/sessions/b.sqm"}));
}

TEST_F(SQMStoreTest, FilesOfVeryDifferentSizesAreReadWhole) {
  std::string expected;
  int number = 1000;
  for (const std::size_t size : {0U, 1U, 5'000'000U, 3U, 0U, 70'000U, 2'000'000U, 1U}) {
    const std::string content(size, static_cast<char>('a' + number % 26));
    put(std::to_string(++number) + ".sqm", content);
    expected += content;
  }
  EXPECT_TRUE(store.getDataFromSQMRec() == expected);
}

/// Opens no folder.
class ClosedFiles : public sqm::testing::MemoryFiles {
 public:
  std::unique_ptr<Folder> open(const std::string& /*folder*/) override { return nullptr; }
};

TEST_F(SQMStoreTest, AFolderThatIsListedAndCannotBeOpenedYieldsNothing) {
  ClosedFiles files;
  files.put("/sessions/a.sqm", "a");
  host.host.files = &files;
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  EXPECT_EQ(console.lines, Names{"Path :sqm"});
}

TEST_F(SQMStoreTest, FilesThatVanishWhileItReadsAreLeftOut) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  put("c.sqm", "c");
  console.onLine = [&](std::string_view) { host.files.remove(kFolder + "/b.sqm"); };
  EXPECT_EQ(store.getDataFromSQMRec(), "ac");
}

TEST_F(SQMStoreTest, FilesThatVanishWhileItDeletesAreIgnored) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  console.onLine = [&](std::string_view) { host.files.remove(kFolder + "/b.sqm"); };
  store.deleteSQMRecord();
  EXPECT_EQ(names(), Names{});
}

TEST_F(SQMStoreTest, FilesWrittenAfterTheReadingAreDeletedUnread) {
  put("a.sqm", "a");
  EXPECT_EQ(store.getDataFromSQMRec(), "a");
  put("b.sqm", "b");
  store.deleteSQMRecord();
  EXPECT_EQ(names(), Names{});
}

}  // namespace
