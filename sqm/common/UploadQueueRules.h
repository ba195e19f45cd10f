#pragma once

#include <cstddef>

#include "sqm/common/UploadRequest.h"

namespace sqm {

/// Decides what the upload queue keeps. The queue calls it with its requests, which it may remove.
///
/// Threading: any thread, one at a time.
/// Failure: nothing throws but `std::bad_alloc`.
class UploadQueueRules {
 public:
  virtual ~UploadQueueRules() = default;

  /// False: requests are not queued now.
  virtual bool mayQueue() const = 0;

  /// The queue was read from its archive.
  virtual void queueLoaded(UploadRequests& queue) = 0;

  /// The last request is new. `isSending`: the first one is under way and stays.
  virtual void requestQueued(UploadRequests& queue, bool isSending) = 0;

  /// The first request has been posted and is gone.
  virtual void requestPosted(const UploadRequests& queue) = 0;

  /// Other requests may be kept than before.
  virtual void rulesChanged(UploadRequests& queue) = 0;
};

}  // namespace sqm
