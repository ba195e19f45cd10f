#include "tools/fleet/sim/Model.h"

#include <algorithm>
#include <span>
#include <utility>

#include "tools/fleet/sim/Random.h"

namespace fleet {

namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using Outcome = Connection::Outcome;
using Kind = Event::Kind;

enum Sequence : std::uint64_t { ofProfiles = 11, ofDays = 12 };

// --- Tables -------------------------------------------------------------------------------------------------------

struct VersionRow {
  std::string_view version;
  double weight;
};
constexpr VersionRow kVersions[] = {{"4.70", 2}, {"4.71", 5}, {"4.80", 3}};

struct ZoneRow {
  minutes zone;
  double weight;
};
constexpr ZoneRow kZones[] = {{hours(-5), 2}, {hours(0), 3}, {hours(1), 4}, {minutes(330), 1}};

/// A stay at a place, in minutes of the local day.
struct Stay {
  Place place;
  int begin;
  int length;
  int spread;     ///< of the begin, and of the length, either way
  double chance;  ///< that it takes place
};
constexpr Stay kWorkday[] = {
    {Place::home, 7 * 60, 50, 20, 0.7},          {Place::homeCarrier, 8 * 60 + 25, 25, 10, 0.5},
    {Place::dock, 9 * 60 + 10, 170, 10, 0.5},    {Place::office, 9 * 60 + 10, 170, 10, 0.5},
    {Place::hotspot, 12 * 60 + 25, 30, 10, 0.3}, {Place::office, 13 * 60 + 20, 240, 20, 0.9},
    {Place::homeCarrier, 18 * 60, 25, 10, 0.3},  {Place::home, 19 * 60 + 30, 150, 45, 0.8},
};
constexpr Stay kDayAtHome[] = {
    {Place::home, 8 * 60 + 30, 180, 45, 0.9},
    {Place::home, 13 * 60 + 30, 240, 45, 0.9},
    {Place::home, 20 * 60, 120, 45, 0.7},
};
constexpr Stay kFreeDay[] = {
    {Place::home, 10 * 60, 90, 60, 0.5},
    {Place::hotspot, 15 * 60, 60, 60, 0.2},
    {Place::home, 20 * 60, 120, 60, 0.6},
};
constexpr Stay kTravel[] = {
    {Place::hotspot, 7 * 60, 60, 30, 0.8},
    {Place::foreignCarrier, 11 * 60, 90, 30, 0.9},
    {Place::foreignCarrier, 15 * 60, 60, 30, 0.7},
    {Place::hotspot, 19 * 60, 120, 45, 0.9},
};

struct ReasonRow {
  std::string_view reason;
  double weight;
};
constexpr ReasonRow kWiFiFailures[] = {
    {"wrong password", 4},        {"no address", 5},          {"access point not found", 3},
    {"login page not passed", 6}, {"association refused", 2}, {"certificate refused", 1},
};
constexpr ReasonRow kMobileFailures[] = {
    {"no coverage", 6}, {"registration refused", 3}, {"attach timed out", 4}, {"SIM not ready", 1}};
constexpr ReasonRow kWiredFailures[] = {{"no link", 4}, {"no address", 3}, {"port refused", 2}};
std::span<const ReasonRow> failuresOf(Medium medium) {
  if (medium == Medium::wiFi) return kWiFiFailures;
  return medium == Medium::mobile ? std::span<const ReasonRow>(kMobileFailures) : kWiredFailures;
}

constexpr ReasonRow kEnds[] = {{"user", 6}, {"sleep", 3}, {"policy", 1}};
constexpr std::string_view kWeakSignal = "signal too weak";
constexpr std::string_view kSignalLost = "signal lost";
constexpr std::string_view kOutage = "network outage";

struct TechnologyRow {
  std::string_view technology;
  double from;  ///< dBm
};
constexpr TechnologyRow kTechnologies[] = {{"5G", -85}, {"LTE", -105}, {"HSPA", -115}, {"GPRS", -1000}};

struct CodeRow {
  std::int32_t code;
  double weight;
};
constexpr CodeRow kVpnLaunches[] = {{1, 6}, {2, 2}, {0, 2}};
constexpr CodeRow kVpnFailures[] = {{2, 1}, {4, 4}, {5, 1}, {6, 3}, {7, 2}};
constexpr CodeRow kVpnEnds[] = {{1, 7}, {2, 2}};
constexpr std::int32_t kVpnEndOther = 0;

/// How much worse than at a good signal: 0 down to the limit of the medium, 1 from 25 dB below.
double weakness(Medium medium, double signal) {
  if (medium == Medium::ethernet) return 0;
  const double limit = medium == Medium::wiFi ? -65 : -95;
  return std::clamp((limit - signal) / 25, 0.0, 1.0);
}

// --- A day --------------------------------------------------------------------------------------------------------

class DayMaker {
 public:
  DayMaker(const World& world, std::uint32_t client, std::chrono::local_days day, const Period& period)
      : world_(world),
        profile_(profileOf(world, client)),
        random_{world.seed(), ofDays, client, static_cast<std::uint64_t>(day.time_since_epoch().count())},
        midnight_(Time(day.time_since_epoch()) - profile_.zone),
        day_(day),
        period_(period) {}

