#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/FieldNameTable.h"
#include "sqm/common/internal/XmlText.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/files/BinaryPropertyListFile.h"
#include "tests/platform/files/PythonPropertyLists.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::BinaryPropertyListFile;
using test::PythonPropertyLists;

using Strings = std::vector<std::string>;
using File = BinaryPropertyListFile;

class PropertyListRobustness : public ::testing::Test {
 protected:
  std::optional<TextArray> read(std::string_view content) {
    putContent(path_, content);
    return lists_.arrayWithContentsOfFile(path_);
  }
  /// Expects that the content is not read as a list, and that one line names the file.
  void expectNothing(std::string_view content) {
    const std::size_t before = logs_.lines("SQMFiles.log").size();
    EXPECT_EQ(read(content), std::nullopt);
    const auto lines = logs_.lines("SQMFiles.log");
    ASSERT_EQ(lines.size(), before + 1);
    EXPECT_THAT(lines.back(), ::testing::StartsWith("USER 2 cannot read " + path_ + ": "));
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "list.plist";
  sqm::testing::MemoryLogs logs_;
  PropertyListFiles lists_{logs_, {}};
};

std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all.append(text);
  return all;
}

TEST_F(PropertyListRobustness, WhatIsNoXmlListIsNothing) {
  const std::string_view contents[] = {
      "",
      " \n",
      "garbage",
      std::string_view("\0\0\0\0", 4),
      "<html><body>502 Bad Gateway</body></html>",
      "<plist/>",
      "<plist>text</plist>",
      "<plist><string>a</string></plist>",
      "<plist><dict><key>a</key><string>b</string></dict></plist>",
      "<plist><array>",
      "<plist><array><string>a</string>",
      "<plist><array><string>a</str",
      "<plist><array><string>a</string></array>",
      "<plist><array><string>a</array></plist>",
      "<!DOCTYPE plist [",
      "<?xml",
      "<plist><array><string><![CDATA[a</string></array></plist>",
      "( a, b )",
  };
  for (const std::string_view content : contents) {
    SCOPED_TRACE(content);
    expectNothing(content);
  }
}

TEST_F(PropertyListRobustness, WhatIsNoBinaryListIsNothing) {
  const std::string good = File{.objects = {File::array({1}), File::text("a")}}.bytes();
  ASSERT_EQ(read(good), TextArray{"a"});
  const std::string contents[] = {
      "bplist00",
      "bplist00" + std::string(31, '\0'),
      "bplist00" + std::string(32, '\0'),
      "bplist00" + std::string(100, '\xFF'),
      good.substr(0, good.size() - 1),
      File{.objects = {File::text("a")}}.bytes(),
      File{.objects = {File::dictionary({1, 1}), File::text("a")}}.bytes(),
      File{.objects = {File::array({1})}}.bytes(),
      File{.objects = {File::array({1}), File::text("a")}, .root = 2}.bytes(),
      File{.objects = {File::array({1}), File::text("a")}, .declaredObjects = ~std::uint64_t{0}}.bytes(),
      File{.objects = {File::array({1}), File::text("a")}, .declaredOffsets = ~std::uint64_t{0}}.bytes(),
      File{.objects = {File::array({1}), File::text("a")}, .declaredOffsets = 0}.bytes(),
      File{.objects = {File::array({1}), File::text("a")}, .offsetSize = 9}.bytes(),
      File{.objects = {File::array({1}), File::text("a")}, .offsetSize = 0}.bytes(),
      File{.objects = {File::array({1}), File::text("a")}, .referenceSize = 0}.bytes(),
      File{.objects = {File::header(0xA0, std::uint64_t{1} << 62)}}.bytes(),
      File{.objects = {File::header(0xA0, ~std::uint64_t{0})}}.bytes(),
      File{.objects = {File::array({1}), File::header(0x50, std::uint64_t{1} << 62) + "a"}}.bytes(),
      File{.objects = {File::array({1}), File::header(0x60, ~std::uint64_t{0}) + "a"}}.bytes(),
      File{.objects = {"\xAF"}}.bytes(),
      File{.objects = {"\xAF\x14"}}.bytes(),
      File{.objects = {"\xAF\x13"}}.bytes(),
      File{.objects = {"\xAF\x53"}}.bytes(),
  };
  for (const std::string& content : contents) {
    SCOPED_TRACE(::testing::PrintToString(content));
    expectNothing(content);
  }
}

