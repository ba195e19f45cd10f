#include "tools/collector/service/Tally.h"

#include <utility>
#include <vector>

#include "tools/collector/service/Measures.h"

namespace collector {

namespace {

Json jsonOf(const Tally& tally, Json success, Json drops) {
  return {{"attempts", tally.attempts()},  {"connected", tally.connected}, {"failed", tally.failed},
          {"undecided", tally.undecided},  {"ended", tally.ended},         {"dropped", tally.dropped},
          {"success", std::move(success)}, {"drops", std::move(drops)}};
}

}  // namespace

Tally& Tally::operator+=(const Tally& other) {
  connected += other.connected;
  failed += other.failed;
  undecided += other.undecided;
  ended += other.ended;
  dropped += other.dropped;
  return *this;
}

void ClientTally::add(const std::string& client, const Tally& tally) {
  total_ += tally;
  clients_[client] += tally;
}

Json ClientTally::json() const {
  std::vector<Group> attempts;
  std::vector<Group> ends;
  for (const auto& [client, tally] : clients_) {
    attempts.push_back({.part = tally.connected, .whole = tally.attempts()});
    ends.push_back({.part = tally.dropped, .whole = tally.ended});
  }
  const auto shareOfGroups = [](std::int64_t part, std::int64_t whole, const std::vector<Group>& groups) {
    const std::int64_t size = effectiveSize(groups);
    return shareJson(whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) * static_cast<double>(size) : 0,
                     size);
  };
  return jsonOf(total_, shareOfGroups(total_.connected, total_.attempts(), attempts),
                shareOfGroups(total_.dropped, total_.ended, ends));
}

Tally tallyOf(const Session& session) {
  using Outcome = ConnectionFact::Outcome;
  const Outcome attempt = session.attempt();
  const auto oneIf = [](bool is) -> std::int64_t { return is ? 1 : 0; };
  return {.connected = oneIf(session.hasAttempt() && attempt == Outcome::connected),
          .failed = oneIf(attempt == Outcome::failed),
          .undecided = oneIf(session.hasAttempt() && attempt == Outcome::unknown),
          .ended = oneIf(session.hasEnded()),
          .dropped = oneIf(session.hasEnded() && session.stop->outcome == Outcome::dropped)};
}

Json jsonOf(const Tally& tally) {
  return jsonOf(tally, shareJson(static_cast<double>(tally.connected), tally.attempts()),
                shareJson(static_cast<double>(tally.dropped), tally.ended));
}

}  // namespace collector
