#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/collector/RecordReader.h"
#include "tools/collector/service/FieldMapping.h"

namespace collector {

/// What a record tells about the quality of the service. Databases keep the numbers of the enumerators: they do not
/// change.
struct ConnectionFact {
  using Time = std::chrono::sys_time<std::chrono::milliseconds>;

  enum class Medium : std::uint8_t { unknown = 0, wiFi = 1, mobile = 2, ethernet = 3, vpn = 4 };
  enum class Outcome : std::uint8_t { unknown = 0, connected = 1, failed = 2, dropped = 3 };

  Time time;  ///< by the client's clock; of the arrival when it is later or unknown
  std::optional<std::chrono::milliseconds> age{};  ///< at arrival, from 0 on; nothing when the record has no time
  Medium medium = Medium::unknown;                 ///< vpn: a VPN session; the others: a connection
  bool isStart = false;                            ///< else it is a stop
  Outcome outcome = Outcome::unknown;              ///< dropped: of stops alone
  std::string client{};                            ///< empty: unknown, as for all other texts
  std::string session{};                           ///< the same in the start and the stop
  std::string network{};                           ///< of a VPN session: its gateway
  std::string reason{};                            ///< why it ended so
  std::string technology{};                        ///< of the radio
  std::string version{};                           ///< of the client
  std::optional<std::chrono::milliseconds> connecting{};  ///< the time that connecting took, up to an hour
  std::optional<std::int32_t> signal{};                   ///< dBm, from -150 to -1
  std::optional<bool> isRoaming{};

  bool operator==(const ConnectionFact&) const = default;
};

/// A time in ISO 8601, or in seconds or milliseconds since 1970. Without a zone it is UTC. Nothing for any other text
/// and for times before the year 2000, which a clock shows that was never set.
std::optional<ConnectionFact::Time> timeIn(std::string_view text);

/// The longest text of a fact, in bytes. Longer ones are cut at a character.
inline constexpr std::size_t kLongestFactText = 120;

/// The fact of a record that arrived at that time; nothing for a record that is no start or stop of a connection or of
/// a VPN session. Its texts are well-formed UTF-8 without control characters.
std::optional<ConnectionFact> factOf(const Record& record, const FieldMapping& mapping, ConnectionFact::Time arrival);

/// The version that a client reports of itself.
struct ClientVersion {
  std::string client;
  std::string version;

  bool operator==(const ClientVersion&) const = default;
};

/// That of a client record; nothing for other records, and when one of the two is missing. The records of connections
/// have no version: theirs is the last one that their client reported.
std::optional<ClientVersion> clientVersionOf(const Record& record, const FieldMapping& mapping);

}  // namespace collector
