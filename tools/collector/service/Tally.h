#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tools/collector/service/MeasuresJson.h"
#include "tools/collector/service/Sessions.h"

namespace collector {

/// Counts of sessions.
struct Tally {
  std::int64_t connected = 0;  ///< attempts that succeeded
  std::int64_t failed = 0;     ///< attempts that failed
  std::int64_t undecided = 0;  ///< attempts of which no record tells how they ended
  std::int64_t ended = 0;      ///< established sessions that ended
  std::int64_t dropped = 0;    ///< of these, against the user's will

  std::int64_t attempts() const { return connected + failed; }
  Tally& operator+=(const Tally& other);
  bool operator==(const Tally&) const = default;
};

/// That of one session.
Tally tallyOf(const Session& session);

/// Counts of the sessions of clients. A client's sessions are alike, so that shares of them are as uncertain as the
/// clients differ.
class ClientTally {
 public:
  void add(const std::string& client, const Tally& tally);

  const Tally& total() const { return total_; }

  /// As jsonOf, with intervals of the size that is effective.
  Json json() const;

 private:
  Tally total_;
  std::map<std::string, Tally> clients_;
};

/// The counts, the share of the attempts that succeeded, and that of the ended sessions that were dropped.
Json jsonOf(const Tally& tally);

}  // namespace collector
