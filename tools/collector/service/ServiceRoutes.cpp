#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

#include "tools/collector/Server.h"
#include "tools/collector/service/ServiceQuery.h"
#include "tools/collector/service/StoredReport.h"

namespace collector {

namespace {

/// Lets one report be made at a time. Who waits holds a thread that could serve a page.
class OneAtATime {
 public:
  /// Waits for those that asked before. The result is empty when too many wait already, or when it takes too long.
  std::unique_lock<std::timed_mutex> wait() {
    constexpr int kMostWaiting = 8;
    constexpr std::chrono::seconds kPatience{20};
    std::unique_lock lock(mutex_, std::try_to_lock);
    if (lock) return lock;
    if (++waiting_ <= kMostWaiting) lock = std::unique_lock(mutex_, kPatience);
    --waiting_;
    return lock;
  }

 private:
  std::timed_mutex mutex_;
  std::atomic<int> waiting_ = 0;
};

}  // namespace

void addServiceRoutes(HttpServer& server, const Services& services) {
  const auto oneAtATime = std::make_shared<OneAtATime>();
  server.Get("/_service", [&storage = services.storage, oneAtATime](const httplib::Request& request,
                                                                    httplib::Response& response) {
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    const ServiceQuery query = serviceQueryOf(request.params, now);
    const auto lock = oneAtATime->wait();
    if (!lock) return fail(response, 503, "others wait for their reports: ask again later");
    const Json report = storedReport(storage, query);
    response.set_header("Cache-Control", "no-store");
    response.set_content(report.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n", "application/json");
  });
}

}  // namespace collector
