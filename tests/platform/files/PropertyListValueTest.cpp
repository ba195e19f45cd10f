// Whole property lists as values: in both forms, from other writers, and from malformed files.

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/files/internal/BinaryPropertyListWriter.h"
#include "sqm/platform/files/internal/PropertyListReader.h"
#include "sqm/platform/files/internal/XmlPropertyListWriter.h"

#include "tests/platform/files/BinaryPropertyListFile.h"
#include "tests/platform/files/ShellCommand.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using Value = PropertyListValue;
using File = test::BinaryPropertyListFile;
using ::testing::HasSubstr;

constexpr std::size_t kRoom = std::size_t{1} << 20;

std::optional<Value> read(std::string bytes, std::size_t room = kRoom) {
  std::string_view problem;
  auto value = readPropertyList(bytes.data(), bytes.size(), room, problem);
  EXPECT_TRUE(value || !problem.empty());
  return value;
}

std::string asXml(const Value& value) {
  std::string xml;
  XmlPropertyListWriter writer([&](std::string_view piece) { xml.append(piece); });
  value.writeTo(writer);
  writer.finish();
  return xml;
}

std::string asBinary(const Value& value) {
  std::string bytes;
  BinaryPropertyListWriter writer(value.objects(), {}, [&](std::string_view piece) { bytes.append(piece); });
  value.writeTo(writer);
  writer.finish();
  return bytes;
}

Value integer(std::uint64_t magnitude, bool isNegative = false) { return {Value::Integer{magnitude, isNegative}}; }

Value date(std::string_view text) { return {Value::Date::from(text).value()}; }

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
  const Value::Array dates = {date("0001-01-01T00:00:00Z"), date("2001-01-01T00:00:00Z"), date("2026-11-22T13:04:05Z"),
                              date("9999-12-31T23:59:59Z")};
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
  EXPECT_EQ(read(asXml(everything())), everything());
  EXPECT_EQ(read(asBinary(everything())), everything());
}

TEST(PropertyListValueTest, PythonReadsAndWritesTheSame) {
  const TemporaryFolder folder;
  for (const std::string& bytes : {asXml(everything()), asBinary(everything())}) {
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

TEST(PropertyListValueTest, XmlHasTheLayoutOfPlistlib) {
  const Value value{Value::Dictionary{{"a", {Value::Array{{1.5}, integer(7, true), {true}, {Value::Array{}}}}},
                                      {"b", {Value::Dictionary{{"c", date("2026-11-22T10:00:00Z")}}}},
                                      {"d", {Value::Data{"abc"}}}}};
  EXPECT_THAT(asXml(value), HasSubstr("<plist version=\"1.0\">\n"
                                      "<dict>\n"
                                      "\t<key>a</key>\n"
                                      "\t<array>\n"
                                      "\t\t<real>1.5</real>\n"
                                      "\t\t<integer>-7</integer>\n"
                                      "\t\t<true/>\n"
                                      "\t\t<array/>\n"
                                      "\t</array>\n"
                                      "\t<key>b</key>\n"
                                      "\t<dict>\n"
                                      "\t\t<key>c</key>\n"
                                      "\t\t<date>2026-11-22T10:00:00Z</date>\n"
                                      "\t</dict>\n"
                                      "\t<key>d</key>\n"
                                      "\t<data>YWJj</data>\n"
                                      "</dict>\n"
                                      "</plist>\n"));
}

TEST(PropertyListValueTest, XmlIsReadAsOthersWriteIt) {
  const auto element = [](const std::string& xml) { return read("<plist version=\"1.0\">" + xml + "</plist>"); };
  EXPECT_EQ(element("<integer> +0x1F\n</integer>"), integer(31));
  EXPECT_EQ(element("<integer>-9223372036854775808</integer>"), integer(std::uint64_t{1} << 63, true));
  EXPECT_EQ(element("<real>+1.25e2</real>"), (Value{125.0}));
  EXPECT_TRUE(std::isnan(std::get<double>(element("<real>nan</real>")->content)));
  EXPECT_EQ(element("<data>\n\tYW Jj\n\t</data>"), (Value{Value::Data{"abc"}}));
  EXPECT_EQ(element("<dict><key>a</key><!-- b --><string><![CDATA[<]]>c</string></dict>"),
            (Value{Value::Dictionary{{"a", {std::string("<c")}}}}));
  EXPECT_EQ(read("<array/>"), (Value{Value::Array{}}));
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
      "<plist><dict><key>a</key><other/></dict></plist>", "<plist><integer/></plist>",
      "<plist><integer>1a</integer></plist>", "<plist><integer>18446744073709551616</integer></plist>",
      "<plist><integer>-9223372036854775809</integer></plist>", "<plist><real>1,5</real></plist>",
      "<plist><data>a</data></plist>", "<plist><data>****</data></plist>", "<plist><date>2026-11-22</date></plist>",
      "<plist><date>2026-02-30T00:00:00Z</date></plist>",
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
  std::erase_if(std::get<Value::Dictionary>(value.content),
                [](const auto& entry) { return entry.first == "more data"; });
  for (const std::string& whole : {asXml(value), asBinary(value)}) {
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
      EXPECT_TRUE(read(asXml(*mutant))) << "what is read can be written and read again";
      EXPECT_TRUE(read(asBinary(*mutant), 4 * kRoom));
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
