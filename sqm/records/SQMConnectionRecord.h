#pragma once

#include <string>

#include "sqm/records/TableRecord.h"

namespace sqm {

/// What the connection records of all media share. On its own it formats nothing: `FormatRecord` leaves the slot alone.
class SQMConnectionRecord : public TableRecord {
 public:
  explicit SQMConnectionRecord(Host& host);

  /// The fields that every medium has.
  std::string FormatCommonSQMFields() const;

 protected:
  SQMConnectionRecord(Host& host, const RecordKind& kind) : TableRecord(host, kind) {}
};

/// A Wi-Fi connection attempt: its start and, on the same object, its stop.
class SQMWiFiConnectionRecord : public SQMConnectionRecord {
 public:
  explicit SQMWiFiConnectionRecord(Host& host);

  /// The fields that this medium alone has.
  std::string FormatWiFiConnectionFields() const;
};

/// A mobile-broadband connection attempt: its start and, on the same object, its stop.
class SQMMBConnectionRecord : public SQMConnectionRecord {
 public:
  explicit SQMMBConnectionRecord(Host& host);

  /// The fields that this medium alone has.
  std::string FormatMBConnectionFields() const;
};

/// A wired connection attempt: its start and, on the same object, its stop.
class SQMEthernetConnectionRecord : public SQMConnectionRecord {
 public:
  explicit SQMEthernetConnectionRecord(Host& host);

  /// The fields that this medium alone has.
  std::string FormatEthernetConnectionFields() const;
};

}  // namespace sqm
