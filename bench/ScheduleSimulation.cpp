// The load of a server that a million clients upload to, before and after an outage of an hour: with the upload
// schedule, whose rules are called as in the library, and with a fixed pause after a failure.
//
//     simulate_schedule [--period SECONDS] [--first-back-off SECONDS] [--clients COUNT] [--svg FILE]

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/delivery/ScheduleRules.h"

namespace {

using namespace std::chrono_literals;
using sqm::Date;
using sqm::delivery::ScheduleEvent;
using sqm::delivery::ScheduleState;
using std::chrono::seconds;

constexpr seconds kOutageBegin = 1h;
constexpr seconds kOutageEnd = 2h;
constexpr seconds kEnd = 6h;
constexpr seconds kSlot = 10s;  // of the load that is printed and drawn
constexpr std::uint32_t kNone = UINT32_MAX;

bool isOut(Date now) { return now >= Date(kOutageBegin) && now < Date(kOutageEnd); }

struct Options {
  std::uint32_t clients = 1'000'000;
  sqm::delivery::ScheduleOptions schedule;
  std::string svg;
};

using Random = std::mt19937_64;

double randomPart(Random& random) { return std::uniform_real_distribution<double>()(random); }

/// Clients with the schedule of the library.
class Scheduled {
 public:
  explicit Scheduled(const Options& options) : options_(options.schedule), states_(options.clients) {}

  /// A client of the time before the simulation: its next upload is somewhere in the period.
  Date first(std::uint32_t client, Random& random) {
    const Date at = Date(seconds(0)) + part(options_.period, random);
    states_[client].next = sqm::delivery::Deadline{at, options_.period};
    return at;
  }

  /// An upload that starts and ends now. Returns the start of the next.
  Date next(std::uint32_t client, Date now, bool hasFailed, Random& random) {
    ScheduleState& state = states_[client];
    const auto started = decide(state, ScheduleEvent{}, now, randomPart(random), options_);
    if (!started.startsUpload) std::abort();
    const ScheduleEvent ended = {.kind = ScheduleEvent::Kind::ended, .hasFailed = hasFailed};
    const auto decision = decide(started.state, ended, now, randomPart(random), options_);
    state = decision.state;
    return now + decision.wait.value();
  }

  static Date::duration part(Date::duration whole, Random& random) {
    return std::chrono::duration_cast<Date::duration>(whole * randomPart(random));
  }

 private:
  sqm::delivery::ScheduleOptions options_;
  std::vector<ScheduleState> states_;
};

/// Clients that wait a minute after a failure.
class FixedPause {
 public:
  explicit FixedPause(const Options& options) : period_(options.schedule.period) {}

  Date first(std::uint32_t, Random& random) const { return Date(seconds(0)) + Scheduled::part(period_, random); }
  Date next(std::uint32_t, Date now, bool hasFailed, Random&) const { return now + (hasFailed ? 1min : period_); }

