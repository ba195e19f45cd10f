#pragma once

#include <cstddef>
#include <functional>

namespace sqm {

/// Something to upload, such as the records of a manager. `start` must be set, the other functions need not be.
///
/// Ownership: what the functions use must outlive the target and its copies.
/// Threading: the main thread.
struct UploadTarget {
  std::function<void()> start;
  /// True when the upload has ended. When not set: no request of the host's transactions is under way.
  std::function<bool()> isIdle = {};
  /// Writes to disk what waits.
  std::function<void()> save = {};
  /// The number of records or requests that wait.
  std::function<std::size_t()> waiting = {};
};

}  // namespace sqm
