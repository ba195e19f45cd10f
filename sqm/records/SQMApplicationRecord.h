#pragma once

#include <cstdint>
#include <string>

#include "sqm/records/TableRecord.h"

namespace sqm {

/// A VPN session of the client's: its start or its stop.
class SQMApplicationRecord : public TableRecord {
 public:
  explicit SQMApplicationRecord(Host& host) : TableRecord(host, kApplicationKind) {}

  std::int64_t ValidateRecordData() const { return validate(); }

  std::string FormatVPNApplicationTypeData() const { return format(kApplicationKind.layout); }
  std::string FormatCommonApplicationFields() const { return format(kCommonApplicationFields); }
  std::string FormatCommonSessionFields() const { return format(kCommonSessionFields); }
};

}  // namespace sqm
