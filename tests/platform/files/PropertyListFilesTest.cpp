#include <algorithm>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/files/BinaryPropertyListFile.h"
#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/platform/files/PythonPropertyLists.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::BinaryPropertyListFile;
using test::Fault;
using test::FaultyFileOperations;
using test::PythonPropertyLists;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Strings = std::vector<std::string>;

class PropertyListFilesTest : public ::testing::Test {
 protected:
  std::optional<TextArray> read() { return lists_.arrayWithContentsOfFile(path_); }
  std::optional<TextArray> read(std::string_view content) {
    putContent(path_, content);
    return read();
  }
  /// The strings of an XML list with this content.
  std::optional<TextArray> readElements(std::string_view elements) {
    return read("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<array>\n" +
                std::string(elements) + "</array>\n</plist>\n");
  }
  bool write(const Strings& strings) { return lists_.writeToFile(strings, path_, false); }
  Strings problems() const { return logs_.lines("SQMFiles.log"); }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "list.plist";
  sqm::testing::MemoryLogs logs_;
  PropertyListFiles lists_{logs_, {}};
};

using PropertyListReading = PropertyListFilesTest;
using PropertyListWriting = PropertyListFilesTest;

TEST_F(PropertyListReading, StringsComeInTheirOrder) {
  EXPECT_EQ(readElements("\t<string>a</string>\n\t<string></string>\n\t<string/>\n\t<string>b</string>\n"),
            (TextArray{"a", "", "", "b"}));
  EXPECT_THAT(problems(), IsEmpty());
}

struct TextCase {
  const char* xml;
  std::string text;
};

TEST_F(PropertyListReading, TextsAreReadAsXmlMeansThem) {
  const TextCase cases[] = {
      {"<string> </string>", " "},
      {"<string>\n\t \n</string>", "\n\t \n"},
      {"<string>  a  </string>", "  a  "},
      {"<string>&lt;&gt;&amp;&quot;&apos;</string>", "<>&\"'"},
      {"<string>&#65;&#x42;&#8364;&#x1F600;</string>", "AB\u20AC\U0001F600"},
      {"<string>&amp;lt;</string>", "&lt;"},
      {"<string><![CDATA[<a>&amp;</a>]]></string>", "<a>&amp;</a>"},
      {"<string>a<![CDATA[b]]>c<![CDATA[d]]></string>", "abcd"},
      {"<string> <![CDATA[b]]> </string>", " b "},
      {"<string><![CDATA[ ]]></string>", " "},
      {"<string>a<!-- not b -->c</string>", "ac"},
      {"<string>one\r\ntwo\rthree\nfour</string>", "one\ntwo\nthree\nfour"},
      {"<string><![CDATA[one\r\ntwo]]></string>", "one\ntwo"},
      {"<string>one&#13;&#10;two&#xD;</string>", "one\r\ntwo\r"},
      {"<string>\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80</string>", "ä€😀"},
  };
  for (const TextCase& each : cases) EXPECT_EQ(readElements(each.xml), TextArray{each.text}) << each.xml;
}

TEST_F(PropertyListReading, TextsThatXmlCannotHoldAreRepaired) {
  const TextCase cases[] = {
      {"<string>a\xFF\x01"
       "b</string>",
       "a\uFFFD\uFFFDb"},
      {"<string>\xE2\x82</string>", "\uFFFD"},
      {"<string>&#1;</string>", "\uFFFD"},
      {"<string>\xEF\xBF\xBE</string>", "\uFFFD"},
      {"<string>\xED\xA0\x80</string>", "\uFFFD\uFFFD\uFFFD"},
  };
  for (const TextCase& each : cases) EXPECT_EQ(readElements(each.xml), TextArray{each.text}) << each.xml;
}

TEST_F(PropertyListReading, NothingStandsInThePlaceOfWhatIsNoString) {
  EXPECT_EQ(readElements("<string>a</string><integer>1</integer><true/><array><string>b</string></array>"
                         "<dict><key>k</key><string>v</string></dict><data></data><string>c</string>"),
            (TextArray{"a", {}, {}, {}, {}, {}, "c"}));
}

TEST_F(PropertyListReading, AnEmptyArrayIsAnArray) {
  EXPECT_EQ(read("<plist><array/></plist>"), TextArray{});
  EXPECT_EQ(read("<plist><array></array></plist>"), TextArray{});
}

TEST_F(PropertyListReading, OtherEncodingsOfXmlAreUnderstood) {
  const std::u16string text =
      u"\uFEFF<?xml version=\"1.0\" encoding=\"UTF-16\"?><plist><array><string>\u00E4\U0001F600"
      u"</string></array></plist>";
  std::string bigEndian;
  std::string littleEndian;
  for (const char16_t unit : text) {
    const char high = static_cast<char>(unit >> 8);
    const char low = static_cast<char>(unit & 0xFF);
    bigEndian += {high, low};
    littleEndian += {low, high};
  }
  EXPECT_EQ(read(bigEndian), TextArray{"ä😀"});
  EXPECT_EQ(read(littleEndian), TextArray{"ä😀"});
  EXPECT_EQ(read("\xEF\xBB\xBF<plist><array><string>\xC3\xA4</string></array></plist>"), TextArray{"ä"});
}

