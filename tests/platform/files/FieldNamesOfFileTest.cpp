#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/files/BinaryPropertyListFile.h"
#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::BinaryPropertyListFile;
using test::FaultyFileOperations;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string listOf(std::string_view name) {
  return "<plist><array><string>" + std::string(name) + "</string></array></plist>";
}

class FieldNamesOfFile : public ::testing::Test {
 protected:
  using Table = std::shared_ptr<const FieldNameTable>;

  Table read() { return lists_.fieldNamesOfFile(path_); }
  Table read(std::string_view content) {
    putContent(path_, content);
    return read();
  }
  /// The system calls since the last time.
  std::vector<std::string> calls() {
    const std::vector<std::string> all = operations_.calls();
    std::vector<std::string> fresh(all.begin() + static_cast<std::ptrdiff_t>(seen_), all.end());
    seen_ = all.size();
    return fresh;
  }
  std::vector<std::string> problems() const { return logs_.lines("SQMFiles.log"); }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "names.plist";
  sqm::testing::MemoryLogs logs_;
  FaultyFileOperations operations_;
  PropertyListFiles lists_{logs_, {}, operations_};
  std::size_t seen_ = 0;
};

TEST_F(FieldNamesOfFile, AreTheArrayOfTheFile) {
  const Table table = read("<plist><array><string>a</string><true/><string>c</string></array></plist>");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->name(0), "a");
  EXPECT_EQ(table->name(1), std::nullopt);
  EXPECT_EQ(table->name(2), "c");
}

TEST_F(FieldNamesOfFile, AreReadEveryTimeAndParsedOnce) {
  const Table first = read(listOf("a"));
  EXPECT_THAT(calls(), ElementsAre("open", "fstat", "read", "close", "open", "fstat"));
  EXPECT_EQ(read(), first);
  EXPECT_THAT(calls(), ElementsAre("stat", "pread"));
}

TEST_F(FieldNamesOfFile, AreOpenedAgainWhenThePermissionsOfTheFileChange) {
  read(listOf("a"));
  calls();
  ASSERT_EQ(::chmod(path_.c_str(), 0400), 0);
  EXPECT_EQ(read()->name(0), "a");
  EXPECT_THAT(calls(), Contains("open"));
}

TEST_F(FieldNamesOfFile, AreThoseOfTheFileThatTookItsPlace) {
  read(listOf("a"));
  putContent(folder_ / "new", listOf("b"));
  ASSERT_EQ(::rename((folder_ / "new").c_str(), path_.c_str()), 0);
  EXPECT_EQ(read()->name(0), "b");
}

TEST_F(FieldNamesOfFile, FollowEveryChangeOfTheFile) {
  const Table first = read(listOf("a"));
  const struct {
    std::string content;
    std::string name;
  } changes[] = {
      {listOf("b"), "b"},               // of the same length
      {listOf("b") + "<!-- -->", "b"},  // longer, with the same beginning
      {listOf("much longer"), "much longer"},
      {listOf(""), ""},
  };
  for (const auto& [content, name] : changes) {
    const Table earlier = read();
    const Table next = read(content);
    ASSERT_NE(next, nullptr);
    EXPECT_NE(next, earlier);
    EXPECT_EQ(next->name(0), name);
  }
  EXPECT_EQ(first->name(0), "a");
}

TEST_F(FieldNamesOfFile, FollowAChangeThatLeavesSizeAndTimesAsTheyWere) {
  struct ::stat before {};
  read(listOf("a"));
  ASSERT_EQ(::stat(path_.c_str(), &before), 0);
  putContent(path_, listOf("b"));
  const struct ::timespec times[] = {before.st_atim, before.st_mtim};
  ASSERT_EQ(::utimensat(AT_FDCWD, path_.c_str(), times, 0), 0);
  EXPECT_EQ(read()->name(0), "b");
}

TEST_F(FieldNamesOfFile, BelongToTheirPath) {
  putContent(folder_ / "other.plist", listOf("b"));
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(read(listOf("a"))->name(0), "a");
    EXPECT_EQ(lists_.fieldNamesOfFile(folder_ / "other.plist")->name(0), "b");
  }
}

TEST_F(FieldNamesOfFile, MayBeBinary) {
  const std::string content =
      BinaryPropertyListFile{.objects = {BinaryPropertyListFile::array({1}), BinaryPropertyListFile::text("a")}}
          .bytes();
  const Table first = read(content);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->name(0), "a");
  EXPECT_EQ(read(), first);
}

TEST_F(FieldNamesOfFile, OfALargeFileAreParsedEveryTime) {
  const std::string large = listOf(std::string(70'000, 'n'));
  const Table first = read(large);
  const Table second = read();
  EXPECT_NE(first, second);
  EXPECT_EQ(first->name(0), second->name(0));
}

TEST_F(FieldNamesOfFile, AreMissingWithoutTheFile) {
  read(listOf("a"));
  ASSERT_EQ(::unlink(path_.c_str()), 0);
  EXPECT_EQ(read(), nullptr);
  EXPECT_THAT(problems(), IsEmpty());
  EXPECT_EQ(read(listOf("a"))->name(0), "a");
}

TEST_F(FieldNamesOfFile, AreMissingAndReportedEachTimeWhenTheFileIsNoList) {
  read(listOf("a"));
  EXPECT_EQ(read("no list"), nullptr);
  EXPECT_EQ(read(), nullptr);
  EXPECT_THAT(problems(), ElementsAre(HasSubstr(path_), HasSubstr(path_)));
  EXPECT_EQ(read(listOf("a"))->name(0), "a");
}

TEST_F(FieldNamesOfFile, AreMissingAndReportedWhenThePathIsAFolder) {
  read(listOf("a"));
  EXPECT_EQ(lists_.fieldNamesOfFile(folder_.path()), nullptr);
  EXPECT_THAT(problems(), ElementsAre(HasSubstr("Is a directory")));
}

TEST_F(FieldNamesOfFile, DoNotWaitForAPipe) {
  read(listOf("a"));
  const std::string pipe = folder_ / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(lists_.fieldNamesOfFile(pipe), nullptr);
  EXPECT_EQ(problems().size(), 1U);
}

TEST_F(FieldNamesOfFile, AreParsedAgainWhenTheFileCannotBeCompared) {
  putContent(path_, listOf("a"));
  for (const std::size_t call : {7U, 8U}) {  // the second table's stat and pread
    FaultyFileOperations failing({test::Fault::Kind::fails, call, EIO});
    PropertyListFiles lists(logs_, {}, failing);
    ASSERT_NE(lists.fieldNamesOfFile(path_), nullptr);
    EXPECT_EQ(lists.fieldNamesOfFile(path_)->name(0), "a");
    EXPECT_EQ(failing.calls()[call - 1], call == 7 ? "stat" : "pread");
    EXPECT_THAT(problems(), IsEmpty());
  }
}

}  // namespace
}  // namespace sqm::platform
