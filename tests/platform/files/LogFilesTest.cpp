#include <algorithm>
#include <set>
#include <signal.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/files/LogFiles.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::Fault;
using test::FaultyFileOperations;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

constexpr std::string_view kStamp = "2026-11-21T10:00:00.000Z";

class LogFilesTest : public ::testing::Test {
 protected:
  LogFiles::Options options() {
    LogFiles::Options options;
    options.folder = folder_ / "logs";
    options.now = [this] { return now_; };
    return options;
  }
  std::string content(const std::string& name) const { return contentOf(folder_ / ("logs/" + name)); }
  static void write(LogFile& log, std::string_view text) { log.writeLogToFileWithInfo("USER", 2, "%@", {text}); }
  /// The line that `write` writes.
  static std::string line(std::string_view text) { return std::string(kStamp) + " USER 2 " + std::string(text) + "\n"; }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_ / "logs")) {
      found.push_back(entry.path().filename());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  TemporaryFolder folder_;
  std::chrono::system_clock::time_point now_ =
      std::chrono::sys_days(std::chrono::year(2026) / std::chrono::November / 21) + 10h;
};

TEST_F(LogFilesTest, ALineHasItsTimeCategoryLevelAndText) {
  LogFiles logs(options());
  const auto log = logs.initWithFile("a.log", 2);
  ASSERT_TRUE(log);
  log->writeLogToFileWithInfo("USER", 2, "Generated  \n \t %@ \n\t", {"<a/>"});
  now_ += 1ms;
  log->writeLogToFileWithInfo("DEBUG", 1, "100%");
  now_ += 13h + 59min + 59s + 998ms;
  log->writeLogToFileWithInfo("USER", -1, "%ld of %@ and %@", {"1", "%@"});
  EXPECT_EQ(content("a.log"),
            "2026-11-21T10:00:00.000Z USER 2 Generated  \n \t <a/> \n\t\n"
            "2026-11-21T10:00:00.001Z DEBUG 1 100%\n"
            "2026-11-21T23:59:59.999Z USER -1 1 of %@ and %@\n");
}

TEST_F(LogFilesTest, TimesBefore1970AreWritten) {
  now_ = std::chrono::system_clock::time_point(-1ms);
  LogFiles logs(options());
  write(*logs.initWithFile("a.log", 2), "x");
  EXPECT_EQ(content("a.log"), "1969-12-31T23:59:59.999Z USER 2 x\n");
}

TEST_F(LogFilesTest, LinesAboveTheLevelOfTheLogAreLeftOut) {
  LogFiles logs(options());
  const auto log = logs.initWithFile("a.log", 2);
  log->writeLogToFileWithInfo("USER", 3, "no");
  log->writeLogToFileWithInfo("USER", 2, "yes");
  EXPECT_EQ(content("a.log"), line("yes"));
}

// So that the lines of several processes do not mix.
TEST_F(LogFilesTest, LinesAreDroppedWhileNothingMayBeLogged) {
  LogFiles logs(options());
  const auto log = logs.initWithFile("a.log", 2);
  ASSERT_TRUE(log);
  logs.setMayLog(false);
  write(*log, "no");
  const auto other = logs.initWithFile("b.log", 2);
  write(*other, "no");
  logs.setMayLog(true);
  write(*log, "yes");
  EXPECT_EQ(content("a.log"), line("yes"));
  EXPECT_EQ(content("b.log"), "");
}

TEST_F(LogFilesTest, EachLineIsWrittenWhole) {
  FaultyFileOperations files;
  LogFiles logs(options(), files);
  const auto log = logs.initWithFile("a.log", 2);
  for (int i = 0; i < 10; ++i) write(*log, std::string(5000, 'x'));
  EXPECT_EQ(std::count(files.calls().begin(), files.calls().end(), "write"), 10);
}

TEST_F(LogFilesTest, OnlyTheUserCanReadFoldersAndFiles) {
  auto deep = options();
  deep.folder = folder_ / "Library/Logs/Trelk/Trelk Quenfa";
  LogFiles logs(deep);
  EXPECT_THAT(folder_.names(), IsEmpty());
  ASSERT_TRUE(logs.initWithFile("a.log", 2));
  EXPECT_EQ(permissionsOf(folder_ / "Library"), static_cast<std::filesystem::perms>(0700));
  EXPECT_EQ(permissionsOf(deep.folder), static_cast<std::filesystem::perms>(0700));
  EXPECT_EQ(permissionsOf(deep.folder + "/a.log"), static_cast<std::filesystem::perms>(0600));
}

