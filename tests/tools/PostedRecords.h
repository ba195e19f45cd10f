#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sqm/common/internal/TimeStamp.h"

#include "tests/tools/storage/Engine.h"

/// Noon of 2026-11-21, when posts arrive unless they say otherwise.
inline constexpr collector::ConnectionFact::Time kNoon =
    std::chrono::sys_days(std::chrono::year(2026) / 11 / 21) + std::chrono::hours(12);

/// A database with what was posted to it.
class PostedRecords {
 public:
  using Time = collector::ConnectionFact::Time;

  explicit PostedRecords(const collector::StorageOptions& options = {}) : storage_(engine_->open(options)) {}

  /// Closes the database, and opens it again.
  void reopen() {
    storage_.reset();
    storage_ = engine_->open();
  }

  void post(const std::string& body, Time at = kNoon) { post(std::vector{body}, at); }

  /// Posts these bodies at once.
  void post(const std::vector<std::string>& bodies, Time at = kNoon) {
    std::vector<std::unique_ptr<collector::Arrival>> arrivals;
    std::vector<collector::Arrival*> group;
    for (const std::string& body : bodies) {
      collector::RequestRow head = {.time = sqm::isoTimeStamp(at), .method = "POST", .path = "/"};
      arrivals.push_back(std::make_unique<collector::Arrival>(std::move(head), "[]", body, collector::FieldMapping()));
      group.push_back(arrivals.back().get());
    }
    storage_->add(group);
  }

  void postConnection(Time at, const std::string& client = "c", const std::string& event = "start",
                      const std::string& network = "office") {
    post("<connectionList><connectionRecord><eventTime>" + sqm::isoTimeStamp(at) + "</eventTime><clientId>" + client +
         "</clientId><event>" + event + "</event><wifi><connectionStatus>connected</connectionStatus>" + "<ssid>" +
         network + "</ssid><signalStrength>-60</signalStrength></wifi></connectionRecord></connectionList>");
  }

  void postClient(const std::string& client, const std::string& version, Time at = kNoon) {
    post("<clientList><client><clientId>" + client + "</clientId><productVersion>" + version +
             "</productVersion></client></clientList>",
         at);
  }

  std::vector<collector::FactRow> facts(const collector::FactFilter& filter = {},
                                        collector::FactPosition before = {Time::max()}, std::int64_t limit = 10000) {
    return storage_->facts(filter, before, limit);
  }

  collector::Storage& storage() { return *storage_; }

 private:
  std::unique_ptr<Engine> engine_ = makeEngine();
  std::unique_ptr<collector::Storage> storage_;
};
