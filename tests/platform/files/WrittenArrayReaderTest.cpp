#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::Fault;
using test::FaultyFileOperations;

/// A file in memory.
class FileInMemory : public FaultyFileOperations {
 public:
  explicit FileInMemory(std::string_view content, std::size_t mostPerRead = std::string_view::npos)
      : content_(content), mostPerRead_(mostPerRead) {}

  int openat(int /*folder*/, const std::string& /*path*/, int /*flags*/, mode_t /*mode*/) override { return 1000; }
  int fstat(int /*descriptor*/, struct ::stat& status) override {
    status = {};
    status.st_mode = S_IFREG;
    status.st_size = static_cast<off_t>(content_.size());
    return 0;
  }
  ssize_t read(int /*descriptor*/, void* buffer, std::size_t size) override {
    const std::size_t length = std::min({size, mostPerRead_, content_.size() - at_});
    if (length > 0) std::memcpy(buffer, content_.data() + at_, length);
    at_ += length;
    return static_cast<ssize_t>(length);
  }
  int close(int /*descriptor*/) override { return 0; }

 private:
  std::string_view content_;
  std::size_t mostPerRead_;
  std::size_t at_ = 0;
};

std::string written(const TextArray& texts) {
  std::string content;
  writeXmlArray(texts, [&](std::string_view piece) { content.append(piece); });
  return content;
}

/// The result of the reader of the library's own layout.
std::optional<TextArray> readWritten(std::string_view content) {
  FileInMemory files(content);
  File file;
  EXPECT_FALSE(file.open(files, "file", O_RDONLY));
  std::optional<TextArray> array;
  EXPECT_FALSE(readWrittenArray(files, file, array));
  return array;
}

/// The result of the reader of every layout.
std::optional<TextArray> readAny(std::string_view content) {
  const auto bytes = std::make_unique<char[]>(content.size());
  std::ranges::copy(content, bytes.get());
  std::string_view problem;
  return readXmlArray(bytes.get(), content.size(), problem);
}

const TextArray kTexts = {"a", "", "<b x=\"1\">&'c'\r\n\t</b>", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\x7F",
                          "&<>\r&amp;"};

