// Whole property lists as values: in both forms, from other writers, and from malformed files.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/files/internal/PropertyListForms.h"

#include "tests/platform/files/BinaryPropertyListFile.h"
#include "tests/platform/files/ShellCommand.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using Value = PropertyListValue;
using File = test::BinaryPropertyListFile;
using ::testing::HasSubstr;

constexpr std::size_t kRoom = std::size_t{1} << 20;

std::optional<Value> read(std::string_view bytes, std::size_t room = kRoom) {
  const FileBytes file{std::make_unique<char[]>(bytes.size()), bytes.size()};
  std::ranges::copy(bytes, file.bytes.get());
  std::string_view problem;
  auto value = readPropertyList(file, room, problem);
  EXPECT_TRUE(value || !problem.empty());
  return value;
}

Value integer(std::uint64_t magnitude, bool isNegative = false) { return {Value::Integer{magnitude, isNegative}}; }

/// Midnight, or later by as many seconds.
Value date(int year, int month, int day, int seconds = 0) {
  const auto midnight = std::chrono::sys_days(std::chrono::year(year) / month / day);
  return {Value::Date{static_cast<double>((midnight - kReferenceDate).count() + seconds)}};
}

/// One value of each kind, and the edges of numbers.
Value everything() {
  constexpr std::uint64_t kHalf = std::uint64_t{1} << 63;
  Value::Array integers;
  for (const std::uint64_t each :
       {std::uint64_t{0}, std::uint64_t{255}, std::uint64_t{256}, std::uint64_t{65'535}, std::uint64_t{65'536},
        std::uint64_t{0xFFFFFFFF}, std::uint64_t{1} << 32, kHalf - 1, kHalf, ~std::uint64_t{0}}) {
    integers.push_back(integer(each));
  }
  for (const std::uint64_t each : {std::uint64_t{1}, std::uint64_t{256}, kHalf})
    integers.push_back(integer(each, true));
  const Value::Array reals = {{0.0}, {1.5}, {-0.1}, {1e300}, {std::numeric_limits<double>::infinity()}};
  const Value::Array dates = {date(1000, 1, 1), date(2001, 1, 1), date(2026, 11, 22, 47'045),
                              date(9999, 12, 31, 86'399)};
  return {Value::Dictionary{
      {"text", {std::string("<&> \u00E9\U0001F4F6\n")}},
      {"", {std::string()}},
      {"data", {Value::Data{std::string("\0\xFF<", 3)}}},
      {"more data", {Value::Data{std::string(100'000, '\x80')}}},
      {"integers", {integers}},
      {"reals", {reals}},
      {"dates", {dates}},
      {"booleans", {Value::Array{{true}, {false}}}},
      {"empty", {Value::Array{{Value::Array{}}, {Value::Dictionary{}}, {Value::Data{}}}}},
      {"nested", {Value::Dictionary{{"one", {Value::Dictionary{{"two", {Value::Array{{std::string("x")}}}}}}}}}},
  }};
}

TEST(PropertyListValueTest, EveryKindComesBackFromBothForms) {
  EXPECT_EQ(read(xmlOf(everything())), everything());
  EXPECT_EQ(read(binaryOf(everything())), everything());
}

TEST(PropertyListValueTest, PythonReadsAndWritesTheSame) {
  const TemporaryFolder folder;
  for (const std::string& bytes : {xmlOf(everything()), binaryOf(everything())}) {
    for (const char* const form : {"FMT_XML", "FMT_BINARY"}) {
      putContent(folder / "list", bytes);
      EXPECT_EQ(test::printedBy("python3 -c 'import plistlib, sys; value = plistlib.load(open(sys.argv[1], \"rb\")); "
                                "plistlib.dump(value, open(sys.argv[1], \"wb\"), fmt=plistlib." +
                                std::string(form) + ", sort_keys=False); print(value[\"dates\"][2])' '" +
                                (folder / "list") + "'"),
                "2026-11-22 13:04:05\n");
      EXPECT_EQ(read(contentOf(folder / "list")), everything()) << form;
    }
  }
}

TEST(PropertyListValueTest, XmlHasTheLayoutOfLibplist) {
  const std::string bytes(60, 'z');
  const Value value{Value::Dictionary{
      {"a&<>\"'", {Value::Array{integer(7, true), {true}, {Value::Array{}}, {Value::Dictionary{}}, {std::string()}}}},
      {"b", {Value::Dictionary{{"c", date(2026, 11, 22, 36'000)}, {"d", date(1, 1, 1)}}}},
      {"e\r\n", {Value::Array{{Value::Data{}}, {Value::Data{"abc"}}, {Value::Data{bytes}}}}}}};
  EXPECT_EQ(xmlOf(value),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n"
            "<dict>\n"
            "\t<key>a&amp;&lt;&gt;\"'</key>\n"
            "\t<array>\n"
            "\t\t<integer>-7</integer>\n"
            "\t\t<true/>\n"
            "\t\t<array/>\n"
            "\t\t<dict/>\n"
            "\t\t<string></string>\n"
            "\t</array>\n"
            "\t<key>b</key>\n"
            "\t<dict>\n"
            "\t\t<key>c</key>\n"
            "\t\t<date>2026-11-22T10:00:00Z</date>\n"
            "\t\t<key>d</key>\n"
            "\t\t<date>1-01-01T00:00:00Z</date>\n"
            "\t</dict>\n"
            "\t<key>e\r\n</key>\n"
            "\t<array>\n"
            "\t\t<data>\n"
            "\t\t</data>\n"
            "\t\t<data>\n"
            "\t\tYWJj\n"
            "\t\t</data>\n"
            "\t\t<data>\n"
            "\t\tenp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6\n"
            "\t\tenp6enp6enp6enp6enp6\n"
            "\t\t</data>\n"
            "\t</array>\n"
            "</dict>\n"
            "</plist>\n");
  EXPECT_EQ(read(xmlOf(value)), value);
  EXPECT_THAT(xmlOf({Value::Dictionary{}}), HasSubstr("\n<dict>\n</dict>\n</plist>\n"));
}

TEST(PropertyListValueTest, RealsHaveTheFormOfLibplist) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::pair<double, const char*> forms[] = {{0.0, "0.0"},
                                                  {-0.0, "0.0"},
                                                  {1.0, "1"},
                                                  {1.5, "1.5"},
                                                  {0.1, "0.10000000000000001"},
                                                  {1e10, "10000000000"},
                                                  {1e20, "1e+20"},
                                                  {1e-7, "9.9999999999999995e-08"},
                                                  {kInfinity, "+infinity"},
                                                  {-kInfinity, "-infinity"},
                                                  {std::numeric_limits<double>::quiet_NaN(), "nan"}};
  for (const auto& [number, text] : forms) {
    EXPECT_THAT(xmlOf({number}), HasSubstr("<real>" + std::string(text) + "</real>"));
  }
}

TEST(PropertyListValueTest, LinesOfDeepDataAreShorterDownToEightLevels) {
  const auto nested = [](std::size_t levels) {
    Value value{Value::Data{std::string(200, 'z')}};
    for (; levels > 0; --levels) value = {Value::Array{std::move(value)}};
    return xmlOf(value);
  };
  const auto lineIn = [](const std::string& xml) {
    const std::size_t begin = xml.find('\n', xml.find("<data>")) + 1;
    return xml.substr(begin, xml.find('\n', begin) - begin);
  };
  const std::string base64 = "enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6enp6";
  EXPECT_EQ(lineIn(nested(0)), base64.substr(0, 76));
  EXPECT_EQ(lineIn(nested(3)), "\t\t\t" + base64.substr(0, 52));
  EXPECT_EQ(lineIn(nested(8)), std::string(8, '\t') + base64.substr(0, 12));
  EXPECT_EQ(lineIn(nested(20)), std::string(8, '\t') + base64.substr(0, 12));
}

/// What the only element of an XML list holds.
std::optional<Value> element(const std::string& xml) { return read("<plist version=\"1.0\">" + xml + "</plist>"); }

TEST(PropertyListValueTest, XmlIsReadAsOthersWriteIt) {
  EXPECT_EQ(element("<integer> +0x1F\n</integer>"), integer(31));
  EXPECT_EQ(element("<integer>-9223372036854775808</integer>"), integer(std::uint64_t{1} << 63, true));
  EXPECT_EQ(element("<integer>-0</integer>"), integer(0));
  EXPECT_EQ(element("<real>+1.25e2</real>"), (Value{125.0}));
  EXPECT_TRUE(std::isnan(std::get<double>(element("<real>nan</real>")->content)));
  EXPECT_EQ(element("<date>2026-1-2T1:2:3Z</date>"), date(2026, 1, 2, 3723));
  EXPECT_EQ(element("<data>\n\tYW Jj\n\t</data>"), (Value{Value::Data{"abc"}}));
  EXPECT_EQ(element("<dict><key>a</key><!-- b --><string><![CDATA[<]]>c</string></dict>"),
            (Value{Value::Dictionary{{"a", {std::string("<c")}}}}));
  EXPECT_EQ(element("<string>a\r\nb&#13;</string>"), (Value{std::string("a\r\nb\r")}));
  EXPECT_EQ(read("<array/>"), (Value{Value::Array{}}));
}

TEST(PropertyListValueTest, OfTheValuesOfOneKeyInXmlTheLastIsReadInThePlaceOfTheFirst) {
  EXPECT_EQ(element("<dict><key>a</key><true/><key>b</key><true/><key>a</key><false/></dict>"),
            (Value{Value::Dictionary{{"a", {false}}, {"b", {true}}}}));
}

TEST(PropertyListValueTest, ADamagedScalarLeavesTheRestOfTheList) {
  EXPECT_EQ(element("<integer/>"), integer(0));
  EXPECT_EQ(element("<integer>5.7</integer>"), integer(5));
  EXPECT_EQ(element("<integer>18446744073709551616</integer>"), integer(~std::uint64_t{0}));
  EXPECT_EQ(element("<integer>-9223372036854775809</integer>"), integer(std::uint64_t{1} << 63, true));
  EXPECT_EQ(element("<real>1,5</real>"), (Value{1.0}));
  EXPECT_EQ(element("<real/>"), (Value{0.0}));
  EXPECT_EQ(element("<data>a</data>"), (Value{Value::Data{}}));
  EXPECT_EQ(element("<data>****</data>"), (Value{Value::Data{}}));
  EXPECT_EQ(element("<date>2026-02-30T00:00:00Z</date>"), date(2026, 3, 2));
  for (const char* text : {"", "garbage", "2026", "2026-13-01T00:00:00Z", "2026-12-01T24:00:00Z",
                           "99999999999-01-01T00:00:00Z", "2026-01-99999999999T00:00:00Z", "-5-01-01T00:00:00Z"}) {
    EXPECT_EQ(element("<date>" + std::string(text) + "</date>"), date(2001, 1, 1)) << text;
  }
}

TEST(PropertyListValueTest, AnObjectIdentifierIsReadAsXmlHasIt) {
  EXPECT_EQ(read(File{.objects = {std::string("\x81\x01\x02", 3)}}.bytes()),
            (Value{Value::Dictionary{{"CF$UID", integer(258)}}}));
}

TEST(PropertyListValueTest, SmallRealsOfABinaryListAreRead) {
  EXPECT_EQ(read(File{.objects = {std::string("\x22\x3F\xC0\0\0", 5)}}.bytes()), (Value{1.5}));
}

TEST(PropertyListValueTest, WhatIsNoListIsNothing) {
  const std::string contents[] = {
      "", "garbage", "<plist/>", "<plist><other/></plist>", "<plist><array><other/></array></plist>",
      "<plist><dict><string>a</string></dict></plist>", "<plist><dict><key>a</key></dict></plist>",
      "<plist><dict><key>a</key><other/></dict></plist>",
      // A null, a fill byte, and objects that the offset table cuts off.
      File{.objects = {std::string(1, '\0')}}.bytes(), File{.objects = {"\x0F"}}.bytes(),
      File{.objects = {std::string("\x13\0\0", 3)}}.bytes(), File{.objects = {"\x1F"}}.bytes(),
      File{.objects = {std::string("\x23\0\0", 3)}}.bytes(), File{.objects = {std::string("\x21\0\0", 3)}}.bytes(),
      File{.objects = {"\x8F"}}.bytes(), File{.objects = {"\xE0"}}.bytes(),
      // Integers of 16 bytes beyond what XML holds, and a date that is not a number.
      File{.objects = {"\x14" + test::bigEndian(1, 8) + test::bigEndian(0, 8)}}.bytes(),
      File{.objects = {"\x14" + std::string(8, '\xFF') + test::bigEndian(1, 8)}}.bytes(),
      File{.objects = {"\x33\x7F\xF8" + std::string(6, '\0')}}.bytes(),
      File{.objects = {"\x33\x7F\xE0" + std::string(6, '\0')}}.bytes(),
      File{.objects = {File::dictionary({1, 0}), "\x09"}}.bytes(), File{.objects = {File::array({7})}}.bytes()};
  for (const std::string& content : contents) {
    SCOPED_TRACE(::testing::PrintToString(content));
    EXPECT_EQ(read(content), std::nullopt);
  }
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all.append(text);
  return all;
}

TEST(PropertyListValueTest, NestingIsBoundedInBothForms) {
  const auto xml = [](std::size_t levels) {
    return "<plist>" + repeated("<array>", levels) + repeated("</array>", levels) + "</plist>";
  };
  const auto binary = [](std::uint64_t levels) {
    File file;
    for (std::uint64_t level = 1; level < levels; ++level) file.objects.push_back(File::array({level}));
    file.objects.push_back(File::array({}));
    return file.bytes();
  };
  EXPECT_TRUE(read(xml(kDeepestPropertyList)));
  EXPECT_TRUE(read(binary(kDeepestPropertyList)));
  for (const std::size_t levels : {kDeepestPropertyList + 1, std::size_t{100'000}}) {
    EXPECT_FALSE(read(xml(levels)));
    EXPECT_FALSE(read(binary(levels)));
  }
  EXPECT_FALSE(read(repeated("<dict><key>a</key>", 100'000)));
}

TEST(PropertyListValueTest, AListThatHoldsItselfIsNothing) {
  EXPECT_FALSE(read(File{.objects = {File::array({0})}}.bytes()));
  EXPECT_FALSE(read(File{.objects = {File::array({0, 0, 0, 0})}}.bytes()));
  EXPECT_FALSE(read(File{.objects = {File::dictionary({1, 0}), File::text("key")}}.bytes()));
  EXPECT_FALSE(read(File{.objects = {File::dictionary({0, 0})}}.bytes()));
}

TEST(PropertyListValueTest, AListThatUnfoldsBeyondTheRoomIsNothing) {
  File laughs;
  for (std::uint64_t level = 1; level < 30; ++level) laughs.objects.push_back(File::array({level, level, level}));
  laughs.objects.push_back(File::text("ha"));
  EXPECT_FALSE(read(laughs.bytes()));
  const File echoes{.objects = {File::array(std::vector<std::uint64_t>(100, 1)), File::text(std::string(1000, 'x'))}};
  EXPECT_TRUE(read(echoes.bytes(), 110'000));
  EXPECT_FALSE(read(echoes.bytes(), 100'000));
}

TEST(PropertyListValueTest, EntitiesAreNotExpanded) {
  EXPECT_EQ(read(R"(<!DOCTYPE plist [<!ENTITY a "ha"><!ENTITY b SYSTEM "file:///etc/hostname">]>)"
                 "<plist><string>&a;&b;</string></plist>"),
            (Value{std::string("&a;&b;")}));
}

TEST(PropertyListValueTest, TruncatedAndMutatedListsDoNoHarm) {
  Value value = everything();
  std::erase_if(std::get<Value::Dictionary>(value.content), [](const auto& entry) { return entry.key == "more data"; });
  for (const std::string& whole : {xmlOf(value), binaryOf(value)}) {
    for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
      EXPECT_NE(read(whole.substr(0, length)), value) << length;
    }
    std::mt19937 random(9);
    for (int round = 0; round < 3000; ++round) {
      std::string mutated = whole;
      for (std::size_t change = random() % 4 + 1; change > 0; --change) {
        mutated[random() % mutated.size()] = static_cast<char>(random());
      }
      const auto mutant = read(mutated);
      if (!mutant) continue;
      EXPECT_TRUE(read(xmlOf(*mutant))) << "what is read can be written and read again";
      EXPECT_TRUE(read(binaryOf(*mutant), 4 * kRoom));
    }
  }
}

TEST(PropertyListValueTest, RandomBytesDoNoHarm) {
  std::mt19937 random(10);
  for (int round = 0; round < 3000; ++round) {
    std::string objects(random() % 200, '\0');
    for (char& byte : objects) byte = static_cast<char>(random());
    read(objects);
    read("<plist>" + objects + "</plist>");
    File file;
    for (std::size_t at = 0; at < objects.size(); at += 10) file.objects.push_back(objects.substr(at, 10));
    read(file.bytes());
  }
}

}  // namespace
}  // namespace sqm::platform
