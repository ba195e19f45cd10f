#pragma once

#include <functional>
#include <map>
#include <string>

#include "tools/collector/service/ConnectionFact.h"

namespace collector {

/// A connection, or a VPN session, by its start, its stop, or both.
struct Session {
  const ConnectionFact* start = nullptr;  ///< null: before the first fact, or never received
  const ConnectionFact* stop = nullptr;   ///< null: after the last fact, or never received

  /// The fact by which it is filed: the start if there is one.
  const ConnectionFact& first() const { return start != nullptr ? *start : *stop; }

  /// How the attempt to connect ended: what the start says of it, else what the stop says. Never dropped.
  ConnectionFact::Outcome attempt() const;

  /// True when an attempt belongs to it: a connection whose start is unknown counts when it failed.
  bool hasAttempt() const { return start != nullptr || attempt() == ConnectionFact::Outcome::failed; }

  /// True when it was established and then ended.
  bool hasEnded() const { return stop != nullptr && attempt() != ConnectionFact::Outcome::failed; }
};

/// Finds the start of each stop. Facts are added from the newest to the oldest; a stop belongs to the next start of its
/// client and session. Where a client has no session names, the client decides alone.
class Sessions {
 public:
  using Take = std::function<void(const Session&)>;

  /// `take` is called with each session; its facts are valid during the call.
  explicit Sessions(Take take) : take_(std::move(take)) {}

  void add(const ConnectionFact& fact);

  /// Takes the stops that have no start. Call it once, after the last fact.
  void finish();

 private:
  Take take_;
  std::map<std::string, ConnectionFact> stops_;  // by client and session, still without a start
};

}  // namespace collector
