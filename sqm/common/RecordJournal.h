#pragma once

#include <cstddef>
#include <span>

#include "sqm/common/RecordType.h"
#include "sqm/common/TextArray.h"

namespace sqm {

/// Is told what happens to the lists of records, so that it can keep them over the end of the process. The record store
/// calls it; lists are passed by type, one for each of `kRecordTypes`.
///
/// With a journal the store deletes only what was delivered: records that were stored after the document was made stay.
///
/// Threading: the one thread that drives the store.
/// Failure: nothing throws but `std::bad_alloc`.
class RecordJournal {
 public:
  using Lists = std::span<const TextArray>;

  virtual ~RecordJournal() = default;

  /// A new store has read its files. The journal changes the lists to those that the store is to begin with.
  virtual void listsLoaded(std::span<TextArray> lists) = 0;

  /// The last record of this list is new.
  virtual void recordStored(Lists lists, RecordType type) = 0;

  /// So many of the oldest records of this list are gone.
  virtual void recordsRemoved(Lists lists, RecordType type, std::size_t count) = 0;

  /// The lists are about to be written to their files.
  virtual void saveBegins(Lists lists) = 0;

  /// `allWritten`: each file holds its list.
  virtual void saveEnds(Lists lists, bool allWritten) = 0;
};

}  // namespace sqm
