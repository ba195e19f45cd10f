#include "tools/collector/service/ServiceQuery.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "tools/support/Number.h"

namespace collector {

namespace {

using namespace std::chrono_literals;
using Fact = ConnectionFact;
using std::chrono::milliseconds;

constexpr std::chrono::hours kDefaultWindow{24};
constexpr std::int64_t kLongestWindow = 100 * 366 * 86'400LL;  // seconds
constexpr double kLongestTarget = 3600;                        // seconds

/// The value of a parameter; nothing when it is missing or empty.
std::optional<std::string> valueOf(const QueryParameters& parameters, const char* name) {
  const auto found = parameters.find(name);
  return found == parameters.end() || found->second.empty() ? std::nullopt : std::optional(found->second);
}

constexpr std::array<std::string_view, 5> kMediumNames = {"", "wifi", "mobile", "ethernet", "vpn"};

Fact::Medium mediumNamed(std::string_view name) {
  const auto* const found = std::ranges::find(kMediumNames, name);
  const auto medium = static_cast<Fact::Medium>(found - kMediumNames.begin());
  if (found == kMediumNames.end() || medium == Fact::Medium::vpn) {
    throw std::invalid_argument("medium is to be wifi, mobile or ethernet");
  }
  return medium;
}

std::optional<Fact::Time> timeOf(const QueryParameters& parameters, const char* name) {
  const auto text = valueOf(parameters, name);
  if (!text) return std::nullopt;
  const auto time = timeIn(*text);
  if (!time)
    throw std::invalid_argument(std::string(name) + " is to be a time since 2000, such as 2026-11-21T08:00:00Z");
  return time;
}

milliseconds windowOf(const QueryParameters& parameters) {
  const auto text = valueOf(parameters, "seconds");
  if (!text) return kDefaultWindow;
  const auto number = tools::numberIn<std::int64_t>(*text);
  if (!number || *number < 1 || *number > kLongestWindow) {
    throw std::invalid_argument("seconds is to be a whole number from 1 to " + std::to_string(kLongestWindow));
  }
  return std::chrono::seconds(*number);
}

}  // namespace

std::string_view nameOf(Fact::Medium medium) { return kMediumNames.at(static_cast<std::size_t>(medium)); }

ServiceQuery serviceQueryOf(const QueryParameters& parameters, Fact::Time now) {
  const Fact::Time to = timeOf(parameters, "to").value_or(now);
  ServiceQuery query{.from = timeOf(parameters, "from").value_or(to - windowOf(parameters)), .to = to};
  if (query.from >= query.to) throw std::invalid_argument("from is to be before to");
  if (const auto name = valueOf(parameters, "medium")) query.medium = mediumNamed(*name);
  query.network = valueOf(parameters, "network");
  query.version = valueOf(parameters, "version");
  if (const auto text = valueOf(parameters, "target")) {
    const auto seconds = tools::numberIn<double>(*text);
    if (!seconds || !(*seconds >= 0.001 && *seconds <= kLongestTarget)) {
      throw std::invalid_argument("target is to be a number of seconds from 0.001 to 3600");
    }
    query.target = milliseconds(static_cast<std::int64_t>(*seconds * 1000));
  }
  return query;
}

}  // namespace collector