TEST(WrittenArrayReader, ReadsWhatIsWritten) {
  for (const TextArray& texts :
       {TextArray{}, TextArray{""}, kTexts, TextArray(std::vector<std::string>(10'000, "<name>value</name>"))}) {
    EXPECT_TRUE(readWritten(written(texts)) == texts);
    EXPECT_TRUE(readAny(written(texts)) == texts);
  }
  EXPECT_EQ(readWritten(written({std::nullopt})), TextArray{}) << "an array without elements, in two tags";
}

TEST(WrittenArrayReader, NeverReadsWhatTheOtherReaderReadsDifferently) {
  const std::string whole = written(kTexts);
  std::size_t accepted = 0;
  const auto check = [&](const std::string& content) {
    const auto array = readWritten(content);
    if (!array) return;
    ++accepted;
    ASSERT_EQ(array, readAny(content)) << content;
    ASSERT_EQ(written(*array), content) << "the layout has one form for each list";
  };
  for (std::size_t at = 0; at <= whole.size(); ++at) {
    check(whole.substr(0, at));
    check(whole.substr(at));
    for (const std::size_t length : {1U, 2U, 5U, 9U, 18U}) {
      check(std::string(whole).erase(std::min(at, whole.size()), length));
    }
    for (int byte = 0; byte < 256; ++byte) {
      std::string mutated = whole;
      mutated.insert(at, 1, static_cast<char>(byte));
      check(mutated);
      if (at == whole.size()) continue;
      mutated.erase(at + 1, 1);  // replaced
      check(mutated);
    }
  }
  EXPECT_GT(accepted, 1'000U);
  EXPECT_EQ(readWritten(whole + "\n"), std::nullopt);
  EXPECT_EQ(readWritten(whole + std::string(1, '\0')), std::nullopt);
}

TEST(WrittenArrayReader, WhatIsNotWrittenLikeThisIsLeftToTheOtherReader) {
  const std::string whole = written({"text"});
  for (const std::string_view text : {"\r", ">", "&#10;", "&#x3C;", "&quot;", "&", "&lt", "<![CDATA[x]]>", "<!-- -->",
                                      "\x01", "\x80", "\xED\xA0\x80", "\xEF\xBF\xBE", "\xC3", "\xF0\x9F\x98"}) {
    for (const std::size_t before : {0U, 40U, 60U, 63U, 64U, 200U}) {
      std::string other = whole;
      other.replace(other.find("text"), 4, std::string(before, 'x').append(text));
      EXPECT_EQ(readWritten(other), std::nullopt) << other;
    }
  }
}

/// The reader reads pieces of 64 KiB. Every tag, reference and character is divided between two of them.
TEST(WrittenArrayReader, NothingIsLostWhereAPieceEnds) {
  constexpr std::size_t kPiece = std::size_t{64} * 1024;
  const std::size_t head = written({""}).find("</string>");
  const std::size_t tokens = written(kTexts).size();
  for (std::size_t shift = 0; shift < tokens + 200; ++shift) {
    std::vector<std::optional<std::string_view>> all(kTexts.begin(), kTexts.end());
    const std::string filler(kPiece - head - tokens - 50 + shift, 'x');
    all.insert(all.begin(), filler);
    all.insert(all.end(), kTexts.begin(), kTexts.end());
    const TextArray texts(all);
    ASSERT_TRUE(readWritten(written(texts)) == texts) << shift;
  }
}

TEST(WrittenArrayReader, ATextMayBeLongerThanAPiece) {
  for (const std::string_view character : {"x", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "&"}) {
    for (std::size_t shift = 0; shift < 4; ++shift) {
      std::string text(shift, 'x');
      while (text.size() < 300'000) text.append(character);
      const TextArray texts = {"before", text, "after"};
      EXPECT_TRUE(readWritten(written(texts)) == texts);
      std::string damaged = written(texts);
      damaged[200'000] = '\xFF';
      EXPECT_EQ(readWritten(damaged), std::nullopt);
    }
  }
}

TEST(WrittenArrayReader, ShortReadsDoNotHarm) {
  const TextArray texts = std::vector<std::string>(100, "<name>value</name>");
  const std::string content = written(texts);
  FileInMemory files(content, 7);
  File file;
  ASSERT_FALSE(file.open(files, "file", O_RDONLY));
  std::optional<TextArray> array;
  EXPECT_FALSE(readWrittenArray(files, file, array));
  EXPECT_EQ(array, texts);
}

class ReadingWrittenFiles : public ::testing::Test {
 protected:
  std::optional<TextArray> read(FileOperations& files) {
    return PropertyListFiles(logs_, {}, files).arrayWithContentsOfFile(path_);
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "list.plist";
  sqm::testing::MemoryLogs logs_;
};

TEST_F(ReadingWrittenFiles, TakesOneOpenAndOneReadForEachPiece) {
  const std::string content = written(std::vector<std::string>(100, std::string(2'000, 'x')));
  putContent(path_, content);
  FaultyFileOperations files;
  ASSERT_TRUE(read(files));
  const auto calls = files.calls();
  EXPECT_EQ(std::ranges::count(calls, "open"), 1);
  EXPECT_LE(std::ranges::count(calls, "read"), static_cast<std::ptrdiff_t>(content.size() / (60 * 1024) + 1));
}

TEST_F(ReadingWrittenFiles, AnotherLayoutFarBehindIsReadFromTheStart) {
  const TextArray texts = std::vector<std::string>(1'000, std::string(1'000, 'x'));
  std::string content = written(texts);
  content.replace(content.rfind("x</string>"), 1, "<![CDATA[x]]>");
  putContent(path_, content);
  EXPECT_TRUE(read(FileOperations::posix()) == texts);
  EXPECT_TRUE(logs_.lines("SQMFiles.log").empty());
}

TEST_F(ReadingWrittenFiles, AFailureAtAnyCallIsReportedOnceAndAnInterruptedReadIsContinued) {
  const TextArray texts = std::vector<std::string>(200, std::string(1'000, 'x'));
  putContent(path_, written(texts));
  FaultyFileOperations dryRun;
  ASSERT_TRUE(read(dryRun));
  std::size_t problems = 0;
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    const std::string& name = dryRun.calls()[call - 1];
    SCOPED_TRACE(name + ", call " + std::to_string(call));
    if (name == "close") continue;
    FaultyFileOperations failing({Fault::Kind::fails, call, EIO});
    EXPECT_EQ(read(failing), std::nullopt);
    EXPECT_EQ(logs_.lines("SQMFiles.log").size(), ++problems);
    if (name != "read") continue;
    FaultyFileOperations interrupted({Fault::Kind::fails, call, EINTR});
    EXPECT_TRUE(read(interrupted) == texts);
  }
}

/// A file of more than 512 MiB, made while it is read: `kElements` times the same text, and an end.
class HugeFile : public FaultyFileOperations {
 public:
  static constexpr std::size_t kElements = 520;

  /// The text is all carriage returns, which are five times as long in the file.
  explicit HugeFile(std::string_view end) : end_(end) {
    const std::string list = written({std::string(1'050'000 / 5, '\r')});
    const std::size_t element = list.find("\t<string>");
    head_ = list.substr(0, element);
    element_ = list.substr(element, list.rfind("</array>") - element);
  }

  std::size_t size() const { return head_.size() + kElements * element_.size() + end_.size(); }

  int openat(int /*folder*/, const std::string& /*path*/, int /*flags*/, mode_t /*mode*/) override { return 1000; }
  int fstat(int /*descriptor*/, struct ::stat& status) override {
    status = {};
    status.st_mode = S_IFREG;
    status.st_size = static_cast<off_t>(size());
    return 0;
  }
  ssize_t read(int /*descriptor*/, void* buffer, std::size_t size) override {
    std::string_view rest;
    if (at_ < head_.size()) {
      rest = std::string_view(head_).substr(at_);
    } else if (at_ < this->size() - end_.size()) {
      rest = std::string_view(element_).substr((at_ - head_.size()) % element_.size());
    } else {
      rest = std::string_view(end_).substr(at_ - (this->size() - end_.size()));
    }
    const std::size_t length = std::min(size, rest.size());
    std::memcpy(buffer, rest.data(), length);
    at_ += length;
    return static_cast<ssize_t>(length);
  }
  int close(int /*descriptor*/) override { return 0; }

 private:
  std::string head_;
  std::string element_;
  std::string end_;
  std::size_t at_ = 0;
};

TEST_F(ReadingWrittenFiles, HaveNoLimitOfTheirSize) {
  HugeFile files("</array>\n</plist>\n");
  ASSERT_GT(files.size(), std::size_t{512} << 20);
  const auto list = read(files);
  ASSERT_TRUE(list);
  EXPECT_EQ(list->size(), HugeFile::kElements);
  EXPECT_TRUE(std::ranges::all_of(*list, [&](const auto& text) { return text == (*list)[0]; }));
  EXPECT_TRUE(logs_.lines("SQMFiles.log").empty());
}

TEST_F(ReadingWrittenFiles, OfThatSizeAreRefusedInAnyOtherLayout) {
  HugeFile files("</array></plist>\n");
  EXPECT_EQ(read(files), std::nullopt);
  EXPECT_EQ(logs_.lines("SQMFiles.log"), std::vector<std::string>{"USER 2 cannot read " + path_ + ": File too large"});
}

}  // namespace
}  // namespace sqm::platform
