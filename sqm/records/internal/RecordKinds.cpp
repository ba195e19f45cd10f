// The layouts of the records, what else differs between their kinds, and the operations of their classes.

#include "sqm/records/internal/RecordKinds.h"

#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMClientRecord.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/records/SQMUserAcceptanceRecord.h"

namespace sqm {

namespace {

// --- Connection records -------------------------------------------------------------------------------------------

constexpr Row kCommonConnectionRows[] = {
    present(11), present(12), present(13), present(14), present(15), present(16),
    present(17), present(18), present(19), present(20), present(21), present(22),
};

// 47, 34 and 33 are written in this order. 35 is stored in Wi-Fi records for the filters and not written.
constexpr Row kWiFiRows[] = {
    present(23), present(24), present(25), present(26),  present(27),  present(28),  present(29),
    present(30), present(31), present(32), notEmpty(47), notEmpty(34), notEmpty(33), always(87),
};
constexpr Row kWiFiConnectionRows[] = {section(kCommonConnectionRows), section(kWiFiRows)};
constexpr Row kWiFiRecordRows[] = {
    timeStamped(6), present(7), present(8), present(9), element(10, kWiFiConnectionRows),
};
constexpr Row kWiFiLayout[] = {element(5, kWiFiRecordRows)};

constexpr Row kMBRows[] = {
    present(43), present(35), present(44), present(45), always(46),  present(47), present(48),
    present(49), always(50),  present(51), present(52), present(53), present(54), present(55),
    present(56), present(57), present(58), present(59), present(60), present(61),
};
constexpr Row kMBConnectionRows[] = {section(kCommonConnectionRows), section(kMBRows)};
constexpr Row kMBRecordRows[] = {
    timeStamped(6), always(7), always(8), always(9), element(42, kMBConnectionRows),
};
constexpr Row kMBLayout[] = {element(5, kMBRecordRows)};

constexpr Row kEthernetRows[] = {always(73)};
constexpr Row kEthernetConnectionRows[] = {section(kCommonConnectionRows), section(kEthernetRows)};
constexpr Row kEthernetRecordRows[] = {
    timeStamped(6), always(7), always(8), always(9), element(74, kEthernetConnectionRows),
};
constexpr Row kEthernetLayout[] = {element(5, kEthernetRecordRows)};

// --- Client record ------------------------------------------------------------------------------------------------

constexpr FixedName kLocale("locale");
constexpr FixedName kOs("os");
constexpr FixedName kOsVersion("osVersion");
constexpr Row kEnvironmentRows[] = {environment(kLocale), environment(kOs), environment(kOsVersion)};
constexpr Row kClientRecordRows[] = {
    timeStamped(6), present(7), markedElement(0, kEnvironmentRows), present(1), present(2), present(3), present(4),
};
constexpr FixedName kClient("client");
constexpr Row kClientLayout[] = {element(kClient, kClientRecordRows)};

// --- Device record ------------------------------------------------------------------------------------------------

constexpr Row kMobileDeviceRows[] = {
    timeStamped(6), always(43),  present(64), present(54), present(66), present(67),
    present(68),    present(69), present(70), present(71), present(72),
};
constexpr Row kDeviceLayout[] = {element(63, kMobileDeviceRows)};

// --- Application record -------------------------------------------------------------------------------------------

constexpr Row kCommonApplicationRows[] = {timeStamped(6), always(75), always(76)};
constexpr Row kCommonSessionRows[] = {
    present(77), present(78), present(79), present(80), always(13),
    always(86),  present(81), present(82), present(83), present(84),
};
constexpr FixedName kGateway("gateway");
constexpr Row kApplicationRecordRows[] = {
    section(kCommonApplicationRows),
    section(kCommonSessionRows),
    alwaysNamed(kGateway, 85),
};
constexpr FixedName kVpn("vpn");
constexpr Row kApplicationLayout[] = {element(kVpn, kApplicationRecordRows)};

// --- User-acceptance record ---------------------------------------------------------------------------------------

constexpr Row kUserAcceptanceRecordRows[] = {timeStamped(6), always(13), always(88), always(89), always(90)};
constexpr FixedName kUserAcceptance("userAcceptance");
constexpr Row kUserAcceptanceLayout[] = {element(kUserAcceptance, kUserAcceptanceRecordRows)};

static_assert(isSound(kWiFiLayout) && isSound(kMBLayout) && isSound(kEthernetLayout) && isSound(kClientLayout) &&
              isSound(kDeviceLayout) && isSound(kApplicationLayout) && isSound(kUserAcceptanceLayout));

/// What the connection kinds have in common.
constexpr RecordKind connectionKind(std::optional<std::string_view> subType, std::optional<std::uint8_t> subTypeEntry,
                                    Rows layout) {
  return {.name = "connection",
          .subType = subType,
          .subTypeEntry = subTypeEntry,
          .layout = layout,
          .requiredMissing = kConnectionRequiredFieldMissing,
          .withoutDictionary = kRecordOk};
}

}  // namespace

constinit const RecordKind kConnectionKind = connectionKind("", std::nullopt, {});
constinit const RecordKind kWiFiConnectionKind = connectionKind(std::nullopt, 10, kWiFiLayout);
constinit const RecordKind kMBConnectionKind = connectionKind("mobiledata", std::nullopt, kMBLayout);
constinit const RecordKind kEthernetConnectionKind = connectionKind(std::nullopt, 74, kEthernetLayout);

constinit const RecordKind kClientKind = {.name = "client",
                                          .layout = kClientLayout,
                                          .highestField = 7,
                                          .fieldRejected = kRecordRejected,
                                          .plainSetterNameMissing = kRecordRejected,
                                          .absentValueRemoves = true,
                                          .clearKeepsValues = true};

constinit const RecordKind kDeviceKind = {.name = "device", .subTypeEntry = 63, .layout = kDeviceLayout};

constinit const RecordKind kApplicationKind = {.name = "application",
                                               .subType = "vpn",
                                               .layout = kApplicationLayout,
                                               .requiredMissing = kConnectionRequiredFieldMissing,
                                               .withoutDictionary = kRecordOk};

constinit const RecordKind kUserAcceptanceKind = {
    .name = "useracceptance", .layout = kUserAcceptanceLayout, .required = RecordKind::Required::literalDigit6};

// --- The classes --------------------------------------------------------------------------------------------------

SQMConnectionRecord::SQMConnectionRecord(Host& host) : SQMConnectionRecord(host, kConnectionKind) {}
SQMWiFiConnectionRecord::SQMWiFiConnectionRecord(Host& host) : SQMConnectionRecord(host, kWiFiConnectionKind) {}
SQMMBConnectionRecord::SQMMBConnectionRecord(Host& host) : SQMConnectionRecord(host, kMBConnectionKind) {}
SQMEthernetConnectionRecord::SQMEthernetConnectionRecord(Host& host)
    : SQMConnectionRecord(host, kEthernetConnectionKind) {}
SQMClientRecord::SQMClientRecord(Host& host) : TableRecord(host, kClientKind) {}
SQMDeviceRecord::SQMDeviceRecord(Host& host) : TableRecord(host, kDeviceKind) {}
SQMApplicationRecord::SQMApplicationRecord(Host& host) : TableRecord(host, kApplicationKind) {}
SQMUserAcceptanceRecord::SQMUserAcceptanceRecord(Host& host) : TableRecord(host, kUserAcceptanceKind) {}

std::string SQMConnectionRecord::FormatCommonSQMFields() const { return format(kCommonConnectionRows); }
std::string SQMWiFiConnectionRecord::FormatWiFiConnectionFields() const { return format(kWiFiRows); }
std::string SQMMBConnectionRecord::FormatMBConnectionFields() const { return format(kMBRows); }
std::string SQMEthernetConnectionRecord::FormatEthernetConnectionFields() const { return format(kEthernetRows); }
std::string SQMClientRecord::constructEnvironmentInformation() const {
  return holds(0) ? format(kEnvironmentRows) : "";
}
std::string SQMDeviceRecord::FormatMobileDeviceFields() const { return format(kMobileDeviceRows); }
std::string SQMApplicationRecord::FormatVPNApplicationTypeData() const { return format(kApplicationLayout); }
std::string SQMApplicationRecord::FormatCommonApplicationFields() const { return format(kCommonApplicationRows); }
std::string SQMApplicationRecord::FormatCommonSessionFields() const { return format(kCommonSessionRows); }

}  // namespace sqm