TEST_F(PropertyListRobustness, DeepNestingDoesNotOverflowTheStack) {
  constexpr std::size_t kLevels = 100'000;
  EXPECT_EQ(read("<plist>" + repeated("<array>", kLevels) + repeated("</array>", kLevels) + "</plist>"),
            TextArray{std::nullopt});
  expectNothing("<plist>" + repeated("<array>", kLevels));
  expectNothing("<!DOCTYPE plist " + repeated("[<!ELEMENT ", kLevels));
  File file;
  for (std::uint64_t level = 1; level <= kLevels; ++level) file.objects.push_back(File::array({level}));
  file.objects.push_back(File::array({}));
  EXPECT_EQ(read(file.bytes()), TextArray{std::nullopt});
}

TEST_F(PropertyListRobustness, AListOfMoreElementsThanMemoryShouldHoldIsNone) {
  expectNothing("<plist><array>" + repeated("<a/>", std::size_t{1} << 24) + "</array></plist>");
}

TEST_F(PropertyListRobustness, EntitiesStayAsTheyAreWritten) {
  std::string declared = R"(<!ENTITY file SYSTEM "file:///etc/hostname"><!ENTITY level0 "ha">)";
  for (int level = 1; level < 40; ++level) {
    const std::string lower = "&level" + std::to_string(level - 1) + ";";
    declared.append("<!ENTITY level" + std::to_string(level) + " \"").append(repeated(lower, 10)).append("\">");
  }
  EXPECT_EQ(read("<!DOCTYPE plist [" + declared +
                 "]><plist><array><string>&level39;</string><string>&file;</string></array></plist>"),
            (TextArray{"&level39;", "&file;"}));
}

TEST_F(PropertyListRobustness, ABinaryListMayHoldItselfAndUnfoldToNoMoreThanItsElements) {
  EXPECT_EQ(read(File{.objects = {File::array({0, 0})}}.bytes()), (TextArray{std::nullopt, std::nullopt}));
  File laughs;
  for (std::uint64_t level = 1; level < 40; ++level) laughs.objects.push_back(File::array({level, level, level}));
  laughs.objects.push_back(File::text("ha"));
  EXPECT_EQ(read(laughs.bytes()), (TextArray{std::nullopt, std::nullopt, std::nullopt}));
}

TEST_F(PropertyListRobustness, ABinaryListThatUnfoldsToTooMuchTextIsNothing) {
  const std::vector<std::uint64_t> references(2000, 1);
  expectNothing(File{.objects = {File::array(references), File::text(std::string(1'000'000, 'x'))}}.bytes());
}

struct TableCase {
  const char* what;
  std::string content;
  std::optional<std::size_t> names;
};

TEST_F(PropertyListRobustness, FieldNameTablesOfAnyKindMakeATableOrNone) {
  const auto table = [](std::size_t names) {
    return "<plist version=\"1.0\"><array>" + repeated("<string>Name</string>", names) + "</array></plist>";
  };
  const std::string whole = table(91);
  const TableCase cases[] = {
      {"91 equal names", whole, 91},
      {"short", table(3), 3},
      {"long", table(200), 200},
      {"empty array", "<plist><array/></plist>", 0},
      {"empty file", "", std::nullopt},
      {"dictionary", "<plist><dict><key>0</key><string>Name</string></dict></plist>", std::nullopt},
      {"truncated", whole.substr(0, whole.size() / 2), std::nullopt},
      {"garbage",
       "\x7F"
       "ELF",
       std::nullopt},
  };
  for (const TableCase& each : cases) {
    SCOPED_TRACE(each.what);
    auto names = read(each.content);
    ASSERT_EQ(names.has_value(), each.names.has_value());
    if (!names) continue;
    EXPECT_EQ(names->size(), *each.names);
    const FieldNameTable fields(*std::move(names));
    for (std::size_t field = 0; field < std::min(*each.names, FieldNameTable::kFields); ++field) {
      EXPECT_EQ(fields.name(static_cast<std::int64_t>(field)), "Name");
    }
  }
  std::filesystem::remove(path_);
  EXPECT_EQ(lists_.arrayWithContentsOfFile(path_), std::nullopt);
}

