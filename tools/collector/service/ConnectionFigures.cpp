#include "tools/collector/service/ConnectionFigures.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "tools/collector/service/Measures.h"
#include "tools/collector/service/ServiceQuery.h"

namespace collector {

namespace {

using Fact = ConnectionFact;
using std::chrono::milliseconds;

constexpr std::int64_t kLeastOfNetwork = 20;  // attempts: with fewer, a network is not compared
constexpr std::int64_t kLeastClients = 3;     // of a network that is compared
constexpr std::size_t kMostNetworks = 10;
constexpr std::size_t kMostReasons = 8;
constexpr std::size_t kMostTechnologies = 20;
constexpr std::int64_t kSmallSample = 100;  // below, the Apdex is marked as that of a small sample
constexpr std::int32_t kSignalStep = 5;     // dB

/// The share of a pair's attempts that succeeded. There are attempts.
double successOf(const Tally& pair) {
  return static_cast<double>(pair.connected) / static_cast<double>(pair.attempts());
}

/// The success on a medium, or on all of them. Its mean is that of the pairs of a client and a network, each of which
/// counts once, so that a client that tries again and again does not rule it.
class Success {
 public:
  void take(const Tally& pair, const std::string& client) {
    total_.add(client, pair);
    if (pair.attempts() == 0 || client.empty()) return;
    sum_ += successOf(pair);
    ++pairs_;
  }

  Json json() const {
    Json json = total_.json();
    json["pairs"] = pairs_;
    json["mean"] = shareJson(sum_, pairs_);
    return json;
  }