TEST_F(PropertyListReading, ABinaryListIsKnownByItsContent) {
  const Strings strings = {"a", "", "<b>&", std::string(300, 'x'), "ä€😀", std::string(70'000, 'y')};
  PythonPropertyLists::write(strings, "binary", path_);
  ASSERT_TRUE(contentOf(path_).starts_with("bplist00"));
  EXPECT_EQ(read(), TextArray(strings));
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(PropertyListReading, ABinaryTextIsReadToItsEndAndRepaired) {
  using File = BinaryPropertyListFile;
  const File file{.objects = {File::array({1, 2, 3, 4, 5, 6, 7, 8}), File::text(std::string("a\0b", 3)),
                              File::text("\xFF"), File::text16({u'a', 0xD800, u'b'}), File::text16({0xDC00, u'a'}),
                              File::text16({u'a', 0xD83D}), File::text16({0xD83D, 0xDE00}),
                              File::text16({u'a', 0, 0xFFFF}), File::text16({0x7F, 0x80, 0x7FF, 0x800})}};
  EXPECT_EQ(read(file.bytes()), (TextArray{"a\uFFFDb", "\uFFFD", "a\uFFFDb", "\uFFFDa", "a\uFFFD", "😀", "a\uFFFD\uFFFD",
                                           "\x7F\u0080\u07FF\u0800"}));
}

TEST_F(PropertyListReading, NothingStandsInThePlaceOfABinaryObjectThatIsNoString) {
  using File = BinaryPropertyListFile;
  const File file{.objects = {File::array({1, 2, 3, 4, 0}), "\x09", std::string("\x10\x05", 2), File::text("a"),
                              File::dictionary({3, 3})}};
  EXPECT_EQ(read(file.bytes()), (TextArray{{}, {}, "a", {}, {}}));
}

TEST_F(PropertyListReading, AMissingFileIsNothingAndNoProblem) {
  EXPECT_EQ(read(), std::nullopt);
  EXPECT_EQ(lists_.arrayWithContentsOfFile(folder_ / "missing/list.plist"), std::nullopt);
  EXPECT_EQ(lists_.arrayWithContentsOfFile(""), std::nullopt);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(PropertyListReading, WhatIsNoFileIsNothingAndOneLine) {
  ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(read(), std::nullopt);
  EXPECT_EQ(lists_.arrayWithContentsOfFile(folder_.path()), std::nullopt);
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot read " + path_ + ": Operation not supported",
                                      "USER 2 cannot read " + folder_.path() + ": Is a directory"));
}

TEST_F(PropertyListReading, AFailedReadIsNothingAndOneLine) {
  putContent(path_, "<plist><array/></plist>");
  FaultyFileOperations dryRun;
  ASSERT_TRUE(PropertyListFiles(logs_, {}, dryRun).arrayWithContentsOfFile(path_));
  const auto& calls = dryRun.calls();
  const auto reading = static_cast<std::size_t>(std::find(calls.begin(), calls.end(), "read") - calls.begin()) + 1;
  FaultyFileOperations files({Fault::Kind::fails, reading, EIO});
  EXPECT_EQ(PropertyListFiles(logs_, {}, files).arrayWithContentsOfFile(path_), std::nullopt);
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot read " + path_ + ": Input/output error"));
}

TEST_F(PropertyListReading, AFileTooLargeForAnyListIsRefusedUnread) {
  putContent(path_, "");
  std::filesystem::resize_file(path_, std::uintmax_t{1} << 40);  // a hole, no blocks
  EXPECT_EQ(read(), std::nullopt);
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot read " + path_ + ": File too large"));
}

TEST_F(PropertyListReading, ProblemsAreLostWithoutALog) {
  logs_.refuse("SQMFiles.log");
  EXPECT_EQ(read("garbage"), std::nullopt);
}

TEST_F(PropertyListWriting, TheTextOfAListIsThis) {
  EXPECT_TRUE(write({"a", "", "<b x=\"1\">&'c'</b>", "\t \n"}));
  EXPECT_EQ(
      contentOf(path_),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n"
      "<array>\n"
      "\t<string>a</string>\n"
      "\t<string></string>\n"
      "\t<string>&lt;b x=\"1\"&gt;&amp;'c'&lt;/b&gt;</string>\n"
      "\t<string>\t \n</string>\n"
      "</array>\n"
      "</plist>\n");
}

TEST_F(PropertyListWriting, AbsentTextsAreLeftOut) {
  EXPECT_TRUE(lists_.writeToFile({std::nullopt, "a", std::nullopt, "", "b", std::nullopt}, path_, false));
  EXPECT_EQ(read(), (TextArray{"a", "", "b"}));
  EXPECT_TRUE(lists_.writeToFile({std::nullopt}, path_, false));
  EXPECT_EQ(read(), TextArray{});
}

TEST_F(PropertyListWriting, APythonListIsTheSameByteForByte) {
  for (const Strings& strings :
       {Strings{}, Strings{""}, Strings{"a", "", "<&>\"'", " \t\n", "ä€😀"}, Strings(91, "Name")}) {
    const std::string pythons = folder_ / "python.plist";
    PythonPropertyLists::write(strings, "xml", pythons);
    EXPECT_TRUE(write(strings));
    EXPECT_EQ(contentOf(path_), contentOf(pythons));
  }
}

TEST_F(PropertyListWriting, AShorterListLeavesNothingOfALongerOne) {
  EXPECT_TRUE(write(Strings(10'000, "long")));
  EXPECT_TRUE(write({"short"}));
  EXPECT_EQ(read(), TextArray{"short"});
  EXPECT_TRUE(write({}));
  EXPECT_EQ(read(), TextArray{});
}

TEST_F(PropertyListWriting, TheFileIsOverwrittenInPlace) {
  EXPECT_TRUE(write(Strings(10, "old")));
  std::filesystem::create_hard_link(path_, folder_ / "other name");
  EXPECT_TRUE(write({"new"}));
  EXPECT_EQ(contentOf(folder_ / "other name"), contentOf(path_));
  EXPECT_EQ(read(), TextArray{"new"});
}

TEST_F(PropertyListWriting, ANewFileIsItsUsersAlone) {
  EXPECT_TRUE(write({"a"}));
  EXPECT_EQ(permissionsOf(path_), static_cast<std::filesystem::perms>(0600));
}

TEST_F(PropertyListWriting, TheBufferDoesNotGrowWithTheListOrTheString) {
  FaultyFileOperations files;
  PropertyListFiles lists(logs_, {}, files);
  Strings strings(1000, std::string(2000, '&'));
  strings.emplace_back(3'000'000, '<');
  EXPECT_TRUE(lists.writeToFile(strings, path_, false));
  EXPECT_LE(files.largestWrite(), 128U * 1024U);
  EXPECT_EQ(read(), TextArray(strings));
}

TEST_F(PropertyListWriting, AFailureAtAnyCallIsReportedOnce) {
  const Strings strings(100, std::string(2000, 'x'));
  FaultyFileOperations dryRun;
  ASSERT_TRUE(write(Strings(200, std::string(2000, 'x'))));
  ASSERT_TRUE(PropertyListFiles(logs_, {}, dryRun).writeToFile(strings, path_, false));
  ASSERT_THAT(dryRun.calls(), ::testing::Contains("ftruncate"));
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    for (const int error : {ENOSPC, EIO}) {
      SCOPED_TRACE(dryRun.calls()[call - 1]);
      ASSERT_TRUE(write(Strings(200, std::string(2000, 'x'))));
      const std::size_t before = problems().size();
      FaultyFileOperations files({Fault::Kind::fails, call, error});
      EXPECT_FALSE(PropertyListFiles(logs_, {}, files).writeToFile(strings, path_, false));
      ASSERT_EQ(problems().size(), before + 1);
      EXPECT_THAT(problems().back(), HasSubstr("cannot write " + path_ + ": "));
    }
  }
}

TEST_F(PropertyListWriting, ShortAndInterruptedCallsDoNotHarm) {
  const Strings strings(100, std::string(2000, 'x'));
  FaultyFileOperations dryRun;
  ASSERT_TRUE(write(Strings(110, std::string(2000, 'o'))));
  ASSERT_TRUE(PropertyListFiles(logs_, {}, dryRun).writeToFile(strings, path_, false));
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    const std::string& name = dryRun.calls()[call - 1];
    if (name != "write" && name != "ftruncate") continue;
    for (const Fault fault : {Fault{Fault::Kind::fails, call, EINTR}, Fault{Fault::Kind::writesHalf, call, 0}}) {
      ASSERT_TRUE(write(Strings(110, std::string(2000, 'o'))));
      FaultyFileOperations files(fault);
      EXPECT_TRUE(PropertyListFiles(logs_, {}, files).writeToFile(strings, path_, false));
      EXPECT_EQ(read(), TextArray(strings));
    }
  }
}

TEST_F(PropertyListWriting, WhereNoFileCanBeWrittenTheResultIsFalse) {
  ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  for (const std::string& path : {folder_ / "missing/list.plist", folder_.path(), folder_ / "pipe", std::string()}) {
    EXPECT_FALSE(lists_.writeToFile(Strings{"a"}, path, false)) << path;
  }
  EXPECT_THAT(problems(), SizeIs(4));
  EXPECT_EQ(folder_.names(), Strings{"pipe"});
}

}  // namespace
}  // namespace sqm::platform
