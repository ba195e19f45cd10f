#include <cstddef>
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

}  // namespace
