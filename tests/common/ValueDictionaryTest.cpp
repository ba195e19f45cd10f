#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/ValueDictionary.h"

#include "tests/support/Bytes.h"

using sqm::FieldNameTable;
using sqm::ValueDictionary;

namespace {

using Table = std::shared_ptr<const FieldNameTable>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

Table tableOf(const std::vector<std::optional<std::string>>& names) {
  return std::make_shared<const FieldNameTable>(names);
}

Table numberedTable() {
  std::vector<std::optional<std::string>> names;
  for (std::size_t field = 0; field < FieldNameTable::kFields; ++field) names.emplace_back("F" + std::to_string(field));
  return tableOf(names);
}

Pairs pairsOf(const ValueDictionary& values) {
  Pairs pairs;
  values.forEach([&](std::string_view key, std::string_view value) { pairs.emplace_back(key, value); });
  return pairs;
}

/// A text that is long enough to make a buffer reallocate.
std::string longText(char character) { return repeated({&character, 1}, 10'000); }

/// Tests that run with and without a field-name table. Half of the keys used below are names of the table.
class ValueDictionaryTest : public ::testing::TestWithParam<bool> {
 protected:
  static ValueDictionary made() { return GetParam() ? ValueDictionary(numberedTable()) : ValueDictionary(); }

  ValueDictionary values = made();
};

INSTANTIATE_TEST_SUITE_P(, ValueDictionaryTest, ::testing::Bool(),
                         [](const auto& tested) { return tested.param ? "WithFieldNames" : "WithoutFieldNames"; });

TEST_P(ValueDictionaryTest, IsEmptyAtFirst) {
  EXPECT_TRUE(values.empty());
  EXPECT_EQ(values.size(), 0U);
  EXPECT_FALSE(values.contains("F6"));
  EXPECT_EQ(values.find("F6"), std::nullopt);
  EXPECT_EQ(pairsOf(values), Pairs{});
}

TEST_P(ValueDictionaryTest, KeepsValuesUnderTheirKeys) {
  values.set("F6", "six");
  values.set("locale", "English");
  EXPECT_EQ(values.find("F6"), "six");
  EXPECT_EQ(values.find("locale"), "English");
  EXPECT_EQ(values.find("F"), std::nullopt);
  EXPECT_EQ(values.find("F7"), std::nullopt);
  EXPECT_EQ(values.size(), 2U);
  EXPECT_FALSE(values.empty());
}

TEST_P(ValueDictionaryTest, EmptyTextIsAValueLikeAnyOther) {
  values.set("F6", "");
  values.set("os", "");
  EXPECT_EQ(values.find("F6"), "");
  EXPECT_TRUE(values.contains("os"));
  EXPECT_EQ(values.size(), 2U);
}

TEST_P(ValueDictionaryTest, EmptyTextIsAKeyLikeAnyOther) {
  values.set("", "value");
  EXPECT_EQ(values.find(""), "value");
}

TEST_P(ValueDictionaryTest, LaterValueReplacesTheEarlierOne) {
  for (const char* key : {"F6", "locale"}) {
    for (const char* value : {"first", "2nd", "", "a longer one than before", "same length as that  ", "x"}) {
      values.set(key, value);
      values.set("F7", "neighbour");
      EXPECT_EQ(values.find(key), value);
      EXPECT_EQ(values.find("F7"), "neighbour");
    }
  }
  EXPECT_EQ(values.size(), 3U);
}

TEST_P(ValueDictionaryTest, KeysDifferInAnyByte) {
  for (std::size_t length = 1; length <= 20; ++length) {
    values.clear();
    values.set(std::string(length, 'k'), "value");
    EXPECT_EQ(values.find(std::string(length, 'k')), "value");
    EXPECT_FALSE(values.contains(std::string(length + 1, 'k')));
    for (std::size_t at = 0; at < length; ++at) {
      std::string other(length, 'k');
      other[at] = 'K';
      EXPECT_FALSE(values.contains(other)) << other;
    }
  }
}

TEST_P(ValueDictionaryTest, KeysAndValuesMayHoldAnyBytes) {
  std::size_t number = 0;
  for (const std::string& text : kAwkwardTexts) {
    const std::string key = "F" + std::to_string(number++);
    values.set(key, text);
    values.set(text, key);
  }
  number = 0;
  for (const std::string& text : kAwkwardTexts) {
    const std::string key = "F" + std::to_string(number++);
    EXPECT_EQ(values.find(key), text);
    EXPECT_EQ(values.find(text), key);
  }
}

TEST_P(ValueDictionaryTest, EraseRemovesOneValue) {
  values.set("F6", "six");
  values.set("F7", "seven");
  values.set("locale", "English");
  values.set("os", "system");
  values.erase("F6");
  values.erase("locale");
  values.erase("F6");
  values.erase("never there");
  EXPECT_EQ(pairsOf(values), (Pairs{{"F7", "seven"}, {"os", "system"}}));
  EXPECT_EQ(values.size(), 2U);

  values.set("F6", "again");
  values.set("locale", "");
  EXPECT_EQ(values.find("F6"), "again");
  EXPECT_EQ(values.find("locale"), "");
}

TEST_P(ValueDictionaryTest, ClearRemovesAllValues) {
  values.set("F6", longText('a'));
  values.set("locale", "English");
  values.clear();
  EXPECT_TRUE(values.empty());
  EXPECT_EQ(values.find("F6"), std::nullopt);
  EXPECT_EQ(values.find("locale"), std::nullopt);
  values.set("F6", "six");
  EXPECT_EQ(pairsOf(values), (Pairs{{"F6", "six"}}));
}

TEST_P(ValueDictionaryTest, CopiesAreIndependent) {
  values.set("F6", "six");
  values.set("locale", "English");
  ValueDictionary copy = values;
  copy.set("F6", "other");
  copy.erase("locale");
  EXPECT_EQ(pairsOf(values), (Pairs{{"F6", "six"}, {"locale", "English"}}));
  EXPECT_EQ(pairsOf(copy), (Pairs{{"F6", "other"}}));
}

TEST_P(ValueDictionaryTest, ComparesKeysAndValuesInAnyOrder) {
  values.set("F6", "six");
  values.set("locale", "English");
  ValueDictionary other;
  EXPECT_FALSE(values == other);
  other.set("locale", "English");
  EXPECT_FALSE(values == other);
  other.set("F6", "five");
  EXPECT_FALSE(values == other);
  other.set("F6", "six");
  EXPECT_TRUE(values == other);
  EXPECT_TRUE(other == values);
  other.set("F7", "");
  EXPECT_FALSE(values == other);
}

TEST_P(ValueDictionaryTest, ValueMayBeAViewOfAnotherOne) {
  values.set("F1", longText('a'));
  // The buffer is full or nearly full, so that each of these may make it reallocate.
  for (int i = 2; i < 20; ++i) values.set("F" + std::to_string(i), *values.find("F" + std::to_string(i - 1)));
  for (int i = 1; i < 20; ++i) EXPECT_EQ(values.find("F" + std::to_string(i)), longText('a'));
}

TEST_P(ValueDictionaryTest, ValueMayBeAViewOfTheOneItReplaces) {
  values.set("F1", "abcdef");
  values.set("F1", values.find("F1")->substr(2, 3));
  EXPECT_EQ(values.find("F1"), "cde");
  values.set("F1", *values.find("F1"));
  EXPECT_EQ(values.find("F1"), "cde");
}

TEST_P(ValueDictionaryTest, ValueMayBeAViewOfAnotherOneWhenTheBufferIsCompacted) {
  values.set("F1", "source");
  values.set("F2", longText('b'));
  values.set("F3", longText('c'));
  values.set("F4", "four");
  values.set("F2", "two");  // in the place of the earlier value
  values.set("F3", "three");
  values.set("F4", *values.find("F1"));  // hardly any of the buffer is in use
  EXPECT_EQ(values.find("F1"), "source");
  EXPECT_EQ(values.find("F2"), "two");
  EXPECT_EQ(values.find("F3"), "three");
  EXPECT_EQ(values.find("F4"), "source");
}

TEST_P(ValueDictionaryTest, KeyMayBeAViewOfAValue) {
  values.set("F1", "locale");
  values.set(*values.find("F1"), longText('x'));
  EXPECT_EQ(values.find("F1"), "locale");
  EXPECT_EQ(values.find("locale"), longText('x'));
}

TEST_P(ValueDictionaryTest, ValuesThatGrowRepeatedlyStayIntact) {
  for (std::size_t length = 1; length < 3'000; length += 7) {
    values.set("F1", std::string(length, 'a'));
    values.set("locale", std::string(length + 1, 'b'));
    values.set("F2", "steady");
  }
  EXPECT_EQ(values.find("F1"), std::string(2'997, 'a'));
  EXPECT_EQ(values.find("locale"), std::string(2'998, 'b'));
  EXPECT_EQ(values.find("F2"), "steady");
}

TEST_P(ValueDictionaryTest, BehavesLikeAMapUnderRandomOperations) {
  std::mt19937 random(1);
  std::map<std::string, std::string> expected;
  const auto randomKey = [&] { return (random() % 2 == 0 ? "F" : "other ") + std::to_string(random() % 95); };
  for (int step = 0; step < 20'000; ++step) {
    const std::string key = randomKey();
    switch (random() % 16) {
      case 0:
        values.erase(key);
        expected.erase(key);
        break;
      case 1: {  // the value of another key
        const auto other = values.find(randomKey());
        const std::string copy(other.value_or(""));
        values.set(key, other.value_or(""));
        expected[key] = copy;
        break;
      }
      case 2: {  // through a copy
        ValueDictionary copy = values;
        values = std::move(copy);
        break;
      }
      case 3:
        if (random() % 500 == 0) {
          values.clear();
          expected.clear();
        }
        break;
      default: {
        const std::size_t length = random() % 10 == 0 ? random() % 2'000 : random() % 20;
        const std::string value(length, static_cast<char>('a' + random() % 26));
        values.set(key, value);
        expected[key] = value;
      }
    }
    ASSERT_EQ(values.find(key).has_value(), expected.contains(key));
    if (step % 100 == 0) {
      const Pairs pairs = pairsOf(values);
      ASSERT_EQ((std::map<std::string, std::string>(pairs.begin(), pairs.end())), expected);
      ASSERT_EQ(values.size(), expected.size());
      ASSERT_EQ(pairs.size(), expected.size());
    }
  }
}

TEST_P(ValueDictionaryTest, MovedFromDictionaryCanBeUsedAgain) {
  values.set("F6", "six");
  const ValueDictionary taken = std::move(values);
  values.clear();
  values.set("F6", "seven");
  EXPECT_EQ(values.find("F6"), "seven");
  EXPECT_EQ(taken.find("F6"), "six");
}

class ValueDictionaryByField : public ::testing::Test {
 protected:
  Table names = numberedTable();
  ValueDictionary values{names};
};

TEST_F(ValueDictionaryByField, FieldAndItsNameAreOneKey) {
  values.setField(*names, 6, "by number");
  EXPECT_EQ(values.find("F6"), "by number");
  values.set("F6", "by name");
  EXPECT_EQ(values.findField(*names, 6), "by name");
  EXPECT_EQ(values.size(), 1U);
  values.erase("F6");
  EXPECT_EQ(values.findField(*names, 6), std::nullopt);
}

TEST_F(ValueDictionaryByField, ErasingAnAbsentFieldDoesNothing) {
  values.setField(*names, 7, "seven");
  values.erase("F6");
  EXPECT_EQ(pairsOf(values), (Pairs{{"F7", "seven"}}));
}

TEST_F(ValueDictionaryByField, VisitsFieldsInOrderAndThenTheOtherKeysInOrderOfAddition) {
  values.set("os", "b");
  values.set("F90", "90");
  values.set("locale", "a");
  values.set("F0", "0");
  values.setField(*names, 42, "42");
  EXPECT_EQ(pairsOf(values), (Pairs{{"F0", "0"}, {"F42", "42"}, {"F90", "90"}, {"os", "b"}, {"locale", "a"}}));
}

TEST_F(ValueDictionaryByField, FieldsOfOneNameShareOneValue) {
  const Table same = tableOf(std::vector<std::optional<std::string>>(FieldNameTable::kFields, "same"));
  ValueDictionary shared(same);
  shared.setField(*same, 90, "first");
  shared.setField(*same, 6, "second");
  EXPECT_EQ(pairsOf(shared), (Pairs{{"same", "second"}}));
  EXPECT_EQ(shared.findField(*same, 90), "second");
  shared.erase("same");
  EXPECT_TRUE(shared.empty());
}

TEST_F(ValueDictionaryByField, FindsFieldsInADictionaryThatWasMadeWithoutTheTable) {
  ValueDictionary foreign;
  foreign.setField(*names, 6, "six");
  EXPECT_EQ(foreign.find("F6"), "six");
  EXPECT_EQ(foreign.findField(*names, 6), "six");
  EXPECT_EQ(foreign.findField(*names, 7), std::nullopt);
  foreign.erase("F6");
  EXPECT_TRUE(foreign.empty());
}

TEST_F(ValueDictionaryByField, FindsFieldsByNameInADictionaryThatWasMadeWithAnotherTable) {
  const Table reversed = tableOf({"F2", "F1", "F0"});
  ValueDictionary foreign(reversed);
  foreign.setField(*reversed, 0, "two");
  EXPECT_EQ(foreign.findField(*names, 2), "two");
  EXPECT_EQ(foreign.findField(*names, 0), std::nullopt);
  foreign.setField(*names, 0, "zero");
  EXPECT_EQ(foreign.findField(*reversed, 2), "zero");
}

TEST_F(ValueDictionaryByField, MadeWithTheSameTableMovesTheValues) {
  values.setField(*names, 6, longText('a'));
  values.set("locale", "English");
  const char* const place = values.find("F6")->data();
  const ValueDictionary made = std::move(values).madeWith(names);
  EXPECT_EQ(pairsOf(made), (Pairs{{"F6", longText('a')}, {"locale", "English"}}));
  EXPECT_EQ(made.find("F6")->data(), place);
}

TEST_F(ValueDictionaryByField, MadeWithAnotherTableKeepsKeysAndValues) {
  ValueDictionary foreign(tableOf({"locale", std::nullopt, "F6", "F6"}));
  foreign.set("F6", "six");
  foreign.set("os", "system");
  foreign.set("F90", "ninety");
  foreign.set("locale", "English");
  const ValueDictionary made = std::move(foreign).madeWith(names);
  EXPECT_EQ(pairsOf(made), (Pairs{{"F6", "six"}, {"F90", "ninety"}, {"locale", "English"}, {"os", "system"}}));
  EXPECT_EQ(made.findField(*names, 6), "six");
}

TEST_F(ValueDictionaryByField, MadeWithoutATableKeepsKeysAndValues) {
  values.setField(*names, 6, "six");
  values.set("locale", "English");
  const ValueDictionary made = std::move(values).madeWith(nullptr);
  EXPECT_EQ(pairsOf(made), (Pairs{{"F6", "six"}, {"locale", "English"}}));
}

TEST_F(ValueDictionaryByField, OutlivesEveryOtherOwnerOfItsTable) {
  values.setField(*names, 6, "six");
  names.reset();
  EXPECT_EQ(pairsOf(values), (Pairs{{"F6", "six"}}));
}

}  // namespace
