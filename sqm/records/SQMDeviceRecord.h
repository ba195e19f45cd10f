#pragma once

#include <string>

#include "sqm/records/TableRecord.h"

namespace sqm {

/// The mobile device that the client connects with.
class SQMDeviceRecord : public TableRecord {
 public:
  explicit SQMDeviceRecord(Host& host);

  /// The device's elements, without the one around them.
  std::string FormatMobileDeviceFields() const;
};

}  // namespace sqm
