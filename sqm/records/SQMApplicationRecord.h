#pragma once

#include <string>

#include "sqm/records/TableRecord.h"

namespace sqm {

/// A VPN session of the client's: its start or its stop.
class SQMApplicationRecord : public TableRecord {
 public:
  explicit SQMApplicationRecord(Host& host);

  std::string FormatVPNApplicationTypeData() const;
  std::string FormatCommonApplicationFields() const;
  std::string FormatCommonSessionFields() const;
};

}  // namespace sqm
