#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tools/collector/service/ConnectionFact.h"

namespace collector {

/// The names of media in queries and answers: "wifi", "mobile", "ethernet", "vpn"; "" for an unknown one.
std::string_view nameOf(ConnectionFact::Medium medium);

/// What an operator asks about the service: figures of the facts of a window, as FactFilter selects them.
struct ServiceQuery {
  ConnectionFact::Time from;  ///< facts from this time on
  ConnectionFact::Time to;    ///< and before this one
  std::optional<ConnectionFact::Medium> medium{};
  std::optional<std::string> network{};
  std::optional<std::string> version{};
  std::chrono::milliseconds target{4000};  ///< of the Apdex: its default is four seconds
};

/// The parameters of an HTTP query, by name.
using QueryParameters = std::multimap<std::string, std::string>;

/// The query that these parameters ask for: `seconds` (the length of a window that ends now) or `from` and `to` (ISO
/// 8601), `medium`, `network`, `version`, `target` (seconds). Without a window it is the last 24 hours. Throws
/// std::invalid_argument, whose text is for the user.
ServiceQuery serviceQueryOf(const QueryParameters& parameters, ConnectionFact::Time now);

}  // namespace collector
