#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/TrelkConfiguration.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/RequestArchive.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/files/BinaryPropertyListFile.h"
#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/platform/files/ShellCommand.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::BinaryPropertyListFile;
using test::Fault;
using test::FaultyFileOperations;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

constexpr auto kPrivateFile = static_cast<std::filesystem::perms>(0600);

class ArchiveFilesTest : public ::testing::Test {
 protected:
  std::optional<UploadRequests> writtenAndRead(const UploadRequests& requests) {
    EXPECT_TRUE(archives_.serializeObject(requests, path_));
    return archives_.objectFromFile(path_);
  }

  Strings problems() const { return logs_.lines("SQMFiles.log"); }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "QFRecordUploader.plist";
  testing::MemoryLogs logs_;
  ArchiveFiles archives_{logs_};
};

std::string allBytes() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
  return bytes;
}

TEST_F(ArchiveFilesTest, AnyTextsComeBackByteForByte) {
  UploadRequests requests;
  const Strings texts = {
      "",
      "plain",
      "line\r\nline\ttab",
      "gr\xC3\xBCn, \xE2\x82\xAC, \xF0\x9F\x93\xB6",  // two, three and four bytes long
      "\xEF\xBB\xBF it begins with a byte-order mark",
      "\xED\x9F\xBF \xEE\x80\x80 \xEF\xBF\xBD \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF",  // the edges of UTF-16
      "\xEF\xBF\xBE \xEF\xBF\xBF",                                                 // noncharacters
      std::string("holds a \0 NUL", 13),
      std::string(1, '\0'),
      "\x01\x1B\x7F",
      "\x80 \xC3",              // ill-formed: a continuation alone, a sequence cut off
      "\xC0\xAF \xED\xA0\x80",  // ill-formed: an overlong form, a surrogate
      "\xF4\x90\x80\x80 \xFF",  // ill-formed: beyond the last code point, no byte of UTF-8
      allBytes(),
  };
  for (const std::string& text : texts) requests.push_back({"https://collect.example/?" + text, text});
  for (const std::size_t length : {14U, 15U, 16U, 255U, 256U, 65535U, 65536U}) {
    requests.push_back({std::string(length, 'u'), std::string(length, '\xFF')});
    requests.push_back({"", std::string(length, 'x') + "\xC3\xA9"});
  }
  EXPECT_EQ(writtenAndRead(requests), requests);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ArchiveFilesTest, QueuesOfAnyLengthComeBack) {
  for (const std::size_t length : {0U, 1U, 14U, 15U, 84U, 85U, 300U, 21844U, 30000U}) {  // where numbers grow longer
    UploadRequests requests;
    for (std::size_t each = 0; each < length; ++each) requests.push_back({"u", std::to_string(each)});
    EXPECT_TRUE(writtenAndRead(requests) == requests) << length;
  }
}

TEST_F(ArchiveFilesTest, AbsentEntriesComeBackAbsent) {
  const UploadRequests requests = {{std::nullopt, "data"}, {"url", std::nullopt}, {std::nullopt, std::nullopt}};
  EXPECT_EQ(writtenAndRead(requests), requests);
}

TEST_F(ArchiveFilesTest, MissingFileYieldsNothingAndIsNoProblem) {
  EXPECT_EQ(archives_.objectFromFile(path_), std::nullopt);
  EXPECT_EQ(archives_.objectFromFile(folder_ / "missing/QFRecordUploader.plist"), std::nullopt);
  EXPECT_THAT(folder_.names(), IsEmpty());
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ArchiveFilesTest, ArchiveIsItsUsersAlone) {
  putContent(path_, "bplist00");
  std::filesystem::permissions(path_, static_cast<std::filesystem::perms>(0644));
  EXPECT_TRUE(archives_.serializeObject({{"u", "d"}}, path_));
  EXPECT_EQ(permissionsOf(path_), kPrivateFile);
  EXPECT_THAT(folder_.names(), ElementsAre("QFRecordUploader.plist"));
}

TEST_F(ArchiveFilesTest, MissingFolderIsNotMade) {
  EXPECT_FALSE(archives_.serializeObject({{"u", "d"}}, folder_ / "missing/QFRecordUploader.plist"));
  EXPECT_THAT(folder_.names(), IsEmpty());
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot write " + (folder_ / "missing/QFRecordUploader.plist") +
                                      ": No such file or directory"));
}

