#include "tools/collector/service/ServiceReport.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "sqm/common/internal/TimeStamp.h"

namespace collector {

namespace {

using namespace std::chrono_literals;
using Fact = ConnectionFact;

constexpr std::size_t kMostChoices = 100;
constexpr std::chrono::minutes kAges[] = {1min, 10min, 60min, 6h, 24h, 7 * 24h};

}  // namespace

ServiceReport::ServiceReport(const ServiceQuery& query)
    : query_(query),
      steps_(query.from, query.to),
      connections_(steps_, query.target),
      vpn_(steps_),
      sessions_([this](const Session& session) {
        session.first().medium == Fact::Medium::vpn ? vpn_.take(session) : connections_.take(session);
      }) {}

void ServiceReport::take(const Fact& fact) {
  ++selected_;
  oldest_ = fact.time;
  if (fact.medium != Fact::Medium::vpn && !fact.network.empty()) ++networks_[fact.network];
  if (!fact.version.empty()) ++versions_[fact.version];
  if (fact.age) ages_.push_back(*fact.age);
  sessions_.add(fact);
}

Json ServiceReport::finish() {
  sessions_.finish();
  Json json = {{"from", sqm::isoTimeStamp(query_.from)},
               {"to", sqm::isoTimeStamp(query_.to)},
               {"oldest", oldest_ ? Json(sqm::isoTimeStamp(*oldest_)) : Json(nullptr)},
               {"selected", selected_},
               {"step", secondsJson(steps_.step())},
               {"steps", Json::array()},
               {"networksSeen", choicesJson(networks_)},
               {"versionsSeen", choicesJson(versions_)}};
  for (std::size_t at = 0; at < steps_.count(); ++at) json["steps"].push_back(sqm::isoTimeStamp(steps_.beginOf(at)));
  json.update(connections_.json());
  json["vpn"] = vpn_.json();
  json["ages"] = percentilesJson(ages_);
  json["ages"]["ranges"] = rangesJson(ages_, kAges);
  return json;
}

Json ServiceReport::choicesJson(const Choices& choices) {
  using Choice = std::pair<std::string, std::int64_t>;
  std::vector<Choice> ordered(choices.begin(), choices.end());
  std::ranges::stable_sort(ordered, std::ranges::greater(), &Choice::second);
  Json names = Json::array();
  for (std::size_t at = 0; at < std::min(ordered.size(), kMostChoices); ++at) names.push_back(ordered[at].first);
  return names;
}

}  // namespace collector
