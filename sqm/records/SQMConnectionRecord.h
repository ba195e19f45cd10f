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

}  // namespace sqm
