// The record classes: which kind each is, and which rows of its layout its operations format.

#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMClientRecord.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/records/SQMEthernetConnectionRecord.h"
#include "sqm/records/SQMMBConnectionRecord.h"
#include "sqm/records/SQMUserAcceptanceRecord.h"
#include "sqm/records/SQMWiFiConnectionRecord.h"
#include "sqm/records/internal/RecordKinds.h"

namespace sqm {

SQMConnectionRecord::SQMConnectionRecord(Host& host) : SQMConnectionRecord(host, kConnectionKind) {}

std::string SQMConnectionRecord::FormatCommonSQMFields() const { return format(kCommonConnectionFields); }

SQMWiFiConnectionRecord::SQMWiFiConnectionRecord(Host& host) : SQMConnectionRecord(host, kWiFiConnectionKind) {}

std::string SQMWiFiConnectionRecord::FormatWiFiConnectionFields() const { return format(kWiFiConnectionFields); }

SQMMBConnectionRecord::SQMMBConnectionRecord(Host& host) : SQMConnectionRecord(host, kMBConnectionKind) {}

std::string SQMMBConnectionRecord::FormatMBConnectionFields() const { return format(kMBConnectionFields); }

SQMEthernetConnectionRecord::SQMEthernetConnectionRecord(Host& host)
    : SQMConnectionRecord(host, kEthernetConnectionKind) {}

std::string SQMEthernetConnectionRecord::FormatEthernetConnectionFields() const {
  return format(kEthernetConnectionFields);
}

SQMClientRecord::SQMClientRecord(Host& host) : TableRecord(host, kClientKind) {}

std::string SQMClientRecord::constructEnvironmentInformation() const {
  return holds(0) ? format(kEnvironmentInformation) : "";
}

SQMDeviceRecord::SQMDeviceRecord(Host& host) : TableRecord(host, kDeviceKind) {}

std::string SQMDeviceRecord::FormatMobileDeviceFields() const { return format(kMobileDeviceFields); }

SQMApplicationRecord::SQMApplicationRecord(Host& host) : TableRecord(host, kApplicationKind) {}

std::string SQMApplicationRecord::FormatVPNApplicationTypeData() const { return format(kApplicationKind.layout); }

std::string SQMApplicationRecord::FormatCommonApplicationFields() const { return format(kCommonApplicationFields); }

std::string SQMApplicationRecord::FormatCommonSessionFields() const { return format(kCommonSessionFields); }

SQMUserAcceptanceRecord::SQMUserAcceptanceRecord(Host& host) : TableRecord(host, kUserAcceptanceKind) {}

}  // namespace sqm
