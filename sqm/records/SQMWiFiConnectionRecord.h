#pragma once

#include <string>

#include "sqm/records/SQMConnectionRecord.h"

namespace sqm {

/// A Wi-Fi connection attempt: its start and, on the same object, its stop.
class SQMWiFiConnectionRecord : public SQMConnectionRecord {
 public:
  explicit SQMWiFiConnectionRecord(Host& host);

  /// The fields that this medium alone has.
  std::string FormatWiFiConnectionFields() const;
};

}  // namespace sqm
