#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "sqm/common/RecordType.h"
#include "sqm/common/TextArray.h"

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

struct Replay {
  ByType<ListFile> files{};
  ByType<ListMark> bases{};               ///< of the lists in the files
  ByType<std::uint64_t> removedOfBase{};  ///< how many records of those are gone, of lists that are `asJournalBegan`
  std::uint64_t nextSequence = 0;
  std::size_t soundBytes = 0;  ///< what is behind them is damaged
};

/// Changes `lists`, which were read from their files, to the lists as they were when the last frame was written.
///
/// A list file that is as the journal knows it counts, from there on, as the beginning of what happened. A list file
/// that is unknown keeps its records, and those that the journal holds and that are not in it follow.
Replay replayJournal(std::string_view frames, std::span<TextArray> lists);

}  // namespace sqm::delivery
