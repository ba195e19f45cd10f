#include "tools/collector/service/Tally.h"

namespace collector {

Tally& Tally::operator+=(const Tally& other) {
  connected += other.connected;
  failed += other.failed;
  undecided += other.undecided;
  ended += other.ended;
  dropped += other.dropped;
  return *this;
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
  return {{"attempts", tally.attempts()},
          {"connected", tally.connected},
          {"failed", tally.failed},
          {"undecided", tally.undecided},
          {"ended", tally.ended},
          {"dropped", tally.dropped},
          {"success", shareJson(static_cast<double>(tally.connected), tally.attempts())},
          {"drops", shareJson(static_cast<double>(tally.dropped), tally.ended)}};
}

}  // namespace collector
