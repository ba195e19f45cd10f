#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sqm/sessionfiles/SQMRecord.h"

namespace sqm {

struct CollectingStep;

/// The record of one connection, from its creation to its end: each call lays its arguments, and what it measures, at
/// their positions of the row (see docs/sqm-files.md). `saveRecord` writes the row to a file.
///
/// The application calls, as things happen, `collectDataOnCreation`, `collectDataonPreConnect`, `setConnectStartTime`,
/// `setLoginStartTime`, `setLoginEndTime`, `collectDataPostConnect`, `setErrorCode` and `setAutoConnect`,
/// `collectDataOnDisconnect`, and `saveRecord`. No order is enforced.
///
/// Threading: one thread at a time.
/// Failure: an absent argument throws `std::invalid_argument` when its turn comes; what the call wrote before stays.
class SQMDataCollector : public SQMRecord {
 public:
  using Text = std::optional<std::string_view>;

  using SQMRecord::SQMRecord;

  /// Begins a new record: the only call that empties the row. The clock's readings of the start times stay.
  void collectDataOnCreation(Text first, Text lang, Text username, Text fullUserName, Text profileID, Text installId,
                             Text sqmCounter);

  /// `popType` tells the owner of the access point: "trelk", "customer", "home" or the empty text. Any other gives an
  /// empty position. The access procedure is left out when `first` is "s".
  void collectDataonPreConnect(Text first, Text forSSID, Text accessProcedure, Text popType, Text wiFiSecurity,
                               Text phoneVer, Text pbUpdateDate);

  void collectDataPostConnect(Text first, Text devicetype, Text clientMacAddress, Text apMacAddress,
                              Text signalstrength, Text clientIP, Text serverIP);

  /// The versions of the phone book take the place of those that `collectDataonPreConnect` laid there.
  void collectDataOnDisconnect(std::uint32_t first, std::int64_t finalSigStrength, Text phoneVer, Text pbUpdateDate,
                               std::int64_t rxBytes, std::int64_t txBytes);

  /// The bytes sent, and the bytes received. An absent text is written "(null)".
  void setTxandRxBytes(Text sent, Text RxBytes);

  /// The start times are written as the wall clock shows them in GMT. A login start also gives the whole seconds since
  /// the connection start, which without one is the epoch; a login end the whole seconds since the login start, and 0
  /// without one.
  void setConnectStartTime();
  void setLoginStartTime();
  void setLoginEndTime();

  void setErrorCode(std::int64_t code);
  void setAutoConnect(std::int64_t autoConnect);

  std::string getOSVersion() const;

  void setSQMDirPath(Text folder) { setSQMDir(folder); }

  /// Writes the file. Whether that went well is not told; `saveRec` tells.
  void saveRecord() const;

 private:
  void collect(std::span<const CollectingStep> steps, std::span<const Text> arguments);
  Text valueOf(const CollectingStep& step, std::span<const Text> arguments);
  std::string startTimeText(Date date) const;

  std::int64_t mstarttime_ = 0;
  std::int64_t mloginstarttime_ = 0;
};

}  // namespace sqm
