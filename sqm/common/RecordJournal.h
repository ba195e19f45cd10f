#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "sqm/common/RecordType.h"
#include "sqm/common/TextArray.h"

namespace sqm {

/// Why records leave a list.
enum class Removal : std::uint8_t {
  posted,   ///< the document that holds them has been posted
  unsent,   ///< they were stored after that document was made, and are deleted with it
  records,  ///< the list has more records than its limit allows
  bytes,    ///< more bytes
  age,      ///< they are older
  consent,  ///< the user does not allow that they are kept
};

/// So many of the oldest records that are to leave a list.
struct Surplus {
  std::size_t count = 0;
  Removal why = Removal::records;
};

/// Posted when other records may be kept than before, such as after a consent was revoked. A store then removes what is
/// surplus, and saves.
inline constexpr std::string_view kKeptRecordsChangedNotification = "SQMKeptRecordsChangedNotification";

/// Is told what happens to the lists of records, so that it can keep them over the end of the process, count them, and
/// bound them. The record store calls it; lists are passed by type, one for each of `kRecordTypes`.
///
/// Threading: the one thread that drives the store.
/// Failure: nothing throws but `std::bad_alloc`.
class RecordJournal {
 public:
  using Lists = std::span<const TextArray>;

  virtual ~RecordJournal() = default;

  /// False: records are not stored now.
  virtual bool mayStore() const { return true; }

  /// What the store is to remove from this list. It asks after each record, after loading, before a save and before an
  /// upload, until there is nothing.
  virtual Surplus surplusOf(Lists /*lists*/, RecordType /*type*/) { return {}; }

  /// True when the store deletes only what was posted: records that were stored after the document was made then stay.
  virtual bool keepsUnsent() const { return true; }

  /// A new store has read its files. The journal changes the lists to those that the store is to begin with.
  virtual void listsLoaded(std::span<TextArray> lists) = 0;

  /// The last record of this list is new.
  virtual void recordStored(Lists lists, RecordType type) = 0;

  /// So many of the oldest records of this list are gone.
  virtual void recordsRemoved(Lists lists, RecordType type, std::size_t count, Removal why) = 0;

  /// The lists are about to be written to their files.
  virtual void saveBegins(Lists lists) = 0;

  /// `written`: the types whose files hold their lists.
  virtual void saveEnds(Lists lists, const ByType<bool>& written) = 0;
};

}  // namespace sqm
