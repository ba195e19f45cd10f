#pragma once

#include <optional>

#include "sqm/platform/StandardHost.h"

#include "faces/c/internal/Growing.h"
#include "faces/c/internal/Handles.h"
#include "faces/c/sqm.h"

/// The options of the standard host, and the tables of the services that replace its own.
struct sqm_options {
  sqm::platform::StandardHost::Options standard = {};
  std::optional<sqm_http_service> http = {};
  std::optional<sqm_filter_service> filter = {};
  std::optional<sqm_log_service> log = {};
  std::optional<sqm_clock_service> clock = {};
};

namespace sqm::c {

/// Sets the table of a service, of which one callback must be there.
template <typename Service, typename Callback>
sqm_status setService(sqm_options* options, std::optional<Service> sqm_options::*member, const Service* service,
                      Callback Service::*needed, const char* problem) noexcept {
  return attempt([&] {
    sqm_options& target = on(options);
    const Service table = known(service);
    require(table.*needed != nullptr, problem);
    target.*member = table;
  });
}

}  // namespace sqm::c
