// How starts and stops are matched, and what a session says about an attempt.

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/collector/service/Sessions.h"
#include "tools/collector/service/Tally.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;
using Fact = ConnectionFact;
using Medium = Fact::Medium;
using Outcome = Fact::Outcome;
using testing::ElementsAre;

Fact factAt(int second, bool isStart, const std::string& client = "c", const std::string& session = "s") {
  return {.time = Fact::Time(std::chrono::seconds(second)),
          .medium = Medium::wiFi,
          .isStart = isStart,
          .client = client,
          .session = session};
}
Fact start(int second, const std::string& client = "c", const std::string& session = "s") {
  return factAt(second, true, client, session);
}
Fact stop(int second, const std::string& client = "c", const std::string& session = "s") {
  return factAt(second, false, client, session);
}

/// The sessions of facts in order of time: "start-stop" by their seconds, a missing part as "?".
std::vector<std::string> sessionsOf(std::vector<Fact> facts) {
  std::vector<std::string> found;
  const auto textOf = [](const Fact* fact) {
    return fact ? std::to_string(fact->time.time_since_epoch() / 1s) : std::string("?");
  };
  Sessions sessions(
      [&](const Session& session) { found.push_back(textOf(session.start) + "-" + textOf(session.stop)); });
  for (auto fact = facts.rbegin(); fact != facts.rend(); ++fact) sessions.add(*fact);
  sessions.finish();
  return found;
}

TEST(Sessions, JoinAStopWithItsStart) {
  EXPECT_THAT(sessionsOf({start(1), stop(2)}), ElementsAre("1-2"));
  EXPECT_THAT(sessionsOf({start(1), stop(2), start(3), stop(4)}), ElementsAre("3-4", "1-2"));
  EXPECT_THAT(sessionsOf({start(1, "c", "a"), start(2, "c", "b"), stop(3, "c", "a"), stop(4, "c", "b")}),
              ElementsAre("2-4", "1-3"));
  EXPECT_THAT(sessionsOf({start(1, "one"), start(2, "two"), stop(3, "two"), stop(4, "one")}),
              ElementsAre("2-3", "1-4"));
}

TEST(Sessions, KeepWhatHasNoOtherHalf) {
  EXPECT_THAT(sessionsOf({start(1)}), ElementsAre("1-?"));
  EXPECT_THAT(sessionsOf({stop(1)}), ElementsAre("?-1"));
  EXPECT_THAT(sessionsOf({start(1), start(2), stop(3)}), ElementsAre("2-3", "1-?"));
  EXPECT_THAT(sessionsOf({start(1), stop(2), stop(3)}), ElementsAre("?-3", "1-2"));
  EXPECT_THAT(sessionsOf({}), ElementsAre());
}

TEST(Sessions, MatchByTheClientAloneWhereSessionsHaveNoName) {
  EXPECT_THAT(sessionsOf({start(1, "c", ""), stop(2, "c", "")}), ElementsAre("1-2"));
  EXPECT_THAT(sessionsOf({start(1, "", ""), stop(2, "", "")}), ElementsAre("?-2", "1-?"));
}

TEST(Sessions, AVpnSessionIsNamedByItsGatewayToo) {
  Fact other = start(1);
  Fact begun = start(2);
  Fact ended = stop(3);
  for (Fact* each : {&other, &begun, &ended}) each->medium = Medium::vpn;
  begun.network = ended.network = "vpn.example.com";
  EXPECT_THAT(sessionsOf({begun, other, ended}), ElementsAre("1-?", "2-3"));
}

Tally tallyOfFacts(std::optional<Outcome> begun, std::optional<Outcome> ended) {
  Fact begin = start(1);
  Fact end = stop(2);
  begin.outcome = begun.value_or(Outcome::unknown);
  end.outcome = ended.value_or(Outcome::unknown);
  return tallyOf({.start = begun ? &begin : nullptr, .stop = ended ? &end : nullptr});
}

TEST(Tally, CountsAnAttemptOnceWhateverTellsItsOutcome) {
  const struct {
    std::optional<Outcome> start, stop;
    Tally tally;
  } rows[] = {
      {Outcome::connected, std::nullopt, {.connected = 1}},
      {Outcome::connected, Outcome::unknown, {.connected = 1, .ended = 1}},
      {Outcome::connected, Outcome::dropped, {.connected = 1, .ended = 1, .dropped = 1}},
      {Outcome::connected, Outcome::failed, {.connected = 1, .ended = 1}},
      {Outcome::failed, std::nullopt, {.failed = 1}},
      {Outcome::failed, Outcome::failed, {.failed = 1}},
      {Outcome::failed, Outcome::dropped, {.failed = 1}},
      {Outcome::unknown, std::nullopt, {.undecided = 1}},
      {Outcome::unknown, Outcome::unknown, {.undecided = 1, .ended = 1}},
      {Outcome::unknown, Outcome::connected, {.connected = 1, .ended = 1}},
      {Outcome::unknown, Outcome::dropped, {.connected = 1, .ended = 1, .dropped = 1}},
      {Outcome::unknown, Outcome::failed, {.failed = 1}},
      {std::nullopt, Outcome::unknown, {.ended = 1}},
      {std::nullopt, Outcome::dropped, {.ended = 1, .dropped = 1}},
      {std::nullopt, Outcome::failed, {.failed = 1}},
  };
  for (const auto& row : rows) EXPECT_EQ(tallyOfFacts(row.start, row.stop), row.tally) << &row - rows;
}

}  // namespace
