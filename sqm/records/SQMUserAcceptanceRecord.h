#pragma once

#include "sqm/records/TableRecord.h"

namespace sqm {

/// The user's answer to a prompt. It is formatted only when its values hold the key "6", which no setter stores: a
/// filter completes the values of the records that are to be recorded.
class SQMUserAcceptanceRecord : public TableRecord {
 public:
  explicit SQMUserAcceptanceRecord(Host& host);
};

}  // namespace sqm