  Day make() {
    const bool isWeekend = std::chrono::weekday(day_).iso_encoding() > 5;
    if (isWeekend) {
      stays(kFreeDay);
    } else if (profile_.hasModem && random_.chance(0.05)) {
      stays(kTravel);
    } else if (random_.chance(0.25)) {
      stays(kDayAtHome);
    } else {
      stays(kWorkday);
    }
    addEvents();
    return std::move(made_);
  }

 private:
  template <std::size_t count>
  void stays(const Stay (&table)[count]) {
    Time free = midnight_;
    for (const Stay& row : table) {
      const bool isTaken = random_.chance(row.chance);
      const Time begin = midnight_ + minutes(row.begin) + seconds(random_.whole(-row.spread, row.spread) * 60);
      const Time end = begin + seconds(random_.whole(row.length - row.spread, row.length + row.spread) * 60);
      const bool isMobile = row.place == Place::homeCarrier || row.place == Place::foreignCarrier;
      if (!isTaken || (isMobile && !profile_.hasModem)) continue;
      stay(networkOf(row.place), std::max(begin + seconds(random_.whole(0, 59)), free), end);
      if (!made_.connections.empty()) free = made_.connections.back().end + seconds(30);
    }
  }

  std::size_t networkOf(Place place) {
    if (place == Place::home) return profile_.home;
    if (place == Place::office) return profile_.office;
    if (place == Place::dock) return profile_.dock;
    return place == Place::homeCarrier ? profile_.carrier : world_.networkAt(place, random_.next());
  }

  /// Connects, again after a failure or a drop, until the stay ends or the user gives up.
  void stay(std::size_t network, Time begin, Time end) {
    int failures = 0;
    const int patience = profile_.isLooping ? 200 : 3;
    for (Time now = begin; now < end && failures < patience;) {
      Connection connection = attempt(network, now, end);
      connection.isAutomatic = now != begin;
      now = connection.end + seconds(random_.whole(5, 90));
      const Outcome outcome = connection.outcome;
      made_.connections.push_back(connection);
      if (outcome == Outcome::ended) return;
      failures = outcome == Outcome::failed ? failures + 1 : 0;
    }
  }