TEST_F(ArchiveFilesTest, FormatIsTheSameAsEver) {
  EXPECT_TRUE(archives_.serializeObject({{"https://a.example/", "hi"}}, path_));
  const std::string objects = std::string("bplist00") + "YuploadURL" + "ZuploadData" + "_\x10\x12https://a.example/" +
                              "Rhi" + std::string("\xD2\0\1\2\3", 5) + "\xA1\4";
  const std::string offsets = "\x08\x12\x1D\x32\x35\x3A";
  const std::string trailer = std::string(6, '\0') + "\1\1" + test::bigEndian(6, 8) + test::bigEndian(5, 8) +
                              test::bigEndian(objects.size(), 8);
  EXPECT_EQ(contentOf(path_), objects + offsets + trailer);
}

TEST_F(ArchiveFilesTest, FormatOfAnEmptyQueueIsTheSameAsEver) {
  EXPECT_TRUE(archives_.serializeObject({}, path_));
  const std::string objects = std::string("bplist00") + "YuploadURL" + "ZuploadData" + "\xA0";
  EXPECT_EQ(contentOf(path_), objects + "\x08\x12\x1D" + std::string(6, '\0') + "\1\1" + test::bigEndian(3, 8) +
                                  test::bigEndian(2, 8) + test::bigEndian(objects.size(), 8));
}

TEST_F(ArchiveFilesTest, FormatOfTextsThatAreNotAsciiIsTheSameAsEver) {
  EXPECT_TRUE(archives_.serializeObject({{"\u00E9\U0001F4F6", "\xFF"}, {std::nullopt, "a"}, {{}, {}}}, path_));
  const std::string objects =
      std::string("bplist00") + "YuploadURL" + "ZuploadData" + std::string("\x63\x00\xE9\xD8\x3D\xDC\xF6", 7) +
      "\x41\xFF" + std::string("\xD2\0\1\2\3", 5) + "Qa" + std::string("\xD1\1\5", 3) + "\xD0" + "\xA3\4\6\7";
  EXPECT_EQ(contentOf(path_), objects + "\x08\x12\x1D\x24\x26\x2B\x2D\x30\x31" + std::string(6, '\0') + "\1\1" +
                                  test::bigEndian(9, 8) + test::bigEndian(8, 8) + test::bigEndian(objects.size(), 8));
}

TEST_F(ArchiveFilesTest, AnArchiveLargerThanTheBufferIsTheSameAsItsValuesMake) {
  UploadRequests requests;
  for (const std::size_t length : {0U, 14U, 15U, 1000U, 65'000U, 65'535U, 65'536U, 70'000U, 300'000U}) {
    requests.push_back({"https://collect.example/", std::string(length, 'x')});
    requests.push_back({std::nullopt, std::string(length, '\xFF')});
    requests.push_back({std::string(length, 'u') + "\u00E9", std::nullopt});
  }
  requests.resize(1000, {"u", "d"});
  EXPECT_TRUE(archives_.serializeObject(requests, path_));
  EXPECT_TRUE(contentOf(path_) == binaryOf(valueOf(requests), kRequestKeys));
}

TEST_F(ArchiveFilesTest, ACharacterThatXmlDoesNotAllowMakesDataWhereverItIs) {
  for (std::size_t length = 1; length <= 140; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      std::string text(length, ' ');
      const auto kindWith = [&](char character) {
        text[at] = character;
        const auto kind = static_cast<unsigned char>(binaryOf({text})[std::string_view("bplist00").size()]);
        return kind & 0xF0U;
      };
      for (const char character : {'\t', '\n', '\r', ' ', '\x7F'}) ASSERT_EQ(kindWith(character), 0x50U);
      for (const char character : {'\0', '\b', '\v', '\f', '\x0E', '\x1F', '\x80', '\xFF'}) {
        ASSERT_EQ(kindWith(character), 0x40U) << length << " " << at;
      }
    }
  }
}

TEST_F(ArchiveFilesTest, OtherReadersUnderstandIt) {
  EXPECT_TRUE(archives_.serializeObject({{"https://a.example/", "gr\xC3\xBCn \xF0\x9F\x93\xB6"},
                                         {"https://b.example/", std::string("\xFF\0", 2)},
                                         {std::nullopt, ""}},
                                        path_));
  EXPECT_EQ(
      test::printedBy(R"(python3 -c 'import plistlib, sys; print(ascii(plistlib.load(open(sys.argv[1], "rb"))))' ')" +
                      path_ + "'"),
      "[{'uploadURL': 'https://a.example/', 'uploadData': 'gr\\xfcn \\U0001f4f6'}, "
      "{'uploadURL': 'https://b.example/', 'uploadData': b'\\xff\\x00'}, {'uploadData': ''}]\n");
}

