#include "tools/collector/service/Sessions.h"

#include <utility>

namespace collector {

namespace {

using Fact = ConnectionFact;

/// What the start and the stop of a session have in common; empty when that is unknown.
std::string keyOf(const Fact& fact) {
  if (fact.client.empty() && fact.session.empty()) return {};
  const bool isVpn = fact.medium == Fact::Medium::vpn;
  const std::string separator(1, '\0');  // in no text of a fact
  return (isVpn ? fact.network + separator : std::string()) + fact.session + separator + fact.client;
}

}  // namespace

Fact::Outcome Session::attempt() const {
  if (start && start->outcome != Fact::Outcome::unknown) return start->outcome;
  if (!stop) return Fact::Outcome::unknown;
  return stop->outcome == Fact::Outcome::dropped ? Fact::Outcome::connected : stop->outcome;
}

void Sessions::add(const Fact& fact) {
  std::string key = keyOf(fact);
  if (key.empty()) return fact.isStart ? take_({.start = &fact}) : take_({.stop = &fact});
  const auto found = stops_.find(key);
  if (fact.isStart) {
    take_({.start = &fact, .stop = found != stops_.end() ? &found->second : nullptr});
    if (found != stops_.end()) stops_.erase(found);
  } else if (found != stops_.end()) {
    take_({.stop = &found->second});
    found->second = fact;
  } else {
    stops_.emplace(std::move(key), fact);
  }
}

void Sessions::finish() {
  for (const auto& [key, stop] : stops_) take_({.stop = &stop});
  stops_.clear();
}

}  // namespace collector
