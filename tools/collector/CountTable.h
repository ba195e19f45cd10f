#pragma once

#include <array>
#include <string_view>

#include "tools/collector/Counters.h"

namespace collector {

/// How a count is published. The names follow the conventions of Prometheus (prometheus.io/docs/practices/naming), and
/// must not change: dashboards and alerts use them.
struct CountRow {
  Count count;
  std::string_view name;   ///< after "sqm_collector_"
  std::string_view label;  ///< what the counts of this name differ in; empty: it has one count
  std::string_view value;  ///< of the label
  std::string_view help;
};

inline constexpr std::string_view kPostsHelp = "Posts by what became of them; those that are too long are lost.";
inline constexpr std::string_view kDroppedHelp = "Connections that the server closed for a limit, by the limit.";
inline constexpr std::string_view kReloadsHelp = "Files that were read again after SIGHUP, by the result.";

/// In the order of Count. Rows with the same name follow one another.
inline constexpr std::array<CountRow, kCounts> kCountTable = {{
    {Count::postsKept, "posts_total", "outcome", "kept", kPostsHelp},
    {Count::postsTooLong, "posts_total", "outcome", "too_long", kPostsHelp},
    {Count::postsRefused, "posts_total", "outcome", "refused", kPostsHelp},
    {Count::postsIncomplete, "posts_total", "outcome", "incomplete", kPostsHelp},
    {Count::postsInvalid, "posts_total", "outcome", "invalid", kPostsHelp},
    {Count::postsFailed, "posts_total", "outcome", "failed", kPostsHelp},
    {Count::postBytes, "post_bytes_total", "", "", "Bytes of bodies that arrived, as they were sent."},
    {Count::readsAnswered, "reads_total", "", "", "Requests other than posts."},
    {Count::readsRefused, "reads_refused_total", "", "", "Requests other than posts that were refused."},
    {Count::requestsDelayed, "requests_delayed_total", "", "", "Requests that waited for the limit of their address."},
    {Count::requestsOverLimit, "requests_over_limit_total", "", "",
     "Requests that were reset for the limit of their address."},
    {Count::connectionsAccepted, "connections_accepted_total", "", "", "Connections that were accepted."},
    {Count::connectionsEnded, "connections_closed_total", "", "", "Connections that have ended."},
    {Count::connectionsCrowdedOut, "connections_dropped_total", "limit", "connections", kDroppedHelp},
    {Count::connectionsOverLimit, "connections_dropped_total", "limit", "address", kDroppedHelp},
    {Count::connectionsTimedOut, "connections_dropped_total", "limit", "time", kDroppedHelp},
    {Count::handshakesFailed, "tls_handshakes_failed_total", "", "", "TLS handshakes that failed."},
    {Count::reloads, "reloads_total", "result", "done", kReloadsHelp},
    {Count::reloadsFailed, "reloads_total", "result", "failed", kReloadsHelp},
}};

constexpr bool isInOrder(const std::array<CountRow, kCounts>& table) {
  for (std::size_t i = 0; i < table.size(); ++i) {
    if (static_cast<std::size_t>(table[i].count) != i) return false;
  }
  return true;
}
static_assert(isInOrder(kCountTable));

}  // namespace collector
