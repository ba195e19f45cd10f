#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "sqm/platform/http/HttpExchange.h"

#include "tools/fleet/sim/Transactions.h"

namespace fleet {

/// What became of the posts of all clients.
///
/// Threading: any thread.
class Posts {
 public:
  using Clock = std::chrono::steady_clock;

  /// With a file, it gets each body that was answered, in a line with the status and the address. Throws
  /// std::runtime_error when it cannot be written.
  explicit Posts(const std::string& answeredFile);

  void count(const sqm::platform::HttpExchange& exchange);
  void keep(const Answer& answer);

  std::uint64_t answered() const { return answered_; }

  /// Counts clients that begin an upload, or, with -1, have delivered it.
  void addUploading(int change) { uploading_ += change; }

  /// When the last post was answered, or else when this object was made.
  Clock::time_point lastAnswer() const;

  nlohmann::ordered_json json() const;

  /// The same and the number of clients that are uploading, those in a pause before they try again included.
  nlohmann::ordered_json progressJson() const;

 private:
  mutable std::mutex mutex_;
  std::ofstream file_;
  std::map<int, std::uint64_t> statuses_;
  std::map<std::string, std::uint64_t> failures_;  // by their reasons
  Clock::time_point lastAnswer_ = Clock::now();
  Clock::duration longestGap_{0};  // between two answers
  std::atomic<std::uint64_t> answered_ = 0;
  std::atomic<std::int64_t> uploading_ = 0;
};

}  // namespace fleet
