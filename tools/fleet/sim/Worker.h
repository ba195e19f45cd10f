#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <queue>
#include <utility>
#include <vector>

#include "sqm/delivery/ScheduleRules.h"
#include "sqm/platform/StandardHost.h"

#include "tools/fleet/sim/Client.h"
#include "tools/fleet/sim/Options.h"
#include "tools/fleet/sim/Posts.h"
#include "tools/fleet/sim/Services.h"
#include "tools/fleet/sim/Truth.h"

namespace fleet {

enum class Stop : std::uint8_t {
  no,
  soon,  ///< nothing more happens to the clients; they upload what they have
  now,
};

/// Simulates some of the clients on one thread: plays their events in the order of their times, and starts again the
/// uploads that fail.
///
/// Ownership: everything is borrowed.
/// Threading: made, used and destroyed on its thread.
class Worker {
 public:
  /// The clients are `first`, `first + options.threads` and so on.
  Worker(const Options& options, std::uint32_t first, const World& world,
         std::shared_ptr<const sqm::FieldNameTable> names, Truth& truth, Posts& posts, const std::atomic<Stop>& stop);

  /// Returns when everything has been uploaded, or when it is to stop now.
  void run();

  /// The records that were not delivered.
  std::size_t waiting() const;

 private:
  /// What the standard host has in place of its own services.
  struct Services {
    NoLogs logs;
    NoConsole console;
    NoPreferences preferences;
    OneLocale locale;
    OneSystem system;
    OneBundle bundle;
  };
  using Steady = std::chrono::steady_clock;
  using Due = std::pair<Time, std::uint32_t>;  // an event, and the index of its client

  sqm::platform::StandardHost::Options hostOptions();
  std::size_t slots() const;
  void playAll(Stop endsAt);
  void playNext();
  void addUploads();
  void push(std::uint32_t client);
  void uploadEnded(std::uint32_t client, bool isDelivered);
  std::chrono::milliseconds timeToNext() const;

  const Options& options_;
  Posts& posts_;
  const std::atomic<Stop>& stop_;
  Services services_;
  sqm::platform::StandardHost host_;
  const Surroundings surroundings_;
  std::deque<Client> clients_;
  std::priority_queue<Due, std::vector<Due>, std::greater<>> due_;
  std::map<std::uint32_t, sqm::delivery::ScheduleState> uploading_;  // also in a pause after a failure
  Time now_{};                                                       // of the event that was played last
  const Steady::time_point start_ = Steady::now();
};

}  // namespace fleet