  Connection attempt(std::size_t index, Time begin, Time stayEnd) {
    const Network& network = world_.network(index);
    Connection made{.begin = begin, .network = index};
    if (network.medium != Medium::ethernet) {
      made.signal = static_cast<int>(std::clamp(network.signal + 7 * random_.bell(), -125.0, -30.0));
    }
    if (network.medium == Medium::mobile) {
      made.technology = std::ranges::find_if(kTechnologies, [&](const TechnologyRow& row) {
                          return made.signal >= row.from;
                        })->technology;
    }
    const double weak = weakness(network.medium, made.signal);
    const auto outage = outageAround(index, begin);
    const bool isOut = outage && outage->holds(begin);
    const double success = isOut ? 0.04 : profile_.isLooping ? 0.02 : network.success * (1 - 0.4 * weak);
    if (!random_.chance(success)) {
      made.end = begin + seconds(random_.whole(3, 40));
      made.reason = isOut ? kOutage : failureAt(network.medium, weak);
      return made;
    }
    const double tail = random_.chance(0.04) ? random_.between(4, 12) : 1;
    made.connectTenths =
        std::max(1, static_cast<int>(10 * network.seconds * random_.between(0.6, 1.6) * (1 + weak) * tail));
    const Time earliest = begin + seconds(made.connectTenths / 10 + 30);
    made.end = std::max(earliest, stayEnd);
    made.outcome = Outcome::ended;
    made.reason = random_.pick(kEnds).reason;
    dropAt(made, begin + seconds(static_cast<int>(timeToDrop(weak))), kSignalLost, earliest);
    if (outage && outage->begin > begin) dropAt(made, outage->begin, kOutage, earliest);
    const std::int64_t length = (made.end - begin).count();
    made.bytesSent = length * random_.whole(200, 20'000);
    made.bytesReceived = length * random_.whole(2'000, 200'000);
    if (profile_.usesVpn && network.place != Place::office && network.place != Place::dock && random_.chance(0.8)) {
      addVpn(made);
    }
    return made;
  }

  std::string_view failureAt(Medium medium, double weak) {
    return random_.chance(weak) ? kWeakSignal : random_.pick(failuresOf(medium)).reason;
  }

  /// In seconds: a drop once in 100 hours at a good signal, once in half an hour at the weakest.
  double timeToDrop(double weak) {
    const double mean = 360'000 * (1 - weak) * (1 - weak) + 1'800;
    return mean * random_.between(0, 2);
  }

  static void dropAt(Connection& made, Time at, std::string_view reason, Time earliest) {
    if (at >= made.end) return;
    made.end = std::max(at, earliest);
    made.outcome = Outcome::dropped;
    made.reason = reason;
  }

  void addVpn(Connection& made) {
    Vpn vpn{.begin = made.begin + seconds(made.connectTenths / 10 + random_.whole(5, 25))};
    vpn.launchType = random_.pick(kVpnLaunches).code;
    vpn.status = random_.chance(0.94) ? 1 : random_.pick(kVpnFailures).code;
    vpn.setupTenths = static_cast<int>(random_.between(4, 40));
    const bool endsFirst = random_.chance(0.4);
    const auto length = (made.end - vpn.begin).count();
    vpn.end = endsFirst ? vpn.begin + seconds(random_.whole(1, length)) : made.end;
    vpn.endReason = !endsFirst && made.outcome == Outcome::dropped ? kVpnEndOther : random_.pick(kVpnEnds).code;
    vpn.hasStop = vpn.isSuccess() && !random_.chance(0.03);
    made.vpn = vpn;
  }

  std::optional<Period> outageAround(std::size_t network, Time time) const {
    const auto today = std::chrono::floor<days>(time);
    const auto before = world_.outageOn(network, today - days(1));
    return before && before->holds(time) ? before : world_.outageOn(network, today);
  }

  void addEvents() {
    auto& connections = made_.connections;
    std::erase_if(connections,
                  [&](const Connection& each) { return !period_.holds(each.begin) || each.end >= period_.end; });
    if (connections.empty()) return;
    const Time start = connections.front().begin - seconds(60);
    add(start, Kind::clientStart);
    if (profile_.hasModem && random_.chance(0.3)) add(start + seconds(2), Kind::device);
    Time lastUpload = start - hours(4);
    bool hasAnswered = false;
    for (std::size_t index = 0; index < connections.size(); ++index) {
      const Connection& connection = connections[index];
      if (world_.network(connection.network).place == Place::foreignCarrier && !std::exchange(hasAnswered, true)) {
        add(connection.begin - seconds(4), Kind::prompt, index);
      }
      add(connection.begin, Kind::connect, index);
      if (connection.vpn) add(connection.vpn->begin, Kind::vpnStart, index);
      if (connection.vpn && connection.vpn->hasStop) add(connection.vpn->end, Kind::vpnStop, index);
      const Time upload = connection.begin + seconds(random_.whole(30, 300));
      if (connection.isConnected() && upload < connection.end && upload - lastUpload >= hours(4)) {
        add(upload, Kind::upload, index);
        lastUpload = upload;
      }
      add(connection.end, Kind::disconnect, index);
    }
    add(connections.back().end + seconds(60), Kind::sleep);
    std::ranges::stable_sort(made_.events, {}, &Event::at);
  }

  void add(Time at, Kind kind, std::size_t connection = 0) { made_.events.push_back({at, kind, connection}); }

  const World& world_;
  const Profile profile_;
  Random random_;
  const Time midnight_;
  const std::chrono::local_days day_;
  const Period period_;
  Day made_;
};

}  // namespace

Profile profileOf(const World& world, std::uint32_t client) {
  Random random{world.seed(), ofProfiles, client};
  Profile profile;
  profile.zone = random.pick(kZones).zone;
  profile.version = random.pick(kVersions).version;
  profile.home = world.networkAt(Place::home, random.next());
  profile.office = world.networkAt(Place::office, random.next());
  profile.dock = world.networkAt(Place::dock, random.next());
  profile.carrier = world.networkAt(Place::homeCarrier, random.next());
  profile.hasModem = random.chance(0.4);
  profile.usesVpn = random.chance(0.6);
  profile.isLooping = random.chance(0.002);
  return profile;
}

Day dayOf(const World& world, std::uint32_t client, std::chrono::local_days day, const Period& period) {
  return DayMaker(world, client, day, period).make();
}

}  // namespace fleet
