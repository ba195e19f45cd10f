#include "sqm/delivery/internal/JournalFormat.h"

#include <algorithm>

#include "sqm/delivery/internal/Checksums.h"
#include "sqm/delivery/internal/LittleEndian.h"

namespace sqm::delivery {

namespace {

constexpr std::size_t kLengthSize = sizeof(std::uint32_t);
constexpr std::size_t kPrefixSize = kLengthSize + sizeof(std::uint32_t);  // length and checksum
constexpr std::size_t kFixedSize = sizeof(std::uint64_t) + 2;             // sequence, operation and type
static_assert(kPrefixSize + kFixedSize == kFrameOfNoText);

/// Takes an unsigned number from the front of `bytes`; nothing when they are too few.
template <typename Number>
std::optional<Number> take(std::string_view& bytes) {
  if (bytes.size() < sizeof(Number)) return std::nullopt;
  const auto number = littleEndian<Number>(bytes);
  bytes.remove_prefix(sizeof(Number));
  return number;
}

/// Takes what belongs to the operation of `frame` from the whole of `payload`. False when it is not that.
bool takePayload(std::string_view payload, JournalFrame& frame) {
  switch (frame.operation) {
    case JournalOperation::stored:
      frame.text = payload;
      return true;
    case JournalOperation::removed: {
      const auto count = take<std::uint64_t>(payload);
      frame.count = count.value_or(0);
      return count && payload.empty();
    }
    case JournalOperation::base:
    case JournalOperation::saving: {
      const auto count = take<std::uint64_t>(payload);
      const auto digest = take<std::uint64_t>(payload);
      frame.count = count.value_or(0);
      frame.digest = digest.value_or(0);
      return digest && payload.empty();
    }
  }
  return false;
}

}  // namespace

void appendFrame(std::string& out, std::uint64_t sequence, const JournalFrame& frame) {
  const bool isOfList = frame.operation == JournalOperation::base || frame.operation == JournalOperation::saving;
  const std::size_t payload =
      frame.operation == JournalOperation::stored ? frame.text.size() : sizeof(std::uint64_t) * (isOfList ? 2 : 1);
  const std::size_t start = out.size();
  const std::size_t needed = start + kFrameOfNoText + payload;
  if (needed > out.capacity()) out.reserve(std::max(needed, 2 * out.capacity()));  // a frame is whole or absent
  appendLittleEndian(out, static_cast<std::uint32_t>(kFixedSize + payload));
  appendLittleEndian(out, std::uint32_t{0});  // the checksum, when the frame is complete
  appendLittleEndian(out, sequence);
  appendLittleEndian(out, static_cast<std::uint8_t>(frame.operation));
  appendLittleEndian(out, static_cast<std::uint8_t>(frame.type));
  if (frame.operation == JournalOperation::stored) {
    out.append(frame.text);
  } else {
    appendLittleEndian(out, frame.count);
    if (isOfList) appendLittleEndian(out, frame.digest);
  }
  const std::string_view written = std::string_view(out).substr(start);
  std::string checksum;
  appendLittleEndian(checksum, crc32c(written.substr(kPrefixSize), crc32c(written.substr(0, kLengthSize))));
  out.replace(start + kLengthSize, checksum.size(), checksum);
}

std::optional<JournalFrame> JournalReader::next() {
  std::string_view bytes = rest_;
  const auto length = take<std::uint32_t>(bytes);
  const auto checksum = take<std::uint32_t>(bytes);
  missing_ = checksum ? 0 : kPrefixSize - rest_.size();
  if (!checksum || *length < kFixedSize || *length > kFixedSize + kLongestJournalText) return std::nullopt;
  missing_ = std::max<std::size_t>(*length, bytes.size()) - bytes.size();
  if (missing_ > 0) return std::nullopt;
  std::string_view body = bytes.substr(0, *length);
  if (crc32c(body, crc32c(rest_.substr(0, kLengthSize))) != *checksum) return std::nullopt;

  const std::uint64_t sequence = *take<std::uint64_t>(body);
  if (sequence != next_) return std::nullopt;
  JournalFrame frame;
  frame.operation = static_cast<JournalOperation>(*take<std::uint8_t>(body));
  frame.type = static_cast<RecordType>(*take<std::uint8_t>(body));
  if (!isRecordType(frame.type) || !takePayload(body, frame)) return std::nullopt;
  next_ = sequence + 1;
  rest_.remove_prefix(kPrefixSize + *length);
  return frame;
}

}  // namespace sqm::delivery
