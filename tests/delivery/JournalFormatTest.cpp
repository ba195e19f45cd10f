#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/delivery/internal/JournalFormat.h"

namespace sqm::delivery {
namespace {

using ::testing::ElementsAre;

/// A line for each sound frame.
std::vector<std::string> framesOf(std::string_view bytes) {
  std::vector<std::string> frames;
  JournalReader reader(bytes);
  while (const auto frame = reader.next()) {
    frames.push_back(std::to_string(static_cast<int>(frame->operation)) + " " +
                     std::to_string(static_cast<int>(frame->type)) + " " + std::string(frame->text) + "/" +
                     std::to_string(frame->count) + "/" + std::to_string(frame->digest));
  }
  return frames;
}

std::string threeFrames() {
  std::string bytes;
  appendFrame(bytes, 0, {.operation = JournalOperation::base, .type = RecordType::connection, .count = 7, .digest = 9});
  appendFrame(bytes, 1, {.operation = JournalOperation::stored, .type = RecordType::userAcceptance, .text = "<a/>"});
  appendFrame(bytes, 2, {.operation = JournalOperation::removed, .type = RecordType::client, .count = 3});
  return bytes;
}

TEST(JournalFormat, ReturnsTheFramesThatWereAppended) {
  EXPECT_THAT(framesOf(threeFrames()), ElementsAre("1 1 /7/9", "2 4 <a/>/0/0", "3 0 /3/0"));
}

TEST(JournalFormat, ATextMayHoldAnyBytes) {
  const std::string text("\0\xFF\r\n<", 5);
  std::string bytes;
  appendFrame(bytes, 0, {.operation = JournalOperation::stored, .type = RecordType::device, .text = text});
  JournalReader reader(bytes);
  const auto frame = reader.next();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->text, text);
  EXPECT_EQ(bytes.size(), kFrameOfNoText + text.size());
}

// The example of docs/delivery.md.
TEST(JournalFormat, HasTheDocumentedBytes) {
  std::string bytes;
  appendFrame(bytes, 5, {.operation = JournalOperation::stored, .type = RecordType::connection, .text = "<a/>"});
  appendFrame(bytes, 6, {.operation = JournalOperation::removed, .type = RecordType::connection, .count = 1});
  std::string hex;
  for (const char byte : bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    hex.push_back(kDigits[static_cast<unsigned char>(byte) >> 4]);
    hex.push_back(kDigits[static_cast<unsigned char>(byte) & 15]);
  }
  EXPECT_EQ(hex,
            "0e0000003f685e47050000000000000002013c612f3e"
            "12000000b3b03a9f060000000000000003010100000000000000");
}

TEST(JournalFormat, AppendingManyFramesSeldomNeedsMoreMemory) {
  std::string bytes;
  std::size_t growths = 0;
  for (std::uint64_t number = 0; number < 10'000; ++number) {
    const std::size_t before = bytes.capacity();
    appendFrame(bytes, number, {.operation = JournalOperation::stored, .text = "<a/>"});
    if (bytes.capacity() != before) ++growths;
  }
  EXPECT_LE(growths, 20U);
}

TEST(JournalFormat, EndsAtTheFirstFrameThatIsCutOff) {
  const std::string bytes = threeFrames();
  const std::vector<std::string> all = framesOf(bytes);
  std::size_t whole = 0;
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    const auto frames = framesOf(std::string_view(bytes).substr(0, size));
    ASSERT_LE(frames.size(), all.size());
    EXPECT_GE(frames.size(), whole);
    whole = frames.size();
    for (std::size_t at = 0; at < frames.size(); ++at) EXPECT_EQ(frames[at], all[at]);
  }
  EXPECT_EQ(whole, all.size());
}

TEST(JournalFormat, ABitThatIsFlippedEndsTheFramesBeforeIt) {
  const std::string bytes = threeFrames();
  const std::vector<std::string> all = framesOf(bytes);
  std::vector<std::size_t> ends;  // of the frames
  JournalReader reader(bytes);
  while (reader.next()) ends.push_back(bytes.size() - reader.rest().size());
  for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
    std::string damaged = bytes;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
    const auto frames = framesOf(damaged);
    std::size_t before = 0;
    while (ends[before] <= bit / 8) ++before;
    ASSERT_EQ(frames.size(), before) << bit;
    for (std::size_t at = 0; at < before; ++at) EXPECT_EQ(frames[at], all[at]);
  }
}

TEST(JournalFormat, AFrameOutOfSequenceEndsTheJournal) {
  std::string bytes;
  appendFrame(bytes, 0, {.operation = JournalOperation::stored, .text = "a"});
  appendFrame(bytes, 2, {.operation = JournalOperation::stored, .text = "c"});
  EXPECT_EQ(framesOf(bytes).size(), 1U);
}

TEST(JournalFormat, AnUnknownTypeOrOperationEndsTheJournal) {
  std::string type;
  appendFrame(type, 0, {.operation = JournalOperation::stored, .type = static_cast<RecordType>(5), .text = "a"});
  EXPECT_EQ(framesOf(type).size(), 0U);
  std::string operation;
  appendFrame(operation, 0, {.operation = static_cast<JournalOperation>(9), .count = 1});
  EXPECT_EQ(framesOf(operation).size(), 0U);
}

}  // namespace
}  // namespace sqm::delivery