TEST_F(ArchiveFilesTest, ListsOfOtherWritersAreRead) {
  test::printedBy(R"(python3 -c 'import plistlib, sys; plistlib.dump([{"uploadURL": "same", "uploadData": "same"}, )"
                  R"({"uploadURL": "\u00fc\U0001f4f6", "uploadData": b"\xff", "more": [1, {}]}], )"
                  R"(open(sys.argv[1], "wb"), fmt=plistlib.FMT_BINARY)' ')" +
                  path_ + "'");
  EXPECT_EQ(archives_.objectFromFile(path_), (UploadRequests{{"same", "same"}, {"\xC3\xBC\xF0\x9F\x93\xB6", "\xFF"}}));
}

TEST_F(ArchiveFilesTest, StandardHostBringsIt) {
  StandardHost::Options options;
  options.homeDirectory = folder_.path();
  StandardHost host(options);
  EXPECT_TRUE(host.makeFolders());
  const std::string path = host.configuration->applicationQuenfaFolderPath() + "/QFRecordUploader.plist";
  EXPECT_TRUE(host.serializer->serializeObject({{"u", "d"}}, path));
  EXPECT_EQ(archives_.objectFromFile(folder_ / "Library/Application Support/Trelk/Trelk Quenfa/QFRecordUploader.plist"),
            (UploadRequests{{"u", "d"}}));
}

TEST_F(ArchiveFilesTest, LongestArchiveIsNotOutgrown) {
  EXPECT_TRUE(archives_.serializeObject({{"u", "old"}}, path_));
  EXPECT_FALSE(archives_.serializeObject({{"u", std::string(std::size_t{1} << 27, 'x')}}, path_));
  EXPECT_EQ(archives_.objectFromFile(path_), (UploadRequests{{"u", "old"}}));
  EXPECT_THAT(folder_.names(), ElementsAre("QFRecordUploader.plist"));
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot write " + path_ + ": File too large"));
}

/// A file that is no archive, and the reason. Its content, megabytes in some cases, is made only in its own test.
struct Unreadable {
  const char* name;
  std::function<std::string()> content;
  const char* reason;
};

constexpr const char* kNoList = "it is no binary property list, or a damaged one";
constexpr const char* kTooDeep = "it is nested too deep";
constexpr const char* kNoRequests = "it holds something else than upload requests";
constexpr const char* kTooMuch = "it unfolds to too much text";

std::string listOf(std::vector<std::string> objects) {
  return BinaryPropertyListFile{.objects = std::move(objects)}.bytes();
}

std::vector<Unreadable> unreadable() {
  using File = BinaryPropertyListFile;
  const auto bytes = [](std::string all) { return [all = std::move(all)] { return all; }; };
  const auto list = [](std::vector<std::string> objects) {
    return [objects = std::move(objects)] { return listOf(objects); };
  };
  const std::string integer = "\x10\x07";
  const std::string sound =
      listOf({File::array({1}), File::dictionary({2, 3}), File::text("uploadURL"), File::text("u")});
  constexpr std::size_t kMillion = std::size_t{1} << 20;
  return {
      {"Empty", bytes(""), kNoList},
      {"Text", bytes("uploadURL"), kNoList},
      {"Xml", bytes(R"(<?xml version="1.0"?><plist version="1.0"><array/></plist>)"), kNoList},
      {"CutOff", bytes(sound.substr(0, sound.size() - 1)), kNoList},
      {"CutShort", bytes(sound.substr(0, 8)), kNoList},
      {"RootIsText", list({File::text("uploadURL")}), kNoRequests},
      {"RootIsDictionary", list({File::dictionary({})}), kNoRequests},
      {"ElementIsText", list({File::array({1}), File::text("a")}), kNoRequests},
      {"ElementIsMissing", list({File::array({7})}), kNoList},
      {"ElementIsTheArrayItself", list({File::array({0})}), kTooDeep},
      {"ValueIsInteger", list({File::array({1}), File::dictionary({2, 3}), File::text("uploadData"), integer}),
       kNoRequests},
      {"ValueIsDictionary",
       list({File::array({1}), File::dictionary({2, 3}), File::text("uploadURL"), File::dictionary({})}), kNoRequests},
      {"ValueIsTheRequestItself", list({File::array({1}), File::dictionary({2, 1}), File::text("uploadURL")}),
       kTooDeep},
      {"KeyIsInteger", list({File::array({1}), File::dictionary({2, 2}), integer}), kNoList},
      {"ValueIsMissing", list({File::array({1}), File::dictionary({2, 9}), File::text("uploadURL")}), kNoList},
      {"KeyIsMissing", list({File::array({1}), File::dictionary({9, 2}), File::text("u")}), kNoList},
      {"OneTextAThousandTimes",
       [] {
         return listOf({File::array(std::vector<std::uint64_t>(2000, 1)), File::dictionary({2, 3}),
                        File::text("uploadData"), File::text(std::string(kMillion, 'x'))});
       },
       kTooMuch},
      {"OneEmptyDictionaryAMillionTimes",
       [] {
         return listOf({File::array(std::vector<std::uint64_t>(kMillion, 1)), File::dictionary({})});
       },
       kTooMuch},
      {"OneDictionaryAMillionTimes",
       [] {
         return listOf({File::array(std::vector<std::uint64_t>(kMillion, 1)),
                        File::dictionary(std::vector<std::uint64_t>(2000, 2)), File::text("other")});
       },
       kTooMuch},
  };
}

