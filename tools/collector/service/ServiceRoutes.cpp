#include <chrono>
#include <memory>
#include <mutex>
#include <utility>

#include "tools/collector/Server.h"
#include "tools/collector/service/ServiceQuery.h"
#include "tools/collector/service/StoredReport.h"

namespace collector {

namespace {

/// The posts that the server did not keep since its start, by the reason.
Json refusalsJson(const Counters& counters) {
  constexpr std::pair<const char*, Count> kRefusals[] = {
      {"tooLong", Count::postsTooLong}, {"refused", Count::postsRefused}, {"incomplete", Count::postsIncomplete},
      {"invalid", Count::postsInvalid}, {"failed", Count::postsFailed},
  };
  Json json;
  for (const auto& [name, count] : kRefusals) json[name] = counters.of(count);
  return json;
}

}  // namespace

void addServiceRoutes(HttpServer& server, const Services& services) {
  const auto oneAtATime = std::make_shared<std::mutex>();
  server.Get("/_service", [services, oneAtATime](const httplib::Request& request, httplib::Response& response) {
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    const ServiceQuery query = serviceQueryOf(request.params, now);
    const std::lock_guard lock(*oneAtATime);
    Json report = storedReport(services.storage, query);
    report["refusals"] = refusalsJson(services.counters);
    response.set_header("Cache-Control", "no-store");
    response.set_content(report.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n", "application/json");
  });
}

}  // namespace collector