TEST_F(LogFilesTest, OnlyNamesWithoutAFolderNameALog) {
  LogFiles logs(options());
  for (const std::string_view name :
       {std::string_view(""), std::string_view("."), std::string_view(".."), std::string_view("../a.log"),
        std::string_view("/tmp/a.log"), std::string_view("a/b.log"), std::string_view("a\0.log", 6)}) {
    EXPECT_FALSE(logs.initWithFile(name, 2)) << name;
  }
  EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(LogFilesTest, ALogThatCannotBeOpenedIsNull) {
  putContent(folder_ / "logs", "a file in the folder's place");
  LogFiles blocked(options());
  EXPECT_FALSE(blocked.initWithFile("a.log", 2));
  auto elsewhere = options();
  elsewhere.folder = folder_ / "other";
  LogFiles logs(elsewhere);
  std::filesystem::create_directories(folder_ / "other/a.log");
  EXPECT_FALSE(logs.initWithFile("a.log", 2));
  ASSERT_EQ(::mkfifo((folder_ / "other/b.log").c_str(), 0600), 0);
  EXPECT_FALSE(logs.initWithFile("b.log", 2));
}

TEST_F(LogFilesTest, AnExistingFileIsContinued) {
  { write(*LogFiles(options()).initWithFile("a.log", 2), "one"); }
  write(*LogFiles(options()).initWithFile("a.log", 2), "two");
  EXPECT_EQ(content("a.log"), line("one") + line("two"));
}

TEST_F(LogFilesTest, ALogOutlivesItsFactory) {
  std::unique_ptr<LogFile> log;
  {
    LogFiles logs(options());
    log = logs.initWithFile("a.log", 2);
  }
  write(*log, "still here");
  EXPECT_EQ(content("a.log"), line("still here"));
}

TEST_F(LogFilesTest, AFullFileIsRenamedAndTheOldestIsDeleted) {
  auto small = options();
  small.fileSize = 2 * line("1").size();
  LogFiles logs(small);
  const auto log = logs.initWithFile("a.log", 2);
  for (const std::string_view text : {"1", "2", "3", "4", "5", "6", "7"}) write(*log, text);
  EXPECT_THAT(names(), ElementsAre("a.log", "a.log.1", "a.log.2"));
  EXPECT_EQ(content("a.log"), line("7"));
  EXPECT_EQ(content("a.log.1"), line("5") + line("6"));
  EXPECT_EQ(content("a.log.2"), line("3") + line("4"));
}

TEST_F(LogFilesTest, ASingleFileIsEmptiedWhenItIsFull) {
  for (const std::size_t files : {1U, 0U}) {
    auto single = options();
    single.files = files;
    single.fileSize = line("1").size();
    LogFiles logs(single);
    const auto log = logs.initWithFile("a.log", 2);
    write(*log, "1");
    write(*log, "2");
    EXPECT_THAT(names(), ElementsAre("a.log"));
    EXPECT_EQ(content("a.log"), line("2"));
  }
}

TEST_F(LogFilesTest, ALineLongerThanAFileHasAFileOfItsOwn) {
  auto small = options();
  small.fileSize = 10;
  LogFiles logs(small);
  const auto log = logs.initWithFile("a.log", 2);
  write(*log, "one");
  write(*log, "two");
  EXPECT_EQ(content("a.log"), line("two"));
  EXPECT_EQ(content("a.log.1"), line("one"));
}

TEST_F(LogFilesTest, LogsOfOneNameShareTheirFileAndRotateTogether) {
  auto small = options();
  small.fileSize = 2 * line("1").size();
  LogFiles logs(small);
  const auto first = logs.initWithFile("a.log", 2);
  const auto second = logs.initWithFile("a.log", 2);
  write(*first, "1");
  write(*second, "2");
  write(*first, "3");
  write(*second, "4");
  write(*second, "5");
  EXPECT_EQ(content("a.log.2"), line("1") + line("2"));
  EXPECT_EQ(content("a.log.1"), line("3") + line("4"));
  EXPECT_EQ(content("a.log"), line("5"));
}

TEST_F(LogFilesTest, AnotherProcessMayRotateTheSameFile) {
  auto small = options();
  small.fileSize = 2 * line("1").size();
  LogFiles here(small);
  LogFiles there(small);
  const auto ours = here.initWithFile("a.log", 2);
  const auto theirs = there.initWithFile("a.log", 2);
  write(*ours, "1");
  write(*ours, "2");
  write(*theirs, "3");
  EXPECT_EQ(content("a.log.1"), line("1") + line("2"));
  EXPECT_EQ(content("a.log"), line("3"));
  write(*ours, "4");
  EXPECT_EQ(content("a.log"), line("3") + line("4")) << "a file that is not full was rotated";
}

TEST_F(LogFilesTest, ADeletedFileOrFolderIsCreatedAgainWithinASecond) {
  LogFiles logs(options());
  const auto log = logs.initWithFile("a.log", 2);
  write(*log, "1");
  std::filesystem::remove(folder_ / "logs/a.log");
  now_ += 1s;
  write(*log, "2");
  EXPECT_EQ(content("a.log"), "2026-11-21T10:00:01.000Z USER 2 2\n");
  std::filesystem::remove_all(folder_ / "logs");
  now_ += 1s;
  write(*log, "3");
  EXPECT_EQ(content("a.log"), "2026-11-21T10:00:02.000Z USER 2 3\n");
}

TEST_F(LogFilesTest, ARenamedFileIsNoLongerWrittenAfterASecond) {
  LogFiles logs(options());
  const auto log = logs.initWithFile("a.log", 2);
  write(*log, "1");
  std::filesystem::rename(folder_ / "logs/a.log", folder_ / "logs/kept");
  now_ += 1s;
  write(*log, "2");
  EXPECT_EQ(content("kept"), line("1"));
  EXPECT_EQ(content("a.log"), "2026-11-21T10:00:01.000Z USER 2 2\n");
}

TEST_F(LogFilesTest, AFailureLosesOneLine) {
  FaultyFileOperations dryRun;
  const auto small = [&] {
    auto made = options();
    made.fileSize = line("1").size();
    return made;
  }();
  {
    LogFiles logs(small, dryRun);
    const auto log = logs.initWithFile("a.log", 2);
    for (const std::string_view text : {"1", "2"}) write(*log, text);
  }
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    SCOPED_TRACE(dryRun.calls()[call - 1]);
    std::filesystem::remove_all(folder_ / "logs");
    FaultyFileOperations files({Fault::Kind::fails, call, EIO});
    LogFiles logs(small, files);
    const auto log = logs.initWithFile("a.log", 2);
    if (!log) continue;
    for (const std::string_view text : {"1", "2", "3"}) write(*log, text);
    EXPECT_EQ(content("a.log"), line("3"));
  }
}

