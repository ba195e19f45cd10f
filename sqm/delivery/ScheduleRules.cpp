#include "sqm/delivery/ScheduleRules.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace sqm::delivery {

namespace {

using std::chrono::seconds;

constexpr Date::duration kSmallestPause = seconds(1);
constexpr std::uint32_t kMostFailures = 1'000'000;

// The format of the file. Not to be changed: files of older versions are read.
constexpr std::string_view kFirstLine = "SQM upload schedule 1\n";
constexpr std::array<std::string_view, 5> kLabels = {
    "next: ", "next within: ", "earliest: ", "earliest within: ", "failures: "};
constexpr std::int64_t kLargest = 253'402'300'799;  // 9999-12-31 23:59:59 GMT

/// A time of the options, which may be any number of seconds.
Date::duration usable(seconds time) {
  constexpr seconds kLongest = std::chrono::years(10);
  return std::clamp(time, seconds(0), kLongest);
}

Deadline deadlineIn(Date::duration time, Date now) { return {now + time, time}; }

void limit(Deadline& deadline, Date now) { deadline.at = std::min(deadline.at, now + deadline.within); }

void shorten(Deadline& deadline, Date::duration within, Date now) {
  deadline.within = std::min(deadline.within, within);
  limit(deadline, now);
}

/// The window after that many failures.
Date::duration backOffWindow(std::uint32_t failures, const ScheduleOptions& options) {
  constexpr std::uint32_t kMostDoublings = 30;
  const Date::duration longest = usable(options.longestBackOff);
  Date::duration window = usable(options.firstBackOff);
  for (std::uint32_t doubling = 1; doubling < std::min(failures, kMostDoublings) && window < longest; ++doubling) {
    window *= 2;
  }
  return std::min(window, longest);
}

Date::duration part(double random, Date::duration of) {
  return Date::duration(std::llround(std::floor(random * static_cast<double>(of.count()))));
}

void start(ScheduleState& state, Date now, const ScheduleOptions& options) {
  // The options may have changed since the times were saved.
  const Date::duration asked = usable(options.longestRetryAfter);
  const Date::duration pause = state.failures == 0 ? usable(options.period) : asked + usable(options.longestBackOff);
  if (state.next) shorten(*state.next, pause, now);
  shorten(state.earliest, std::max(asked, usable(options.smallestPause)), now);
  const Deadline first = deadlineIn(usable(options.firstUpload), now);
  if (!state.next || state.next->at < first.at) state.next = first;
}

void finish(ScheduleState& state, const ScheduleEvent& event, Date now, double random, const ScheduleOptions& options) {
  const bool isAsked = std::exchange(state.isAsked, false);
  const Date::duration pause = std::max(usable(options.smallestPause), kSmallestPause);
  state.isUploading = false;
  if (!event.hasFailed) {
    const Date::duration period = usable(options.period);
    const bool isRecovery = std::exchange(state.failures, 0) > 0;
    state.earliest = deadlineIn(pause, now);
    state.next = isAsked ? state.earliest : deadlineIn(isRecovery ? period / 2 + part(random, period) : period, now);
    return;
  }
  state.failures = std::min(state.failures + 1, kMostFailures);
  const Date::duration asked = usable(std::min(event.retryAfter, options.longestRetryAfter));
  state.earliest = deadlineIn(std::max(asked, pause), now);
  state.next = deadlineIn(asked + part(random, backOffWindow(state.failures, options)), now);
}

std::int64_t wholeSeconds(Date::duration time) { return std::chrono::ceil<seconds>(time).count(); }

}  // namespace

ScheduleDecision decide(ScheduleState state, const ScheduleEvent& event, Date now, double random,
                        const ScheduleOptions& options) {
  using Kind = ScheduleEvent::Kind;
  if (state.next) limit(*state.next, now);
  limit(state.earliest, now);
  switch (event.kind) {
    case Kind::started:
      start(state, now, options);
      break;
    case Kind::timer:
      break;
    case Kind::uploadNow:
      if (state.isUploading) {
        state.isAsked = true;
      } else {
        state.next = Deadline{now};
      }
      break;
    case Kind::uploadLast:
      // After a success `earliest` is the smallest pause alone. After a failure it may be what a server has asked for.
      if (state.failures == 0) state.earliest = {};
      state.next = Deadline{now};
      break;
    case Kind::networkChanged:
      if (!state.isUploading && state.failures > 0 && state.next) {
        const Deadline soon = deadlineIn(part(random, backOffWindow(1, options)), now);
        if (soon.at < state.next->at) state.next = soon;
      }
      break;
    case Kind::ended:
      finish(state, event, now, random, options);
      break;
  }
  if (state.isUploading || !state.next) return {state};
  if (state.next->at < state.earliest.at) state.next = state.earliest;
  if (state.next->at > now) return {.state = state, .wait = state.next->at - now};
  state.isUploading = true;
  return {.state = state, .startsUpload = true};
}

std::string savedScheduleOf(const ScheduleState& state) {
  const Deadline next = state.next.value_or(Deadline{});
  const std::array<std::int64_t, kLabels.size()> values = {
      wholeSeconds(next.at.time_since_epoch()), wholeSeconds(next.within),
      wholeSeconds(state.earliest.at.time_since_epoch()), wholeSeconds(state.earliest.within), state.failures};
  std::string text(kFirstLine);
  for (std::size_t at = 0; at < values.size(); ++at) {
    text.append(kLabels[at]).append(std::to_string(values[at])).append("\n");
  }
  return text;
}

ScheduleState scheduleStateOf(std::string_view text) {
  if (!text.starts_with(kFirstLine)) return {};
  text.remove_prefix(kFirstLine.size());
  std::array<std::int64_t, kLabels.size()> values{};
  for (std::size_t at = 0; at < values.size(); ++at) {
    if (!text.starts_with(kLabels[at])) return {};
    text.remove_prefix(kLabels[at].size());
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), values[at]);
    if (error != std::errc() || values[at] < 0 || values[at] > kLargest) return {};
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (!text.starts_with('\n')) return {};
    text.remove_prefix(1);
  }
  if (!text.empty()) return {};
  ScheduleState state;
  state.next = Deadline{Date(seconds(values[0])), seconds(values[1])};
  state.earliest = Deadline{Date(seconds(values[2])), seconds(values[3])};
  state.failures = static_cast<std::uint32_t>(std::min<std::int64_t>(values[4], kMostFailures));
  return state;
}

}  // namespace sqm::delivery
