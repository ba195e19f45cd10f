#pragma once

#include <cstdint>
#include <string>

#include "sqm/records/SQMConnectionRecord.h"

namespace sqm {

/// A mobile-broadband connection attempt: its start and, on the same object, its stop.
class SQMMBConnectionRecord : public SQMConnectionRecord {
 public:
  explicit SQMMBConnectionRecord(Host& host);

  std::int64_t ValidateRecordData() const { return validate(); }

  /// The fields that this medium alone has.
  std::string FormatMBConnectionFields() const;
};

}  // namespace sqm
