#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/RecordType.h"

namespace sqm::delivery {

// The format of the journal, on disk: not to change. docs/delivery.md describes it with an example.

/// The first bytes of a journal; the last of them is the version.
inline constexpr std::string_view kJournalHead = "SQMjrnl1";

enum class JournalOperation : std::uint8_t {
  base = 1,     ///< the file of the list holds this list: what follows happened to it
  stored = 2,   ///< a record was appended to the list
  removed = 3,  ///< the oldest records left the list
  saving = 4,   ///< the list, which is this one here, is about to be written to its file
};

/// One entry of the journal.
struct JournalFrame {
  JournalOperation operation = JournalOperation::stored;
  RecordType type = RecordType::client;
  std::string_view text = {};  ///< of the record that was stored
  std::uint64_t count = 0;     ///< of the records of the list, or of those that were removed
  std::uint64_t digest = 0;    ///< of the list, for `base` and `saving`
};

/// A longer text is cut when it is stored in a frame, in bytes: a length has four bytes.
inline constexpr std::size_t kLongestJournalText = std::size_t{1} << 30;

/// The bytes of the frame of a record without its text.
inline constexpr std::size_t kFrameOfNoText = 18;

/// Appends the frame, with its number in the journal, counted from 0, to `out`.
void appendFrame(std::string& out, std::uint64_t sequence, const JournalFrame& frame);

/// Reads the frames of a journal. Views of texts are valid as long as the bytes.
class JournalReader {
 public:
  /// `frames` begins after the head.
  explicit JournalReader(std::string_view frames = {}) : rest_(frames) {}

  /// The next frame; nothing at the end and at the first one that is damaged, cut off, or out of sequence.
  std::optional<JournalFrame> next();

  /// When `next` returned nothing: at least so many more bytes are needed to read a frame, none behind a damaged one.
  std::size_t missing() const { return missing_; }

  /// Continues with these bytes, which begin with the rest.
  void continueWith(std::string_view frames) { rest_ = frames; }

  /// The bytes from the first frame that was not returned.
  std::string_view rest() const { return rest_; }

  /// The number of the next frame.
  std::uint64_t nextSequence() const { return next_; }

 private:
  std::string_view rest_;
  std::uint64_t next_ = 0;
  std::size_t missing_ = 0;
};

}  // namespace sqm::delivery