/// Records of any bytes: each byte alone, in pairs and beside text; random bytes; long records.
Strings anyRecords() {
  Strings records;
  for (unsigned first = 0; first < 256; ++first) {
    records.push_back({static_cast<char>(first)});
    records.push_back({'a', static_cast<char>(first), 'b'});
    for (const int second : {0x00, 0x0A, 0x41, 0x7F, 0x80, 0x9F, 0xA0, 0xBF, 0xC0, 0xE2, 0xFF}) {
      records.push_back({static_cast<char>(first), static_cast<char>(second)});
      records.push_back({static_cast<char>(first), static_cast<char>(second), '\x80', '\xBE', 'z'});
    }
  }
  for (const std::string_view text :
       {"", "\r\n", "]]>", "<![CDATA[x]]>", "&amp;", "<record a=\"1\">ä€😀</record>", " \t\n "}) {
    records.emplace_back(text);
  }
  std::mt19937 random(20261121);
  for (int i = 0; i < 300; ++i) {
    std::string record(random() % 3000, '\0');
    for (char& byte : record) byte = static_cast<char>(random());
    records.push_back(std::move(record));
  }
  std::string mebibyte(1 << 20, '\0');
  for (char& byte : mebibyte) byte = static_cast<char>(random());
  records.push_back(mebibyte);
  records.emplace_back(1 << 20, '\x80');
  records.push_back(repeated("😀€", 150'000));
  for (std::size_t shift = 0; shift < 4; ++shift) records.push_back(std::string(shift, 'x') + repeated("😀", 5000));
  return records;
}

TEST_F(PropertyListRobustness, RecordsOfAnyBytesComeBackFromEveryReader) {
  const Strings records = anyRecords();
  TextArray expected;
  for (const std::string& record : records) {
    std::string allowed;
    appendXmlAllowed(allowed, record);
    expected.append(allowed);
  }
  for (const bool atomically : {false, true}) {
    ASSERT_TRUE(lists_.writeToFile(records, path_, atomically));
    EXPECT_TRUE(lists_.arrayWithContentsOfFile(path_) == expected);
    EXPECT_TRUE(TextArray(PythonPropertyLists::read(path_)) == expected);
  }
}

class MutatedPropertyLists : public PropertyListRobustness, public ::testing::WithParamInterface<const char*> {};

TEST_P(MutatedPropertyLists, YieldWellFormedTextOrNothing) {
  PythonPropertyLists::write(Strings{"Name", "", "a<b>&'\"", "ä€😀", std::string(40, 'x'), "\n\t "}, GetParam(), path_);
  const std::string whole = contentOf(path_);
  ASSERT_TRUE(read(whole));
  for (std::size_t length = 0; length < whole.size(); ++length) read(whole.substr(0, length));
  std::mt19937 random(42);
  for (int round = 0; round < 3000; ++round) {
    std::string mutated = whole;
    for (std::size_t change = random() % 4 + 1; change > 0; --change) {
      const std::size_t at = random() % mutated.size();
      switch (random() % 4) {
        case 0:
          mutated[at] = static_cast<char>(random());
          break;
        case 1:
          mutated[at] = static_cast<char>(mutated[at] ^ (1 << random() % 8));
          break;
        case 2:
          mutated.erase(at, random() % 8);
          break;
        default:
          mutated.insert(at, mutated, random() % mutated.size(), random() % 16);
          break;
      }
      if (mutated.empty()) break;
    }
    const auto array = read(mutated);
    if (!array) continue;
    for (const auto& text : *array) EXPECT_TRUE(!text || isXmlAllowed(*text));
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, MutatedPropertyLists, ::testing::Values("xml", "binary"));

}  // namespace
}  // namespace sqm::platform