class UnreadableArchive : public ArchiveFilesTest, public ::testing::WithParamInterface<Unreadable> {};

TEST_P(UnreadableArchive, IsMovedAsideWhole) {
  const std::string content = GetParam().content();
  putContent(path_, content);
  EXPECT_EQ(archives_.objectFromFile(path_), UploadRequests{});
  EXPECT_THAT(folder_.names(), ElementsAre("QFRecordUploader.plist.unreadable"));
  EXPECT_TRUE(contentOf(path_ + ".unreadable") == content);
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot read " + path_ + ": " + GetParam().reason + "; moved to " + path_ +
                                      ".unreadable"));
}

TEST_P(UnreadableArchive, StaysForReadersThatMustNotMoveIt) {
  putContent(path_, GetParam().content());
  ArchiveFiles reader(logs_, FileOperations::posix(), ArchiveFiles::Unreadable::stays);
  EXPECT_EQ(reader.objectFromFile(path_), std::nullopt);
  EXPECT_THAT(folder_.names(), ElementsAre("QFRecordUploader.plist"));
  EXPECT_TRUE(contentOf(path_) == GetParam().content());
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot read " + path_ + ": " + GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(All, UnreadableArchive, ::testing::ValuesIn(unreadable()),
                         [](const auto& each) { return each.param.name; });

TEST_F(ArchiveFilesTest, AFileMovedAsideNeverReplacesAnEarlierOne) {
  for (const char* content : {"first", "second", "third"}) {
    putContent(path_, content);
    EXPECT_EQ(archives_.objectFromFile(path_), UploadRequests{});
  }
  EXPECT_EQ(contentOf(path_ + ".unreadable"), "first");
  EXPECT_EQ(contentOf(path_ + ".unreadable-2"), "second");
  EXPECT_EQ(contentOf(path_ + ".unreadable-3"), "third");
  EXPECT_EQ(problems().size(), 3U);
  EXPECT_EQ(writtenAndRead({{"u", "d"}}), (UploadRequests{{"u", "d"}}));
}

TEST_F(ArchiveFilesTest, AFileStaysWhenThereAreTooManyAside) {
  for (int number = 1; number <= 1000; ++number) {
    putContent(path_ + ".unreadable" + (number == 1 ? "" : "-" + std::to_string(number)), "earlier");
  }
  putContent(path_, "damaged");
  EXPECT_EQ(archives_.objectFromFile(path_), std::nullopt);
  EXPECT_EQ(contentOf(path_), "damaged");
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot read " + path_ + ": " + kNoList + "; it cannot be moved to " +
                                      path_ + ".unreadable-1000: File exists"));
}

TEST_F(ArchiveFilesTest, AFileTooLargeIsMovedAside) {
  putContent(path_, "bplist00");
  std::filesystem::resize_file(path_, (std::size_t{1} << 27) + 1);
  EXPECT_EQ(archives_.objectFromFile(path_), UploadRequests{});
  EXPECT_TRUE(std::filesystem::exists(path_ + ".unreadable"));
}

