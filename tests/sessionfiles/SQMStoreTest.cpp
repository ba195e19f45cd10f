#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMRecord.h"
#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/testing/FakeHost.h"

#include "tests/sessionfiles/SqmLine.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TemporaryFolder.h"

using sqm::SQMStore;
using sqm::testing::FakeHost;
using sqm::testing::MemoryConsole;
using namespace std::string_literals;

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

/// Does something as soon as a line is written, in the middle of the store's work.
class InterferingConsole : public MemoryConsole {
 public:
  void writeLine(std::string_view text) override {
    MemoryConsole::writeLine(text);
    if (onLine) onLine();
  }

  std::function<void()> onLine;
};

class SQMStoreTest : public ::testing::Test {
 protected:
  SQMStoreTest() {
    host.host.console = &console;
    store.setSQMDirPath(folder.path());
  }

  void put(std::string_view name, std::string_view content) { putContent(folder / name, content); }

  FakeHost host;
  InterferingConsole console;
  TemporaryFolder folder;
  SQMStore store{host.host};
};

TEST_F(SQMStoreTest, ReadsTheRecordsAndNeitherReadsNorDeletesOtherFiles) {
  sqm::SQMRecord record(host.host);
  record.setSQMDir(folder.path());
  record.setStringValueForField(7, "Caf\xC3\xA9");
  ASSERT_TRUE(record.saveRec());
  put("notes.txt", "not a record\n");
  EXPECT_EQ(store.getDataFromSQMRec(), sqmLine({{7, "Caf\xC3\xA9"}}));
  store.deleteSQMRecord();
  EXPECT_EQ(folder.names(), Names{"notes.txt"});
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
  EXPECT_EQ(contentOf(folder / "a.sqm"), "a\n");
}

TEST_F(SQMStoreTest, WithoutAFolderThereIsNothingToReadOrDelete) {
  SQMStore fresh(host.host);
  EXPECT_EQ(fresh.SQMDirPath(), std::nullopt);
  EXPECT_EQ(fresh.getDataFromSQMRec(), "");
  fresh.deleteSQMRecord();
  EXPECT_EQ(console.lines, Names{});
}

TEST_F(SQMStoreTest, KeepsItsOwnCopyOfTheFolder) {
  std::string path = folder.path();
  store.setSQMDirPath(path);
  path.assign(path.size(), 'x');
  EXPECT_EQ(store.SQMDirPath(), folder.path());
  store.setSQMDirPath(std::nullopt);
  EXPECT_EQ(store.SQMDirPath(), std::nullopt);
}

TEST_F(SQMStoreTest, AFolderThatCannotBeListedYieldsNothing) {
  put("file", "content");
  for (const std::string& path : {folder / "missing", folder / "file", ""s, "no\0folder"s}) {
    store.setSQMDirPath(path);
    EXPECT_EQ(store.getDataFromSQMRec(), "") << path;
    store.deleteSQMRecord();
  }
  EXPECT_EQ(folder.names(), Names{"file"});
  EXPECT_EQ(console.lines, Names{});
}

TEST_F(SQMStoreTest, AFolderWithANulIsNotTheOneBeforeIt) {
  put("a.sqm", "a");
  store.setSQMDirPath(folder.path() + "\0more"s);
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  store.deleteSQMRecord();
  EXPECT_EQ(folder.names(), Names{"a.sqm"});
}

TEST_F(SQMStoreTest, AFolderThatMustNotBeReadYieldsNothingAndKeepsItsFiles) {
  put("a.sqm", "a");
  {
    const Forbidden forbidden(folder.path(), fs::perms::none);
    const OrdinaryUser user;
    EXPECT_EQ(store.getDataFromSQMRec(), "");
    store.deleteSQMRecord();
  }
  EXPECT_EQ(folder.names(), Names{"a.sqm"});
}

TEST_F(SQMStoreTest, AnEmptyFolderYieldsNothing) {
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  store.deleteSQMRecord();
  EXPECT_EQ(console.lines, Names{});
}

