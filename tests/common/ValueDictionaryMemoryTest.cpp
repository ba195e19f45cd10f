#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/ValueDictionary.h"

#include "tests/support/AllocationProbe.h"

using sqm::FieldNameTable;
using sqm::ValueDictionary;

namespace {

TEST(ValueDictionaryMemory, OutOfMemoryLeavesTheOtherValuesAndAWholeDictionary) {
  const auto names = std::make_shared<const FieldNameTable>(std::vector<std::optional<std::string>>{"F0", "F1"});
  const std::string longValue(5'000, 'v');
  const struct {
    std::string key;
    std::string earlier;  ///< what is found when the new value could not be stored
  } cases[] = {{"F0", "zero"}, {"F1", ""}, {"locale", "English"}, {"a key that is long enough to lie on the heap", ""}};
  for (const auto& [key, earlier] : cases) {
    SCOPED_TRACE(key);
    bool succeeded = false;
    for (std::size_t successes = 0; !succeeded; ++successes) {
      ValueDictionary values(names);
      values.set("F0", "zero");
      values.set("locale", "English");
      values.set("os", "system");
      try {
        AllocationProbe probe;
        probe.failAfter(successes);
        values.set(key, longValue);
        succeeded = true;
      } catch (const std::bad_alloc&) {
        EXPECT_FALSE(succeeded);
      }
      EXPECT_TRUE(values.find(key).value_or("") == (succeeded ? longValue : earlier));
      EXPECT_EQ(values.find("os"), "system");
      std::size_t visited = 0;
      values.forEach([&](auto, auto) { ++visited; });
      EXPECT_EQ(visited, values.size());
      values.set(key, "afterwards");
      EXPECT_EQ(values.find(key), "afterwards");
    }
  }
}

/// How much memory a copy takes: the values' buffer, the places of 91 fields, and little more.
std::size_t sizeOfCopy(const ValueDictionary& values) {
  const AllocationProbe probe;
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it is the copy that is measured
  const ValueDictionary copy = values;
  return probe.bytes();
}

TEST(ValueDictionaryMemory, ChangingValuesAgainAndAgainTakesNoMoreRoom) {
  constexpr std::size_t kRounds = 2'000;
  constexpr std::size_t kEnough = 10'000;
  const auto names = std::make_shared<const FieldNameTable>(std::vector<std::optional<std::string>>{"F0", "F1"});
  const struct {
    std::string what;
    std::function<void(ValueDictionary&, std::size_t)> change;
  } cases[] = {
      {"ever longer", [](ValueDictionary& values, std::size_t round) { values.set("F0", std::string(round, 'v')); }},
      {"long and short in turn",
       [](ValueDictionary& values, std::size_t round) { values.set("F0", std::string(round % 2 * kRounds, 'v')); }},
      {"erased by key and set again",
       [](ValueDictionary& values, std::size_t) {
         values.erase("F0");
         values.set("F0", std::string(kRounds, 'v'));
       }},
      {"erased by field and set again",
       [&](ValueDictionary& values, std::size_t) {
         values.eraseField(*names, 0);
         values.setField(*names, 0, std::string(kRounds, 'v'));
       }},
      {"under a key that is no field's",
       [](ValueDictionary& values, std::size_t) {
         values.erase("locale");
         values.set("locale", std::string(kRounds, 'v'));
       }},
  };
  for (const auto& [what, change] : cases) {
    SCOPED_TRACE(what);
    ValueDictionary values(names);
    values.set("F1", "one");
    for (std::size_t round = 1; round <= kRounds; ++round) {
      change(values, round);
      EXPECT_EQ(values.find("F1"), "one");
    }
    EXPECT_LT(sizeOfCopy(values), kEnough);
  }
}

}  // namespace
