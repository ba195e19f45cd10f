#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "sqm/common/RecordType.h"
#include "sqm/common/TextArray.h"
#include "sqm/delivery/internal/JournalFormat.h"

namespace sqm::delivery {

/// A list, by the number and the digest of its records.
struct ListMark {
  std::uint64_t count = 0;
  std::uint64_t digest = 0;
  friend bool operator==(const ListMark&, const ListMark&) = default;
};

/// The mark of a list, which is the same after the list was written to a property list and read again.
ListMark markOf(const TextArray& list);

/// What a journal says about a list when the process begins.
enum class ListFile : std::uint8_t {
  asJournalBegan,  ///< the file holds the list with which the journal begins
  saved,           ///< it was written after that, and the process ended before the journal began anew
  unknown,         ///< something else has written it, or it cannot be read
};

/// The journal's account of one list.
class ListReplay {
 public:
  /// `inFile`: of the list in the file. `toCome`: the bytes of the journal behind the frame.
  void take(const JournalFrame& frame, const ListMark& inFile, std::uintmax_t toCome);

  /// Changes the list from the one in the file.
  void finish(TextArray& list);

  ListFile file() const { return file_; }
  /// Records at the front of the file's list that are gone.
  std::uint64_t removedOfBase() const { return removedOfBase_; }

 private:
  void mark(const JournalFrame& frame, const ListMark& inFile);
  void store(std::string_view text, std::uintmax_t toCome);
  void remove(std::uint64_t count);

  ListFile file_ = ListFile::unknown;
  std::uint64_t baseCount_ = 0;
  std::uint64_t removedOfBase_ = 0;
  TextArray stored_;  // behind the records of the file, or, when that is unknown, all that the journal holds
};

/// What a journal gives.
struct Replay {
  bool isJournal = false;  ///< false when it does not begin as a journal does
  ByType<ListFile> files{};
  ByType<std::uint64_t> removedOfBase{};  ///< how many records of the files are gone, of those `asJournalBegan`
  std::uint64_t nextSequence = 0;
  std::uintmax_t size = 0;        ///< of the journal, in bytes
  std::uintmax_t soundBytes = 0;  ///< what is behind them is damaged
};

/// Changes `lists`, which were read from their files, to the lists as they were when the last frame was written.
///
/// A list file that is as the journal knows it counts, from there on, as the beginning of what happened. A list file
/// that is unknown keeps its records, and those that the journal holds and that are not in it follow.
class JournalReplay {
 public:
  explicit JournalReplay(std::span<TextArray> lists);

  /// The marks of the lists as they were read.
  const ByType<ListMark>& marks() const { return marks_; }

  /// Takes the next bytes of the journal, which begins with its head.
  void take(std::string_view bytes, std::uintmax_t toCome);

  /// Changes the lists. What is no journal changes nothing.
  Replay finish();

 private:
  std::size_t takeFrames(std::string_view bytes, std::uintmax_t toCome);

  std::span<TextArray> lists_;
  ByType<ListMark> marks_{};
  Replay replay_;
  ByType<ListReplay> accounts_;
  JournalReader reader_;
  std::string rest_;         // a frame whose end is to come
  std::size_t missing_ = 1;  // bytes of it at least; 0 when what follows is damaged
};

}  // namespace sqm::delivery