TEST_F(SQMStoreTest, TheExtensionCountsInAnyCaseAndAlone) {
  const std::pair<std::string_view, bool> cases[] = {
      {"a.sqm", true}, {"b.SQM", true},   {"c.Sqm", true},      {"d.sqm.sqm", true}, {".e.sqm", true},
      {".sqm", false}, {"sqm", false},    {"f.sqm.bak", false}, {"g.sqm~", false},   {"h.xsqm", false},
      {"i.sq", false}, {"j.sqm ", false}, {"k_sqm", false},     {"l.sqmx", false},   {"m.", false},
  };
  Names others;
  for (const auto& [name, isRecord] : cases) {
    put(name, name);
    EXPECT_EQ(store.getDataFromSQMRec(), isRecord ? name : "") << name;
    store.deleteSQMRecord();
    EXPECT_EQ(fs::exists(folder / name), !isRecord) << name;
    fs::remove(folder / name);
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
  EXPECT_EQ(console.lines, (Names{"file deleted:" + folder / "a.sqm", "file deleted:" + folder / "b.SQM"}));
}

TEST_F(SQMStoreTest, AFolderNameIsNoFormat) {
  const std::string odd = folder / "100 %@ %s";
  fs::create_directory(odd);
  putContent(odd + "/a%@.sqm", "content");
  store.setSQMDirPath(odd);
  EXPECT_EQ(store.getDataFromSQMRec(), "content");
  store.deleteSQMRecord();
  EXPECT_EQ(console.lines, (Names{"Path :sqm", "file deleted:" + odd + "/a%@.sqm"}));
  EXPECT_TRUE(fs::is_empty(odd));
}

TEST_F(SQMStoreTest, AnEmptyFileContributesNothingAndIsDeleted) {
  put("a.sqm", "");
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  EXPECT_EQ(console.lines, Names{"Path :sqm"});
  store.deleteSQMRecord();
  EXPECT_EQ(folder.names(), Names{});
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
  EXPECT_EQ(folder.names(), Names{}) << "what is left out is deleted with the others";
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

TEST_F(SQMStoreTest, FilesOfAnySizeAreReadWhole) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{4095}, std::size_t{4096}, std::size_t{4097},
                                 std::size_t{1} << 20, (std::size_t{1} << 20) + 1, std::size_t{5'000'003}}) {
    const std::string content(size, 'x');
    put("a.sqm", content);
    put("b.sqm", "end");
    EXPECT_TRUE(store.getDataFromSQMRec() == content + "end") << size;
  }
}

TEST_F(SQMStoreTest, ManyFilesAreReadInOrderIntoABodyWithoutRoomToSpare) {
  std::string expected;
  for (int number = 1000; number < 2000; ++number) {
    const std::string content = sqmLine({{0, std::to_string(number)}});
    put(std::to_string(number) + ".sqm", content);
    expected += content;
  }
  const std::string body = store.getDataFromSQMRec();
  EXPECT_TRUE(body == expected);
  EXPECT_LE(body.capacity(), body.size() + body.size() / 8);
}

/// Sizes of which memory has no room: more than a text can have, and more than the system gives.
constexpr std::uintmax_t kTooLarge[] = {
    std::numeric_limits<std::int64_t>::max(),
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // these end the process instead
    std::uintmax_t{1} << 47,
#endif
};

TEST_F(SQMStoreTest, AFileThatClaimsMoreThanMemoryHoldsIsLeftOut) {
  const TemporaryFolder memory("/dev/shm");  // takes files of any size, as long as nothing is in them
  putContent(memory / "a.sqm", "before ");
  putContent(memory / "b.sqm", "");
  putContent(memory / "c.sqm", "after");
  store.setSQMDirPath(memory.path());
  for (const std::uintmax_t size : kTooLarge) {
    fs::resize_file(memory / "b.sqm", size);
    EXPECT_EQ(store.getDataFromSQMRec(), "before after") << size;
  }
}

TEST_F(SQMStoreTest, FoldersAreNotEnteredAndGoOnlyWhenTheyAreEmpty) {
  fs::create_directory(folder / "empty.sqm");
  fs::create_directory(folder / "full.sqm");
  putContent(folder / "full.sqm/inner.sqm", "inner");
  fs::create_directory(folder / "sub");
  putContent(folder / "sub/inner.sqm", "inner");
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  EXPECT_EQ(console.lines, (Names{"Path :sqm", "Path :sqm"}));
  console.lines.clear();
  store.deleteSQMRecord();
  EXPECT_EQ(console.lines, (Names{"file deleted:" + folder / "empty.sqm", "file deleted:" + folder / "full.sqm"}));
  EXPECT_EQ(folder.names(), (Names{"full.sqm", "sub"}));
  EXPECT_EQ(contentOf(folder / "full.sqm/inner.sqm"), "inner");
  EXPECT_EQ(contentOf(folder / "sub/inner.sqm"), "inner");
}

