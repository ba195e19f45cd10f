#include "tools/fleet/sim/Posts.h"

#include <algorithm>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace fleet {

Posts::Posts(const std::string& answeredFile) {
  if (answeredFile.empty()) return;
  file_.open(answeredFile, std::ios::binary | std::ios::trunc);
  if (!file_) throw std::runtime_error("'" + answeredFile + "' cannot be written");
}

void Posts::count(const sqm::platform::HttpExchange& exchange) {
  const std::lock_guard lock(mutex_);
  if (exchange.outcome != sqm::platform::HttpOutcome::completed) {
    ++failures_[textOf(exchange)];
    return;
  }
  ++statuses_[exchange.status];
  ++answered_;
  const Clock::time_point now = Clock::now();
  longestGap_ = std::max(longestGap_, now - lastAnswer_);
  lastAnswer_ = now;
}

void Posts::keep(const Answer& answer) {
  const std::lock_guard lock(mutex_);
  if (file_.is_open()) file_ << answer.status << ' ' << answer.url << ' ' << answer.body << std::endl;
}

Posts::Clock::time_point Posts::lastAnswer() const {
  const std::lock_guard lock(mutex_);
  return lastAnswer_;
}

nlohmann::ordered_json Posts::json() const {
  const std::lock_guard lock(mutex_);
  nlohmann::ordered_json json = {{"answered", nlohmann::ordered_json::object()},
                                 {"failed", failures_},
                                 {"longestGapSeconds", std::chrono::duration<double>(longestGap_).count()}};
  for (const auto& [status, count] : statuses_) json["answered"][std::to_string(status)] = count;
  return json;
}

nlohmann::ordered_json Posts::progressJson() const {
  nlohmann::ordered_json progress = json();
  progress["uploading"] = uploading_.load();
  return progress;
}

}  // namespace fleet
