#include <cstddef>
#include <memory>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "sqm/common/ValueDictionary.h"

#include "tests/support/AllocationProbe.h"

using sqm::FieldNameTable;
using sqm::ValueDictionary;

namespace {

TEST(ValueDictionaryMemory, OutOfMemoryLeavesTheOtherValuesAndAWholeDictionary) {
  const auto names = std::make_shared<const FieldNameTable>(std::vector<std::optional<std::string>>{"F0", "F1"});
  const std::string newKey = "a key that is long enough to lie on the heap";
  const std::string longValue(5'000, 'v');
  for (const std::string& key : {newKey, std::string("F1")}) {
    bool succeeded = false;
    for (std::size_t successes = 0; !succeeded; ++successes) {
      ValueDictionary values(names);
      values.set("F0", "zero");
      values.set("locale", "English");
      try {
        AllocationProbe probe;
        probe.failAfter(successes);
        values.set(key, longValue);
        succeeded = true;
      } catch (const std::bad_alloc&) {
      }
      EXPECT_EQ(values.find("F0"), "zero");
      EXPECT_EQ(values.find("locale"), "English");
      EXPECT_EQ(values.find(key).value_or(""), succeeded ? longValue : "");
      std::size_t visited = 0;
      values.forEach([&](auto, auto) { ++visited; });
      EXPECT_EQ(visited, values.size());
      values.set(key, "afterwards");
      EXPECT_EQ(values.find(key), "afterwards");
    }
  }
}

}  // namespace
