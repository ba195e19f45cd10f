#include "tools/fleet/sim/Truth.h"

#include <cmath>
#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

#include "sqm/records/SQMApplicationRecHelper.h"
#include "sqm/store/RecordTypes.h"

namespace fleet {

namespace {

using Json = nlohmann::ordered_json;
using Kind = Event::Kind;

constexpr int kStep = 5;  // dB

std::string_view nameOf(Medium medium) {
  switch (medium) {
    case Medium::wiFi:
      return "wifi";
    case Medium::mobile:
      return "mobile";
    case Medium::ethernet:
      break;
  }
  return "ethernet";
}

/// The percentiles by the nearest rank, in seconds; null when there are none. `tenths` has how often each duration was
/// counted.
Json percentiles(const std::map<std::int64_t, std::uint64_t>& tenths) {
  std::uint64_t count = 0;
  for (const auto& [value, times] : tenths) count += times;
  const auto percentile = [&](std::uint64_t percent) -> Json {
    std::uint64_t upTo = 0;
    for (const auto& [value, times] : tenths) {
      upTo += times;
      if (100 * upTo >= count * percent) return static_cast<double>(value) / 10;
    }
    return nullptr;
  };
  return {{"count", count}, {"p50", percentile(50)}, {"p95", percentile(95)}, {"p99", percentile(99)}};
}

/// A rate of successes: over all attempts, and as the mean of the rates of each client at each network, in which no
/// client counts for more than another.
class Success {
 public:
  void add(std::uint64_t attempts, std::uint64_t succeeded) {
    attempts_ += attempts;
    succeeded_ += succeeded;
    rates_ += static_cast<double>(succeeded) / static_cast<double>(attempts);
    ++pairs_;
  }

  Json json() const {
    Json json = {{"attempts", attempts_}, {"succeeded", succeeded_}, {"pairs", pairs_}};
    if (pairs_ > 0) {
      json["rate"] = static_cast<double>(succeeded_) / static_cast<double>(attempts_);
      json["ratePerClientAndNetwork"] = rates_ / static_cast<double>(pairs_);
    }
    return json;
  }

 private:
  std::uint64_t attempts_ = 0;
  std::uint64_t succeeded_ = 0;
  std::uint64_t pairs_ = 0;
  double rates_ = 0;  // their sum
};

}  // namespace

void Truth::add(std::uint32_t client, const Day& day, const Event& event) {
  const std::lock_guard lock(mutex_);
  ++events_[event.kind];
  switch (event.kind) {
    case Kind::connect:
      return addStart(client, day.connections[event.connection]);
    case Kind::disconnect:
      return addStop(day.connections[event.connection]);
    case Kind::vpnStart:
      if (day.connections[event.connection].vpn->isSuccess()) ++vpnSuccesses_;
      return;
    case Kind::vpnStop:
      return addVpnStop(*day.connections[event.connection].vpn);
    default:
      return;
  }
}

void Truth::addVpnStop(const Vpn& vpn) {
  const auto& codes = *sqm::SQMApplicationRecHelper::sharedSQMApplicationRecHelper();
  ++vpnEnds_[codes.vpnDisconnectReasonCode(vpn.endReason)];
  ++vpnLengths_[10 * (vpn.end - vpn.begin).count()];
}

void Truth::addStart(std::uint32_t client, const Connection& connection) {
  const Network& network = world_.network(connection.network);
  Attempts& pair = pairs_[{client, connection.network}];
  ++pair.attempts;
  if (network.medium == Medium::mobile) ++technologies_[connection.technology];
  if (network.place == Place::foreignCarrier) ++roaming_;
  if (!connection.isConnected()) {
    ++failures_[connection.reason];
    return;
  }
  ++pair.succeeded;
  // Records have no field for the time that a wired connection takes.
  if (network.medium != Medium::ethernet) ++connectTimes_[network.medium][connection.connectTenths];
}

void Truth::addStop(const Connection& connection) {
  if (!connection.isConnected()) return;
  ++ends_[connection.reason];
  const Medium medium = world_.network(connection.network).medium;
  if (medium == Medium::ethernet) return;
  const int step = kStep * static_cast<int>(std::floor(connection.signal / double{kStep}));
  Drops& drops = drops_[{medium, step}];
  ++drops.connections;
  if (connection.outcome == Connection::Outcome::dropped) ++drops.dropped;
}

Json Truth::json() const {
  const std::lock_guard lock(mutex_);
  const auto count = [this](Kind kind) { return events_.contains(kind) ? events_.at(kind) : 0; };
  return {{"records", recordsJson()},
          {"connections", connectionsJson()},
          {"vpn",
           {{"starts", count(Kind::vpnStart)},
            {"succeeded", vpnSuccesses_},
            {"stops", count(Kind::vpnStop)},
            {"withoutStop", vpnSuccesses_ - count(Kind::vpnStop)},
            {"ends", vpnEnds_},
            {"seconds", percentiles(vpnLengths_)}}}};
}

/// The numbers of records, by the names of their types.
Json Truth::recordsJson() const {
  const auto count = [this](Kind kind) { return events_.contains(kind) ? events_.at(kind) : 0; };
  using sqm::RecordType;
  const std::pair<RecordType, std::uint64_t> counts[] = {
      {RecordType::client, count(Kind::clientStart)},
      {RecordType::connection, count(Kind::connect) + count(Kind::disconnect)},
      {RecordType::device, count(Kind::device)},
      {RecordType::application, count(Kind::vpnStart) + count(Kind::vpnStop)},
      {RecordType::userAcceptance, count(Kind::prompt)}};
  Json json;
  for (const auto& [type, number] : counts) json[sqm::rowOf(type).name] = number;
  return json;
}

Json Truth::connectionsJson() const {
  Success all;
  std::map<Medium, Success> byMedium;
  std::map<std::size_t, Success> byNetwork;
  for (const auto& [pair, counts] : pairs_) {
    for (Success* success : {&all, &byMedium[world_.network(pair.second).medium], &byNetwork[pair.second]}) {
      success->add(counts.attempts, counts.succeeded);
    }
  }
  Json json = all.json();
  for (const auto& [medium, success] : byMedium) {
    Json& one = json["byMedium"][nameOf(medium)] = success.json();
    const auto times = connectTimes_.find(medium);
    if (times != connectTimes_.end()) one["secondsToConnect"] = percentiles(times->second);
  }
  for (const auto& [network, success] : byNetwork) {
    Json one = {{"network", world_.network(network).name}, {"medium", nameOf(world_.network(network).medium)}};
    one.update(success.json());
    json["byNetwork"].push_back(std::move(one));
  }
  Tenths times;
  for (const auto& [medium, some] : connectTimes_) {
    for (const auto& [value, count] : some) times[value] += count;
  }
  json["secondsToConnect"] = percentiles(times);
  json["failures"] = failures_;
  json["ends"] = ends_;
  for (const auto& [step, drops] : drops_) {
    json["dropsBySignal"].push_back({{"medium", nameOf(step.first)},
                                     {"from", step.second},
                                     {"to", step.second + kStep},
                                     {"connections", drops.connections},
                                     {"dropped", drops.dropped}});
  }
  json["technologies"] = technologies_;
  json["roaming"] = roaming_;
  return json;
}

}  // namespace fleet
