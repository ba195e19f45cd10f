#pragma once

#include "tools/collector/Server.h"

namespace collector {

/// Adds GET /_export: the records as CSV or as JSON Lines. The services must outlive the server.
void addExport(HttpServer& server, const Services& services);

}  // namespace collector