 private:
  seconds period_;
};

/// Requests in each slot.
using Load = std::vector<double>;

/// Lets the clients upload. Their next uploads wait in a list for each second.
template <typename Clients>
Load loadOf(Clients clients, std::uint32_t count) {
  Random random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same figures in every run
  std::vector<std::uint32_t> firstOf(static_cast<std::size_t>(kEnd.count()), kNone);
  std::vector<std::uint32_t> nextOf(count, kNone);
  std::vector<Date> due(count);
  const auto wait = [&](std::uint32_t client, Date until) {
    due[client] = until;
    if (until >= Date(kEnd)) return;
    const auto second = static_cast<std::size_t>(until.time_since_epoch() / 1s);
    nextOf[client] = firstOf[second];
    firstOf[second] = client;
  };
  for (std::uint32_t client = 0; client < count; ++client) wait(client, clients.first(client, random));

  Load load(static_cast<std::size_t>(kEnd / kSlot));
  for (std::size_t second = 0; second < firstOf.size(); ++second) {
    while (firstOf[second] != kNone) {
      const std::uint32_t client = firstOf[second];
      firstOf[second] = nextOf[client];
      load[second / static_cast<std::size_t>(kSlot.count())] += 1;
      wait(client, clients.next(client, due[client], isOut(due[client]), random));
    }
  }
  return load;
}

/// In multiples of the load without an outage.
Load relative(Load load, const Options& options) {
  const double steady =
      options.clients * static_cast<double>(kSlot.count()) / static_cast<double>(options.schedule.period.count());
  for (double& each : load) each /= steady;
  return load;
}

double peak(const Load& load, seconds from, seconds to) {
  return *std::max_element(load.begin() + from / kSlot, load.begin() + to / kSlot);
}

void print(const Load& scheduled, const Load& fixed) {
  std::printf("%-13s %22s %22s\n", "time", "with the schedule", "with a fixed pause");
  constexpr seconds kRow = 15min;
  for (seconds from{0}; from < kEnd; from += kRow) {
    std::printf("%2ld:%02ld - %2ld:%02ld %21.2fx %21.2fx%s\n", from / 1h, from % 1h / 1min, (from + kRow) / 1h,
                (from + kRow) % 1h / 1min, peak(scheduled, from, from + kRow), peak(fixed, from, from + kRow),
                isOut(Date(from)) ? "  in vain: the server is out" : "");
  }
  std::printf("peak after the outage: %.2f times the steady load with the schedule, %.2f times with a fixed pause\n",
              peak(scheduled, kOutageEnd, kEnd), peak(fixed, kOutageEnd, kEnd));
}

// --- The drawing --------------------------------------------------------------------------------------------------

constexpr double kLeft = 60;
constexpr double kTop = 40;
constexpr double kWidth = 700;
constexpr double kHeight = 280;

double x(double hour) { return kLeft + kWidth * hour / 6; }

/// On a logarithmic scale from a tenth of the steady load to a hundred times it.
double y(double load) { return kTop + kHeight * (2 - std::log10(std::clamp(load, 0.1, 100.0))) / 3; }

void draw(std::FILE* file, const Load& load, const char* colour) {
  const auto line = [&](seconds from, seconds to, const char* style) {
    std::fprintf(file, "<polyline fill='none' stroke='%s' stroke-width='1.5' %s points='", colour, style);
    constexpr seconds kPoint = 60s;
    for (seconds at = from; at < to; at += kPoint) {
      std::fprintf(file, "%.1f,%.1f ", x(static_cast<double>(at.count()) / 3600), y(peak(load, at, at + kPoint)));
    }
    std::fprintf(file, "'/>\n");
  };
  line(0h, kOutageBegin, "");
  line(kOutageBegin, kOutageEnd, "stroke-opacity='0.4' stroke-dasharray='3 3'");
  line(kOutageEnd, kEnd, "");
}

bool writeSvg(const std::string& path, const Load& scheduled, const Load& fixed) {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return false;
  std::fprintf(file,
               "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 800 380' font-family='sans-serif' "
               "font-size='12'>\n<rect width='800' height='380' fill='white'/>\n"
               "<rect x='%.0f' y='%.0f' width='%.0f' height='%.0f' fill='#eee'/>\n"
               "<text x='%.0f' y='%.0f' text-anchor='middle'>the server is out</text>\n",
               x(1), kTop, x(2) - x(1), kHeight, x(1.5), kTop + kHeight - 10);
  for (const double load : {0.1, 1.0, 10.0, 100.0}) {
    std::fprintf(file,
                 "<line x1='%.0f' x2='%.0f' y1='%.1f' y2='%.1f' stroke='#ccc'/>"
                 "<text x='%.0f' y='%.1f' text-anchor='end'>%g\u00d7</text>\n",
                 kLeft, kLeft + kWidth, y(load), y(load), kLeft - 6, y(load) + 4, load);
  }
  for (int hour = 0; hour <= 6; ++hour) {
    std::fprintf(file, "<text x='%.0f' y='%.0f' text-anchor='middle'>%d h</text>\n", x(hour), kTop + kHeight + 18,
                 hour);
  }
  draw(file, fixed, "#c33");
  draw(file, scheduled, "#26a");
  std::fprintf(file,
               "<text x='%.0f' y='24'>Requests, in multiples of the steady load (dashed: in vain). "
               "<tspan fill='#c33'>A fixed pause of a minute</tspan>, "
               "<tspan fill='#26a'>the schedule</tspan>.</text>\n</svg>\n",
               kLeft);
  return std::fclose(file) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int at = 1; at + 1 < argc; at += 2) {
    const std::string_view name = argv[at];
    if (name == "--period") options.schedule.period = seconds(std::max(1, std::atoi(argv[at + 1])));
    if (name == "--first-back-off") options.schedule.firstBackOff = seconds(std::max(1, std::atoi(argv[at + 1])));
    if (name == "--clients") options.clients = static_cast<std::uint32_t>(std::max(1, std::atoi(argv[at + 1])));
    if (name == "--svg") options.svg = argv[at + 1];
  }
  std::printf("%u clients, a period of %ld s, an outage from 1:00 to 2:00; the peak of each time\n", options.clients,
              static_cast<long>(options.schedule.period.count()));
  const Load scheduled = relative(loadOf(Scheduled(options), options.clients), options);
  const Load fixed = relative(loadOf(FixedPause(options), options.clients), options);
  print(scheduled, fixed);
  if (options.svg.empty() || writeSvg(options.svg, scheduled, fixed)) return 0;
  std::fprintf(stderr, "cannot write %s\n", options.svg.c_str());
  return 1;
}
