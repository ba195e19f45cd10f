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

TEST(TextArrayMemory, RemovingTheFirstTextsTakesNoMemoryAndGivesTheirPlaceToOthers) {
  TextArray texts;
  for (int count = 0; count < 1'000; ++count) texts.append("0123456789abcdef");
  const AllocationProbe probe;
  for (int count = 0; count < 100'000; ++count) {
    texts.removeFirst(1);
    texts.append("0123456789abcdef");
  }
  EXPECT_LT(probe.bytes(), 5U * 1'000 * (16 + sizeof(std::size_t)));
}

TEST(TextArrayMemory, AListThatBecomesShortOrEmptyGivesItsMemoryBack) {
  TextArray texts;
  for (int count = 0; count < 1'000; ++count) texts.append(std::string(1'000, 'x'));
  texts.removeFirst(995);
  EXPECT_EQ(texts.size(), 5U);
  EXPECT_LT(texts.capacity(), 20'000U);
  texts.removeFirst(5);
  EXPECT_EQ(texts.version(), 0U);
  EXPECT_LT(texts.capacity(), 100U);
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
