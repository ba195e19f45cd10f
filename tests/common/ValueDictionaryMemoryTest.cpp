#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/ValueDictionary.h"

#include "tests/support/AllocationProbe.h"

using sqm::FieldNameTable;
using sqm::ValueDictionary;

namespace {

/// The memory of a copy, in bytes: mostly the buffer of the values and the positions of 91 fields.
std::size_t sizeOfCopy(const ValueDictionary& values) {
  const AllocationProbe probe;
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is measured
  const ValueDictionary copy = values;
  return probe.bytes();
}

TEST(ValueDictionaryMemory, RepeatedChangesDoNotMakeTheBufferGrow) {
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
      {"erased and set again by field",
       [&](ValueDictionary& values, std::size_t) {
         values.erase("F0");
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
