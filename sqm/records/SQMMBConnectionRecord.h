#pragma once

#include <string>

#include "sqm/records/SQMConnectionRecord.h"

namespace sqm {

/// A mobile-broadband connection attempt: its start and, on the same object, its stop.
class SQMMBConnectionRecord : public SQMConnectionRecord {
 public:
  explicit SQMMBConnectionRecord(Host& host);

  /// The fields that this medium alone has.
  std::string FormatMBConnectionFields() const;
};

}  // namespace sqm
