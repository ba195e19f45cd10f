#include <cstddef>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "sqm/common/TextSlots.h"

#include "tests/support/Bytes.h"

using sqm::TextSlots;

namespace {

TEST(TextSlots, HoldNothingAtFirst) {
  const TextSlots slots;
  EXPECT_EQ(slots.size(), 0U);
  for (std::size_t slot = 0; slot < TextSlots::kSlots; ++slot) EXPECT_EQ(slots[slot], std::nullopt);
}

TEST(TextSlots, KeepATextInEverySlot) {
  TextSlots slots;
  for (std::size_t slot = 0; slot < TextSlots::kSlots; ++slot) slots.set(slot, "text " + std::to_string(slot));
  for (std::size_t slot = 0; slot < TextSlots::kSlots; ++slot) EXPECT_EQ(slots[slot], "text " + std::to_string(slot));
  EXPECT_EQ(slots.size(), TextSlots::kSlots);
}

TEST(TextSlots, TextsAreData) {
  TextSlots slots;
  std::size_t slot = 0;
  for (const std::string& text : kAwkwardTexts) slots.set(slot++, text);
  slot = 0;
  for (const std::string& text : kAwkwardTexts) EXPECT_EQ(slots[slot++], text);
}

TEST(TextSlots, TextsOfEveryLengthArePadded) {
  TextSlots slots;
  for (std::size_t length = 0; length < 3'000; length += length / 50 + 1) {
    slots.set(length % TextSlots::kSlots, std::string(length, 't'));
    const std::string_view text = *slots[length % TextSlots::kSlots];
    std::string padded(text.data(), text.size() + TextSlots::kPadding);  // found by a sanitizer when it is too long
    EXPECT_EQ(padded.substr(0, length), std::string(length, 't'));
  }
}

TEST(TextSlots, AreEmptyAfterAMove) {
  TextSlots slots;
  slots.set(1, repeated("long text ", 1'000));
  slots.set(91, "short");
  TextSlots taken = std::move(slots);
  EXPECT_EQ(taken[91], "short");
  // NOLINTNEXTLINE(bugprone-use-after-move): it is promised to be empty
  EXPECT_EQ(slots.size(), 0U);
  slots.set(1, "again");
  EXPECT_EQ(slots[1], "again");
  slots = std::move(taken);
  EXPECT_EQ(slots[1], repeated("long text ", 1'000));
}

TEST(TextSlots, BehaveLikeAMapUnderRandomOperations) {
  std::mt19937 random(3);
  TextSlots slots;
  std::map<std::size_t, std::string> expected;
  for (int step = 0; step < 20'000; ++step) {
    const std::size_t slot = random() % TextSlots::kSlots;
    switch (random() % 16) {
      case 0:
        slots.erase(slot);
        expected.erase(slot);
        break;
      case 1: {  // the text of another slot
        const auto other = slots[random() % TextSlots::kSlots];
        const std::string copy(other.value_or(""));
        slots.set(slot, other.value_or(""));
        expected[slot] = copy;
        break;
      }
      case 2: {
        TextSlots copy = slots;
        slots = std::move(copy);
        break;
      }
      case 3:
        if (random() % 500 == 0) {
          slots.clear();
          expected.clear();
        }
        break;
      default: {
        const std::size_t length = random() % 10 == 0 ? random() % 2'000 : random() % 20;
        expected[slot] = std::string(length, static_cast<char>('a' + random() % 26));
        slots.set(slot, expected[slot]);
      }
    }
    ASSERT_EQ(slots.size(), expected.size());
    if (step % 50 != 0) continue;
    for (std::size_t each = 0; each < TextSlots::kSlots; ++each) {
      const auto found = expected.find(each);
      ASSERT_EQ(slots[each], found == expected.end() ? std::nullopt : std::optional<std::string_view>(found->second));
    }
  }
}

}  // namespace
