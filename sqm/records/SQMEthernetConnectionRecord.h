#pragma once

#include <string>

#include "sqm/records/SQMConnectionRecord.h"

namespace sqm {

/// A wired connection attempt: its start and, on the same object, its stop.
class SQMEthernetConnectionRecord : public SQMConnectionRecord {
 public:
  explicit SQMEthernetConnectionRecord(Host& host);

  /// The fields that this medium alone has.
  std::string FormatEthernetConnectionFields() const;
};

}  // namespace sqm