TEST_F(SQMStoreTest, APipeDoesNotBlock) {
  ASSERT_EQ(::mkfifo((folder / "pipe.sqm").c_str(), 0600), 0);
  put("a.sqm", "a");
  EXPECT_EQ(store.getDataFromSQMRec(), "a");
  store.deleteSQMRecord();
  EXPECT_EQ(folder.names(), Names{});
}

TEST_F(SQMStoreTest, ADeviceBehindALinkIsNotRead) {
  fs::create_symlink("/dev/zero", folder / "endless.sqm");
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  store.deleteSQMRecord();
  EXPECT_EQ(folder.names(), Names{});
  EXPECT_TRUE(fs::exists("/dev/zero"));
}

TEST_F(SQMStoreTest, ALinkIsReadThroughAndDeletedItself) {
  put("target.txt", "behind the link");
  fs::create_symlink(folder / "target.txt", folder / "link.sqm");
  EXPECT_EQ(store.getDataFromSQMRec(), "behind the link");
  store.deleteSQMRecord();
  EXPECT_EQ(folder.names(), Names{"target.txt"});
}

TEST_F(SQMStoreTest, ALinkThatLeadsNowhereIsNoFile) {
  fs::create_symlink(folder / "missing", folder / "broken.sqm");
  fs::create_symlink("loop.sqm", folder / "loop.sqm");
  EXPECT_EQ(store.getDataFromSQMRec(), "");
  store.deleteSQMRecord();
  EXPECT_EQ(console.lines, Names{});
  EXPECT_EQ(folder.names(), (Names{"broken.sqm", "loop.sqm"}));
}

TEST_F(SQMStoreTest, AFileThatMustNotBeReadIsLeftOut) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  fs::permissions(folder.path(), fs::perms::all);
  fs::permissions(folder / "a.sqm", fs::perms::all);
  const Forbidden forbidden(folder / "b.sqm", fs::perms::none);
  const OrdinaryUser user;
  EXPECT_EQ(store.getDataFromSQMRec(), "a");
}

TEST_F(SQMStoreTest, WhatCannotBeDeletedStays) {
  put("a.sqm", "a");
  {
    fs::permissions(folder / "a.sqm", fs::perms::all);
    const Forbidden forbidden(folder.path(), kReadOnlyFolder);
    const OrdinaryUser user;
    store.deleteSQMRecord();
    EXPECT_EQ(store.getDataFromSQMRec(), "a");
  }
  EXPECT_EQ(folder.names(), Names{"a.sqm"});
}

TEST_F(SQMStoreTest, FilesThatVanishWhileItReadsAreLeftOut) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  put("c.sqm", "c");
  console.onLine = [&] { fs::remove(folder / "b.sqm"); };
  EXPECT_EQ(store.getDataFromSQMRec(), "ac");
}

TEST_F(SQMStoreTest, AFileThatGrowsWhileItReadsIsReadWhole) {
  put("a.sqm", "short");
  const std::string longer(3'000'000, 'y');
  console.onLine = [&] { put("a.sqm", longer); };
  EXPECT_TRUE(store.getDataFromSQMRec() == longer);
}

TEST_F(SQMStoreTest, AFileThatShrinksWhileItReadsIsReadAsItIs) {
  put("a.sqm", std::string(3'000'000, 'y'));
  put("b.sqm", "b");
  console.onLine = [&] { put("a.sqm", "short"); };
  EXPECT_EQ(store.getDataFromSQMRec(), "shortb");
}

TEST_F(SQMStoreTest, AFileThatBecomesAFolderWhileItReadsIsLeftOut) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  console.onLine = [&] {
    fs::remove(folder / "a.sqm");
    fs::create_directory(folder / "a.sqm");
  };
  EXPECT_EQ(store.getDataFromSQMRec(), "b");
}

TEST_F(SQMStoreTest, FilesThatVanishWhileItDeletesAreNoTrouble) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  console.onLine = [&] { fs::remove(folder / "b.sqm"); };
  store.deleteSQMRecord();
  EXPECT_EQ(folder.names(), Names{});
}

TEST_F(SQMStoreTest, FilesWrittenAfterTheReadingAreDeletedUnread) {
  put("a.sqm", "a");
  EXPECT_EQ(store.getDataFromSQMRec(), "a");
  put("b.sqm", "b");
  store.deleteSQMRecord();
  EXPECT_EQ(folder.names(), Names{});
}

}  // namespace
