#pragma once

#include "tools/collector/Server.h"

namespace collector {

/// Adds GET /metrics: what the server counts, in the text format of Prometheus. In a build without SQM_BUILD_FLEET
/// there is no such page. The services must outlive the server.
void addMetrics(HttpServer& server, const Services& services);

}  // namespace collector
