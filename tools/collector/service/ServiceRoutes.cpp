#include <chrono>
#include <memory>
#include <mutex>

#include "tools/collector/Server.h"
#include "tools/collector/service/ServiceQuery.h"
#include "tools/collector/service/StoredReport.h"

namespace collector {

namespace {

constexpr std::chrono::seconds kPatience{20};  // for the reports that others asked for before

}  // namespace

void addServiceRoutes(HttpServer& server, const Services& services) {
  const auto oneAtATime = std::make_shared<std::timed_mutex>();
  server.Get("/_service", [&storage = services.storage, oneAtATime](const httplib::Request& request,
                                                                    httplib::Response& response) {
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    const ServiceQuery query = serviceQueryOf(request.params, now);
    const std::unique_lock lock(*oneAtATime, kPatience);
    if (!lock) return fail(response, 503, "others wait for their reports: ask again later");
    const Json report = storedReport(storage, query);
    response.set_header("Cache-Control", "no-store");
    response.set_content(report.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n", "application/json");
  });
}

}  // namespace collector
