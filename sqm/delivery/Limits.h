#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "sqm/common/RecordJournal.h"
#include "sqm/common/RecordType.h"
#include "sqm/common/TextArray.h"
#include "sqm/common/UploadRequest.h"
#include "sqm/delivery/StoredTimes.h"

namespace sqm::delivery {

/// How much of one kind is kept. Without a number there is no limit.
struct Limit {
  std::optional<std::uint64_t> records = {};
  std::optional<std::uint64_t> bytes = {};       ///< of the records' texts
  std::optional<std::chrono::seconds> age = {};  ///< since they were stored
};

/// What is kept of the lists and of the upload queue, whose records are its requests and whose bytes are their bodies.
/// The oldest are dropped.
struct Limits {
  ByType<Limit> lists = {};
  Limit queue = {};

  /// The same limit for each list and for the queue.
  static Limits ofEach(const Limit& limit);
};

/// What a limit does not allow: first what is too old, then the number, then the bytes. `now` is in seconds since
/// 1970-01-01 00:00 GMT.
Surplus surplusOf(const Limit& limit, const TextArray& list, const StoredTimes& times, std::int64_t now);
Surplus surplusOf(const Limit& limit, const UploadRequests& queue, const StoredTimes& times, std::int64_t now);

}  // namespace sqm::delivery
