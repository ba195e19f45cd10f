#pragma once

#include <memory>
#include <optional>

#include "sqm/common/NotificationCenter.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"

#include "faces/c/internal/Handles.h"
#include "faces/c/internal/Options.h"
#include "faces/c/internal/Services.h"

namespace sqm {
class QFRecordUploader;
}  // namespace sqm

namespace sqm::c {

/// A host with the services of the application.
///
/// Ownership: shared by the host's handle and those of the objects that were made with it, so that they may be
/// destroyed in any order.
struct HostState {
  explicit HostState(const sqm_options& options);

  // The services first: the host uses them until its end.
  std::optional<CallbackHttp> http;
  std::optional<CallbackFilter> filter;
  std::optional<CallbackLogs> logs;
  std::optional<CallbackClock> clock;
  platform::StandardHost host;
};
using SharedHost = std::shared_ptr<HostState>;

/// The host that was installed last. Throws `Failure` without one.
SharedHost installedHost();

/// The process's queue, which keeps the host that was installed when it was made. Throws `Failure` without one.
QFRecordUploader& queue();

/// An observer that calls `callback`.
sqm_observer* newObserver(const SharedHost& host, const char* name, const void* sender,
                          sqm_notification_callback callback, void* context);

}  // namespace sqm::c

// In each, what is made with the host is destroyed before the host.

struct sqm_host {
  sqm::c::SharedHost state;
};

struct sqm_observer {
  sqm::c::SharedHost host;
  sqm::NotificationCenter::Registration registration;
};

struct sqm_manager {
  sqm::c::SharedHost host;
  std::shared_ptr<sqm::SQMManager> manager;  // shared with its targets while they run
};