/// A disk that becomes full in the middle of the second line and has space again after it.
class FullForALine : public FaultyFileOperations {
 public:
  ssize_t write(int descriptor, const void* bytes, std::size_t size) override {
    ++writes_;
    if (writes_ == 3) {
      errno = ENOSPC;
      return -1;
    }
    return FaultyFileOperations::write(descriptor, bytes, writes_ == 2 ? size / 2 : size);
  }

 private:
  int writes_ = 0;
};

TEST_F(LogFilesTest, APartOfALineStaysALineOfItsOwn) {
  FullForALine files;
  LogFiles logs(options(), files);
  const auto log = logs.initWithFile("a.log", 2);
  for (const std::string_view text : {"1", "2", "3", "4"}) write(*log, text);
  EXPECT_EQ(content("a.log"), line("1") + line("2").substr(0, line("2").size() / 2) + "\n" + line("3") + line("4"));
}

TEST_F(LogFilesTest, AFileThatCannotBeRenamedIsEmptied) {
  auto small = options();
  small.fileSize = line("1").size();
  LogFiles logs(small);
  const auto log = logs.initWithFile("a.log", 2);
  std::filesystem::create_directories(folder_ / "logs/a.log.1/in the way");
  for (const std::string_view text : {"1", "2"}) write(*log, text);
  EXPECT_EQ(content("a.log"), line("2"));
}

TEST_F(LogFilesTest, ALongTextIsCutAndTheRestIsCounted) {
  auto brief = options();
  brief.textSize = 10;
  LogFiles logs(brief);
  const auto log = logs.initWithFile("a.log", 2);
  log->writeLogToFileWithInfo("USER", 2, "%@%@", {"01234", "56789"});
  log->writeLogToFileWithInfo("USER", 2, "%@ and %@", {"0123456789", "more"});
  log->writeLogToFileWithInfo("USER", 2, "12345678%@", {"€"});
  log->writeLogToFileWithInfo("USER", 2, "1234567%@x", {"€"});
  EXPECT_EQ(content("a.log"), line("0123456789") + line("0123456789 [9 bytes left out]") +
                                  line("12345678 [3 bytes left out]") + line("1234567€ [1 bytes left out]"));
}

TEST_F(LogFilesTest, AHugeTextIsCutBeforeItIsFormatted) {
  FaultyFileOperations files;
  LogFiles logs(options(), files);
  const std::string huge(100'000'000, 'x');  // NOLINT(bugprone-string-constructor): the length is meant
  write(*logs.initWithFile("a.log", 2), huge);
  EXPECT_EQ(files.largestWrite(), content("a.log").size());
  EXPECT_THAT(content("a.log"), EndsWith("x [99934464 bytes left out]\n"));
}

TEST_F(LogFilesTest, ALineIsInTheFileWhenTheProcessIsKilled) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    LogFiles logs(options());
    write(*logs.initWithFile("a.log", 2), "last words");
    ::kill(::getpid(), SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(content("a.log"), line("last words"));
}

TEST_F(LogFilesTest, ThreadsWriteWholeLines) {
  constexpr int kThreads = 4;
  constexpr int kLines = 300;
  auto many = options();
  many.fileSize = 8 * 1024;
  many.files = 100;
  LogFiles logs(many);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      const auto log = logs.initWithFile("a.log", 2);
      for (int i = 0; i < kLines; ++i) write(*log, std::to_string(thread) + "." + std::to_string(i));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::multiset<std::string> found;
  for (const std::string& name : names()) {
    std::istringstream lines(content(name));
    for (std::string each; std::getline(lines, each);) found.insert(each + "\n");
  }
  std::multiset<std::string> expected;
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int i = 0; i < kLines; ++i) expected.insert(line(std::to_string(thread) + "." + std::to_string(i)));
  }
  EXPECT_EQ(found, expected);
  EXPECT_GT(names().size(), 2U);
}

}  // namespace
}  // namespace sqm::platform
