#include <cstddef>
#include <new>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "sqm/common/TextArray.h"

#include "tests/support/AllocationProbe.h"

using sqm::TextArray;

namespace {

TEST(TextArrayMemory, TakesTheBytesOfItsTextsAndOneSizeForEach) {
  constexpr std::size_t kTexts = 10'000;
  const std::string text(100, 'x');
  const AllocationProbe probe;
  TextArray texts;
  texts.reserve(kTexts, kTexts * text.size());
  for (std::size_t count = 0; count < kTexts; ++count) texts.append(text);
  EXPECT_LE(probe.bytes(), kTexts * (text.size() + sizeof(std::size_t)) + 16);
}

TEST(TextArrayMemory, GrowsInFewSteps) {
  const AllocationProbe probe;
  TextArray texts;
  for (std::size_t count = 0; count < 10'000; ++count) texts.append("0123456789abcdef");
  EXPECT_LT(probe.count(), 40U);
}

TEST(TextArrayMemory, WithoutMemoryAnAppendLeavesTheListAsItWas) {
  const std::string text(1'000, 'y');
  for (const bool isPresent : {true, false}) {
    const auto next = isPresent ? TextArray::value_type(text) : std::nullopt;
    bool wasRefused = false;
    for (std::size_t successes = 0;; ++successes) {
      TextArray texts = {"a", std::nullopt, "b"};
      for (int count = 0; count < 13; ++count) texts.append("c");  // no room is left
      const TextArray before = texts;
      AllocationProbe probe;
      probe.failAfter(successes);
      try {
        texts.append(next);
        break;
      } catch (const std::bad_alloc&) {
        wasRefused = true;
      }
      EXPECT_EQ(texts, before);
    }
    EXPECT_TRUE(wasRefused);
  }
}

}  // namespace
