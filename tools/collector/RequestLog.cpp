#include "tools/collector/RequestLog.h"

#include <ctime>
#include <utility>

#include <nlohmann/json.hpp>

namespace collector {

namespace {

std::string utcNow() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[sizeof "2026-11-21T10:00:00Z"];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

}  // namespace

std::size_t RequestLog::add(std::string path, std::string contentType, std::string body) {
  const std::lock_guard lock(mutex_);
  const std::size_t id = requests_.size() + 1;
  requests_.push_back({id, utcNow(), std::move(path), std::move(contentType), std::move(body)});
  return id;
}

std::optional<Request> RequestLog::find(std::size_t id) const {
  const std::lock_guard lock(mutex_);
  if (id < 1 || id > requests_.size()) return std::nullopt;
  return requests_[id - 1];
}

std::string RequestLog::asJson() const {
  const std::lock_guard lock(mutex_);
  auto list = nlohmann::ordered_json::array();
  for (const Request& request : requests_) {
    list.push_back({{"id", request.id},
                    {"time", request.time},
                    {"path", request.path},
                    {"contentType", request.contentType},
                    {"bytes", request.body.size()}});
  }
  return list.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace collector
