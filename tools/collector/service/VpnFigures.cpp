#include "tools/collector/service/VpnFigures.h"

namespace collector {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMostReasons = 8;
constexpr std::chrono::minutes kLengths[] = {1min, 10min, 60min, 4h, 8h, 24h};

}  // namespace

void VpnFigures::take(const Session& session) {
  const Tally tally = tallyOf(session);
  total_.add(session.first().client, tally);
  const std::size_t step = steps_.of(session.first().time);
  if (tally.failed > 0) {
    failures_.add(session.stop && !session.stop->reason.empty() ? session.stop->reason : session.first().reason, step);
    return;
  }
  if (session.start && session.start->connecting) setUps_.push_back(*session.start->connecting);
  if (session.stop) ends_.add(session.stop->reason, steps_.of(session.stop->time));
  if (session.start && session.stop) lengths_.push_back(session.stop->time - session.start->time);
  if (!session.stop) ++withoutStop_;
  if (!session.start) ++withoutStart_;
}

Json VpnFigures::json() const {
  Json json = total_.json();
  json.update({{"withoutStop", withoutStop_},
               {"withoutStart", withoutStart_},
               {"setUp", percentilesJson(setUps_)},
               {"lengths", percentilesJson(lengths_)},
               {"lengthRanges", rangesJson(lengths_, kLengths)},
               {"ends", ends_.json(kMostReasons)},
               {"failures", failures_.json(kMostReasons)}});
  return json;
}

}  // namespace collector
