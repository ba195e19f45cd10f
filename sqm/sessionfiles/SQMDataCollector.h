#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/sessionfiles/SQMRecord.h"

namespace sqm {

enum class SqmPosition : std::uint8_t;

/// The record of one connection. Each call writes its arguments, and what it measures, to their positions of the row
/// (`SqmPosition`). `saveRecord` writes the row to a file.
///
/// The expected order of calls is `collectDataOnCreation`, `collectDataonPreConnect`, `setConnectStartTime`,
/// `setLoginStartTime`, `setLoginEndTime`, `collectDataPostConnect`, `setErrorCode` and `setAutoConnect`,
/// `collectDataOnDisconnect`, `saveRecord`. It is not enforced.
///
/// Threading: one thread at a time.
/// Failure: a call writes its positions in a fixed order. An absent argument throws `std::invalid_argument` when its
/// position is written; the positions before it are changed, those after it are not. Three absent arguments do not
/// throw: `popType`, `accessProcedure` where `first` is "s", and those of `setTxandRxBytes`.
class SQMDataCollector : public SQMRecord {
 public:
  using Text = std::optional<std::string_view>;

  using SQMRecord::SQMRecord;

  /// Begins a new record. No other call empties the row. The version of the operating system is read for the first
  /// record and kept. `setLoginStartTime` still counts from the last connection start, of whichever record.
  void collectDataOnCreation(Text first, Text lang, Text username, Text fullUserName, Text profileID, Text installId,
                             Text sqmCounter);

  /// `popType` names the owner of the access point: "trelk", "customer", "home" or the empty text. Any other value, and
  /// an absent one, leaves the position empty. The access procedure is left out when `first` is "s".
  void collectDataonPreConnect(Text first, Text forSSID, Text accessProcedure, Text popType, Text wiFiSecurity,
                               Text phoneVer, Text pbUpdateDate);

  void collectDataPostConnect(Text first, Text devicetype, Text clientMacAddress, Text apMacAddress,
                              Text signalstrength, Text clientIP, Text serverIP);

  /// `phoneVer` and `pbUpdateDate` replace those of `collectDataonPreConnect`.
  void collectDataOnDisconnect(std::uint32_t first, std::int64_t finalSigStrength, Text phoneVer, Text pbUpdateDate,
                               std::int64_t rxBytes, std::int64_t txBytes);

  /// Bytes sent, bytes received. An absent text is written "(null)".
  void setTxandRxBytes(Text sent, Text RxBytes);

  /// Both start times are written in GMT. A login start also writes the whole seconds since the connection start, or
  /// since 1970 without one; a login end the whole seconds since the login start, or 0 without one.
  void setConnectStartTime();
  void setLoginStartTime();
  void setLoginEndTime();

  void setErrorCode(std::int64_t code);
  void setAutoConnect(std::int64_t autoConnect);

  std::string getOSVersion() const;

  void setSQMDirPath(Text folder) { setSQMDir(folder); }

  /// Writes the file and ignores failures; `saveRec` reports them.
  void saveRecord() const;

 private:
  void set(SqmPosition position, Text text);
  void set(SqmPosition position, std::int64_t number);
  std::string startTimeText(Date date) const;

  std::int64_t mstarttime_ = 0;
  std::int64_t mloginstarttime_ = 0;
};

}  // namespace sqm
