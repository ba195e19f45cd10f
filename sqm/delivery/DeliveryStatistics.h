#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/RecordType.h"
#include "sqm/delivery/StoredTimes.h"

namespace sqm::delivery {

/// Why something was dropped without having been delivered or refused.
enum class DropReason : std::uint8_t {
  records,  ///< the limit of the number
  bytes,    ///< the limit of the bytes
  age,      ///< the limit of the age
  consent,  ///< the user has revoked the consent
  unsent,   ///< it was stored after the document of its list was made, and was deleted with it
  deleted,  ///< the application has deleted it
  lost,     ///< it was not there any more when a process began
};

/// The names, by reason. On disk and in `sqmctl`: not to change.
inline constexpr std::array<std::string_view, 7> kDropReasonNames = {"records", "bytes",   "age", "consent",
                                                                     "unsent",  "deleted", "lost"};

/// Numbers of what was dropped, by reason.
using DropCounts = std::array<std::uint64_t, kDropReasonNames.size()>;

/// What became of the records of a type, or of the requests of the upload queue:
/// accepted = delivered + refused + dropped + waiting.
struct DeliveryCounts {
  std::uint64_t accepted = 0;   ///< stored
  std::uint64_t delivered = 0;  ///< a server has them
  std::uint64_t refused = 0;    ///< a server will never take them
  std::uint64_t waiting = 0;    ///< still stored
  DropCounts dropped = {};

  std::uint64_t of(DropReason reason) const { return dropped[static_cast<std::size_t>(reason)]; }
  std::uint64_t allDropped() const;

  /// Takes over how many there are: more count as accepted, fewer as lost. After a kill the counts may lack the last
  /// changes.
  void fitWaiting(std::uint64_t count);

  friend bool operator==(const DeliveryCounts&, const DeliveryCounts&) = default;
};

/// The counts since the SQM folder was made.
struct DeliveryStatistics {
  ByType<DeliveryCounts> lists = {};
  DeliveryCounts queue = {};
  DropCounts refusedBodies = {};  ///< of the files that the folder `Refused` had

  friend bool operator==(const DeliveryStatistics&, const DeliveryStatistics&) = default;
};

/// What is kept of the statistics over the end of the process.
struct KeptStatistics {
  DeliveryStatistics counts = {};
  ByType<StoredTimes> listTimes = {};
  StoredTimes queueTimes = {};
};

/// The file in the SQM folder.
inline constexpr std::string_view kStatisticsFile = "SQMStatistics";

/// The text of the file. docs/delivery.md describes it.
std::string savedStatisticsOf(const KeptStatistics& kept);

/// Reads such a text. Nothing for any other.
std::optional<KeptStatistics> statisticsOf(std::string_view text);

}  // namespace sqm::delivery
