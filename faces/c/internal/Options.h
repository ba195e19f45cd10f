#pragma once

#include <optional>

#include "sqm/platform/StandardHost.h"

#include "faces/c/sqm.h"

/// The options of the standard host, and the tables of the services that replace its own.
struct sqm_options {
  sqm::platform::StandardHost::Options standard = {};
  std::optional<sqm_http_service> http = {};
  std::optional<sqm_filter_service> filter = {};
  std::optional<sqm_log_service> log = {};
  std::optional<sqm_clock_service> clock = {};
};
