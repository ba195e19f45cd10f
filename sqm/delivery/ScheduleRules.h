#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Clock.h"

namespace sqm::delivery {

/// When uploads start. Times below zero count as zero.
struct ScheduleOptions {
  /// From the start of the schedule to its first upload, at least.
  std::chrono::seconds firstUpload{0};
  /// From the end of an upload to the start of the next.
  std::chrono::seconds period = std::chrono::minutes(30);
  /// The same when an upload is asked for meanwhile; at least a second.
  std::chrono::seconds smallestPause = std::chrono::seconds(10);
  /// After a failure the pause is a random part of a window, which begins with this, doubles with each further failure
  /// and ends at `longestBackOff`.
  std::chrono::seconds firstBackOff = std::chrono::seconds(30);
  std::chrono::seconds longestBackOff = std::chrono::hours(6);
  /// The longest pause that a server can ask for.
  std::chrono::seconds longestRetryAfter = std::chrono::hours(24);
};

/// A moment that was `within` away when it was chosen. When the clock is set back, it is moved to be at most that far
/// away.
struct Deadline {
  Date at{};
  Date::duration within{0};

  friend bool operator==(const Deadline&, const Deadline&) = default;
};

struct ScheduleState {
  bool isUploading = false;
  bool isAsked = false;          ///< another upload was asked for while one runs
  std::uint32_t failures = 0;    ///< uploads that failed since the last success
  std::optional<Deadline> next;  ///< the start of the next upload; nothing before the schedule is started
  Deadline earliest;             ///< no upload starts before, whoever asks for it

  friend bool operator==(const ScheduleState&, const ScheduleState&) = default;
};

struct ScheduleEvent {
  enum class Kind : std::uint8_t { started, timer, uploadNow, uploadLast, networkChanged, ended };

  Kind kind = Kind::timer;
  bool hasFailed = false;              ///< of `ended`
  std::chrono::seconds retryAfter{0};  ///< of `ended`: the longest pause that a server has asked for
};

struct ScheduleDecision {
  ScheduleState state;
  bool startsUpload = false;
  std::optional<Date::duration> wait = {};  ///< until the next event `timer`; nothing while an upload runs
};

/// What to do after an event. `random` is in [0, 1).
///
/// The back-off is exponential with full jitter: of clients that fail together, no two are sent back to the server at
/// the same time.
ScheduleDecision decide(ScheduleState state, const ScheduleEvent& event, Date now, double random,
                        const ScheduleOptions& options);

/// The part of a state that outlasts the process, as the text of a file.
std::string savedScheduleOf(const ScheduleState& state);

/// The state of such a text. Any other text yields a new schedule.
ScheduleState scheduleStateOf(std::string_view text);

}  // namespace sqm::delivery