 private:
  ClientTally total_;
  double sum_ = 0;  // of the pairs' shares
  std::int64_t pairs_ = 0;
};

struct Network {
  Fact::Medium medium;
  std::string_view name;
  std::int64_t clients = 0;
  std::int64_t attempts = 0;
  double shares = 0;  // of the clients' successes: their sum
};

/// The five-dB range that a strength belongs to, by its lower end.
std::int32_t signalStepOf(std::int32_t dBm) { return (dBm - (kSignalStep - 1)) / kSignalStep * kSignalStep; }

/// What a session's stop says, else what its start says.
template <typename Value>
Value laterOf(const Session& session, Value Fact::*member) {
  if (session.stop && session.stop->*member != Value()) return session.stop->*member;
  return session.start ? session.start->*member : Value();
}

/// What a session's start says, else what its stop says.
template <typename Value>
Value earlierOf(const Session& session, Value Fact::*member) {
  if (session.start && session.start->*member != Value()) return session.start->*member;
  return session.stop ? session.stop->*member : Value();
}

}  // namespace

ConnectionFigures::ConnectionFigures(const TimeSteps& steps, milliseconds target)
    : steps_(steps), target_(target), overTime_(steps.count()), connecting_(steps.count()), reasons_(steps.count()) {}

void ConnectionFigures::take(const Session& session) {
  const Fact& first = session.first();
  const std::size_t step = steps_.of(first.time);
  const Tally tally = tallyOf(session);
  overTime_[step] += tally;
  pairs_[{first.medium, first.network, first.client}] += tally;
  if (tally.failed > 0) reasons_.add(laterOf(session, &Fact::reason), step);
  if (const auto duration = earlierOf(session, &Fact::connecting); duration && tally.connected > 0) {
    connecting_[step].push_back(*duration);
  }
  if (const auto dBm = earlierOf(session, &Fact::signal)) signals_[signalStepOf(*dBm)].add(first.client, tally);
  if (auto technology = earlierOf(session, &Fact::technology); !technology.empty()) {
    technologies_[std::move(technology)].add(first.client, tally);
  }
  if (const auto isAbroad = earlierOf(session, &Fact::isRoaming)) roaming_[*isAbroad].add(first.client, tally);
}

Json ConnectionFigures::json() const {
  Json signal = Json::array();
  for (const auto& [from, tally] : signals_) {
    signal.push_back(tally.json());
    signal.back().update({{"from", from}, {"to", from + kSignalStep}});
  }
  std::vector<std::pair<std::string, ClientTally>> kinds(technologies_.begin(), technologies_.end());
  std::ranges::stable_sort(kinds, std::ranges::greater(),
                           [](const auto& kind) { return kind.second.total().attempts(); });
  kinds.resize(std::min(kinds.size(), kMostTechnologies));
  Json technologies = Json::array();
  for (const auto& [name, tally] : kinds) {
    technologies.push_back(tally.json());
    technologies.back()["technology"] = name;
  }
  Json roaming = Json::array();
  for (const auto& [isAbroad, tally] : roaming_) {
    roaming.push_back(tally.json());
    roaming.back()["isAbroad"] = isAbroad;
  }
  return {
      {"success", successJson()},        {"connecting", connectingJson()}, {"reasons", reasons_.json(kMostReasons)},
      {"networks", worstNetworksJson()}, {"signal", std::move(signal)},    {"technologies", std::move(technologies)},
      {"roaming", std::move(roaming)}};
}

Json ConnectionFigures::successJson() const {
  Success all;
  std::map<Fact::Medium, Success> media;
  for (const auto& [pair, tally] : pairs_) {
    all.take(tally, pair.client);
    media[pair.medium].take(tally, pair.client);
  }
  Json json = all.json();
  json["media"] = Json::array();
  for (const auto& [medium, success] : media) {
    json["media"].push_back(success.json());
    json["media"].back()["medium"] = nameOf(medium);
  }
  json["overTime"] = Json::array();
  for (const Tally& tally : overTime_) json["overTime"].push_back(jsonOf(tally));
  return json;
}

Json ConnectionFigures::connectingJson() const {
  std::vector<milliseconds> all;
  Json overTime = Json::array();
  for (const auto& durations : connecting_) {
    all.insert(all.end(), durations.begin(), durations.end());
    overTime.push_back(percentilesJson(durations));
  }
  std::int64_t failed = 0;
  for (const Tally& tally : overTime_) failed += tally.failed;
  const Apdex apdex = apdexOf(all, failed, target_);
  const auto value = apdex.value();
  Json json = percentilesJson(all);
  json["apdex"] = {{"value", value ? Json(*value) : Json(nullptr)},
                   {"target", secondsJson(target_)},
                   {"satisfied", apdex.satisfied},
                   {"tolerating", apdex.tolerating},
                   {"frustrated", apdex.frustrated},
                   {"isSmall", apdex.samples() < kSmallSample}};
  json["overTime"] = std::move(overTime);
  return json;
}

Json ConnectionFigures::worstNetworksJson() const {
  std::vector<Network> networks;
  for (const auto& [pair, tally] : pairs_) {  // in order: the pairs of a network are neighbours
    if (pair.network.empty() || pair.client.empty() || tally.attempts() == 0) continue;
    if (networks.empty() || networks.back().medium != pair.medium || networks.back().name != pair.network) {
      networks.push_back({.medium = pair.medium, .name = pair.network});
    }
    ++networks.back().clients;
    networks.back().attempts += tally.attempts();
    networks.back().shares += successOf(tally);
  }
  const auto tooFew = std::erase_if(networks, [](const Network& network) {
    return network.attempts < kLeastOfNetwork || network.clients < kLeastClients;
  });
  // By the upper end of the interval: a network is among the worst when its success is surely low.
  const auto best = [](const Network& network) { return shareOf(network.shares, network.clients)->high; };
  std::ranges::stable_sort(networks, {}, best);
  Json rows = Json::array();
  for (std::size_t at = 0; at < std::min(networks.size(), kMostNetworks); ++at) {
    const Network& network = networks[at];
    rows.push_back({{"network", network.name},
                    {"medium", nameOf(network.medium)},
                    {"clients", network.clients},
                    {"attempts", network.attempts},
                    {"success", shareJson(network.shares, network.clients)}});
  }
  return {{"worst", std::move(rows)},
          {"compared", networks.size()},
          {"tooFew", tooFew},
          {"leastAttempts", kLeastOfNetwork},
          {"leastClients", kLeastClients}};
}

}  // namespace collector
