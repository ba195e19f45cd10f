#pragma once

#include <string_view>

#include "tools/collector/Server.h"

namespace collector {

/// True for a path of the collector itself, below "/_". A body sent to any other path is kept.
bool isOwn(std::string_view path);

/// Adds the routes of POST and PUT: they keep requests, and set the faults. The services must outlive the server.
void addKeeping(HttpServer& server, const Services& services);

}  // namespace collector