TEST_F(ArchiveFilesTest, WhatCannotBeMovedStaysAndYieldsNothing) {
  std::filesystem::create_directory(path_);
  EXPECT_EQ(archives_.objectFromFile(path_), std::nullopt);
  EXPECT_THAT(folder_.names(), ElementsAre("QFRecordUploader.plist"));
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot read " + path_ + ": Is a directory; it cannot be moved to " +
                                      path_ + ".unreadable: Not a directory"));
}

/// Reads an archive, sound or damaged, with a fault.
class ArchiveRead : public ArchiveFilesTest {
 protected:
  ArchiveRead() {
    EXPECT_TRUE(archives_.serializeObject(requests_, path_));
    sound_ = contentOf(path_);
  }

  /// The calls of one reading.
  std::vector<std::string> callsToRead(const std::string& content) {
    const TemporaryFolder other;
    putContent(other / "archive", content);
    FaultyFileOperations files;
    ArchiveFiles(logs_, files).objectFromFile(other / "archive");
    return files.calls();
  }

  /// The content of all files of the folder: a reading may rename a file, no more.
  std::string held() const {
    std::string all;
    for (const std::string& name : folder_.names()) all += contentOf(folder_ / name);
    return all;
  }

  void reset(const std::string& content) {
    for (const std::string& name : folder_.names()) std::filesystem::remove(folder_ / name);
    putContent(path_, content);
  }

  const UploadRequests requests_ = {{"u", "first"}, {"u", "second"}};
  std::string sound_;
};

TEST_F(ArchiveRead, LeavesASoundArchiveUntouched) {
  const auto before = std::filesystem::last_write_time(path_);
  EXPECT_EQ(archives_.objectFromFile(path_), requests_);
  EXPECT_EQ(std::filesystem::last_write_time(path_), before);
  EXPECT_THAT(folder_.names(), ElementsAre("QFRecordUploader.plist"));
}

TEST_F(ArchiveRead, AFailureAtAnyCallLosesNoByte) {
  for (const std::string& content : {sound_, std::string("damaged")}) {
    const auto calls = callsToRead(content);
    for (std::size_t call = 1; call <= calls.size(); ++call) {
      SCOPED_TRACE(content.substr(0, 7) + ": " + calls[call - 1] + ", call " + std::to_string(call));
      reset(content);
      FaultyFileOperations files({Fault::Kind::fails, call, EIO});
      const std::size_t before = problems().size();
      const auto read = ArchiveFiles(logs_, files).objectFromFile(path_);
      EXPECT_EQ(held(), content);
      const bool isInPlace = std::filesystem::exists(path_);
      if (read == requests_) {
        EXPECT_TRUE(isInPlace);
        EXPECT_EQ(problems().size(), before);
      } else {
        EXPECT_EQ(read, isInPlace ? std::nullopt : std::optional(UploadRequests{}));
        EXPECT_EQ(problems().size(), before + 1);
      }
    }
  }
}

TEST_F(ArchiveRead, InterruptedCallsDoNotHarm) {
  const auto calls = callsToRead(sound_);
  for (std::size_t call = 1; call <= calls.size(); ++call) {
    if (calls[call - 1] == "fstat") continue;  // it is not interrupted
    FaultyFileOperations files({Fault::Kind::fails, call, EINTR});
    EXPECT_EQ(ArchiveFiles(logs_, files).objectFromFile(path_), requests_) << calls[call - 1];
  }
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(ArchiveRead, AProcessKilledWhileItMovesAFileAsideLosesNoByte) {
  const std::string content = "damaged";
  const auto calls = callsToRead(content);
  for (std::size_t call = 1; call <= calls.size(); ++call) {
    for (const auto kind : {Fault::Kind::killsBefore, Fault::Kind::killsAfter}) {
      SCOPED_TRACE(calls[call - 1] + ", call " + std::to_string(call));
      reset(content);
      const pid_t child = ::fork();
      ASSERT_GE(child, 0);
      if (child == 0) {
        FaultyFileOperations files({kind, call, 0});
        ArchiveFiles(logs_, files).objectFromFile(path_);
        ::_exit(0);
      }
      int status = 0;
      ASSERT_EQ(::waitpid(child, &status, 0), child);
      ASSERT_TRUE(WIFSIGNALED(status)) << "the reading came to its end";
      EXPECT_EQ(held(), content);
      const bool isMoved = !std::filesystem::exists(path_);
      EXPECT_EQ(archives_.objectFromFile(path_), isMoved ? std::nullopt : std::optional(UploadRequests{}));
      EXPECT_EQ(held(), content);
    }
  }
}

}  // namespace
}  // namespace sqm::platform
