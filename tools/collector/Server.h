#pragma once

#include "tools/collector/Database.h"
#include "tools/collector/Events.h"
#include "tools/collector/Faults.h"
#include "tools/collector/HttpServer.h"

namespace collector {

/// The parts of the collection server.
struct Services {
  Database& database;
  Faults& faults;
  Events& events;
  bool isQuiet;
  bool isForThisMachine;  ///< other machines must not read the data
};

/// Adds the collector's routes to the server: those that keep requests and those that serve them. The services must
/// outlive the server.
void addRoutes(HttpServer& server, const Services& services);

}  // namespace collector
