#include "sqm/manager/internal/CreatingCalls.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "sqm/common/FieldNameTable.h"

namespace sqm {

namespace {

using enum Filling;
using Order = CreatingCall::Order;

constexpr Fill kWiFiStartFills[] = {
    {13, xmlSafe}, {6, xmlSafe}, {7},           {11}, {12},
    {14, xmlSafe}, {16},         {15, xmlSafe}, {17}, {18},
    {19},          {21},         {22},          {23}, {24, unlessEmpty},
    {25},          {35},         {87},          {30}, {32},
    {26, xmlSafe}, {31},         {34},          {33}, {27, xmlSafe},
    {28},          {29},         {47},
};

constexpr Fill kMBStartFills[] = {
    {13, xmlSafe}, {6, xmlSafe}, {7},  {11},          {12},          {14, xmlSafe}, {16}, {15, xmlSafe},
    {17},          {18},         {19}, {43, xmlSafe}, {44, xmlSafe}, {45, xmlSafe}, {46}, {47},
    {48},          {49},         {50}, {51},          {52, xmlSafe}, {53},          {54}, {55},
    {56},          {57},         {21}, {22},          {58},          {59},          {60}, {61},
};

constexpr Fill kEthernetStartFills[] = {
    {13, xmlSafe}, {6, xmlSafe}, {7}, {11}, {12}, {14, xmlSafe}, {16}, {17}, {18}, {19}, {21}, {22}, {73},
};

constexpr Fill kConnectionStartFills[] = {{8, event}, {9, index}};

constexpr Fill kConnectionStopFills[] = {
    {6, xmlSafe}, {7}, {13, xmlSafe}, {11}, {12}, {20}, {8, event}, {9, index}, {16}, {21}, {22},
};

constexpr Fill kDeviceFills[] = {
    {6, xmlSafe},  {64, xmlSafe}, {54},          {66, xmlSafe}, {67, xmlSafe}, {68, xmlSafe},
    {69, xmlSafe}, {70, xmlSafe}, {71, xmlSafe}, {43, xmlSafe}, {72, xmlSafe},
};

constexpr Fill kClientBeforeEnvironment[] = {{6, xmlSafe}, {7, xmlSafe}};
constexpr Fill kClientFills[] = {{0, marker}, {2}, {4}, {1}, {3}};

// 77 and 78 are filled from the parameters, and then again by the manager.
constexpr Fill kApplicationStartFills[] = {
    {6, xmlSafe}, {13, xmlSafe}, {86}, {75}, {76, xmlSafe}, {77},        {78},        {79},
    {80},         {81, xmlSafe}, {82}, {83}, {85, xmlSafe}, {77, event}, {78, index},
};

constexpr Fill kApplicationStopFills[] = {
    {6, xmlSafe}, {13, xmlSafe}, {86}, {75},          {76, xmlSafe}, {79},
    {80},         {82},          {84}, {85, xmlSafe}, {77, event},   {78, index},
};

constexpr Fill kUserAcceptanceFills[] = {{6, xmlSafe}, {13, xmlSafe}, {88}, {89}, {90}};

/// True when every field exists, and none is filled twice but by the manager itself, later.
constexpr bool isSound(Fills fills) {
  for (std::size_t at = 0; at < fills.size(); ++at) {
    if (fills[at].field >= FieldNameTable::kFields) return false;
    for (const Fill& later : fills.subspan(at + 1)) {
      const bool isManagers = later.filling == event || later.filling == index;
      if (later.field == fills[at].field && !isManagers) return false;
    }
  }
  return true;
}
static_assert(isSound(kWiFiStartFills) && isSound(kMBStartFills) && isSound(kEthernetStartFills) &&
              isSound(kConnectionStartFills) && isSound(kConnectionStopFills) && isSound(kDeviceFills) &&
              isSound(kClientBeforeEnvironment) && isSound(kClientFills) && isSound(kApplicationStartFills) &&
              isSound(kApplicationStopFills) && isSound(kUserAcceptanceFills));

template <typename Record>
std::unique_ptr<SQMConnectionRecord> make(Host& host) {
  return std::make_unique<Record>(host);
}

constexpr Medium kMedia[] = {
    {1, "WiFi", make<SQMWiFiConnectionRecord>, kWiFiStartFills},
    {2, "mobile", make<SQMMBConnectionRecord>, kMBStartFills},
    {3, "Ethernet", make<SQMEthernetConnectionRecord>, kEthernetStartFills},
};

}  // namespace

// Log readers know these texts: not to change, double blanks included.

const CreatingCall kConnectionStart = {
    .type = RecordType::connection,
    .fills = kConnectionStartFills,
    .event = "start",
    .order = Order::logThenStore,
    .disabledText = "Stopped generation of connection start Record as recording disabled \n\t",
    .generatedText = "Generated  Connection start Record  \n \t %@ \n\t",
};

const CreatingCall kConnectionStop = {
    .type = RecordType::connection,
    .fills = kConnectionStopFills,
    .event = "stop",
    .order = Order::logThenStore,
    .disabledText = "Stopped generation of  connection Stop Record as recording disabled \n\t",
    .generatedText = "Generated Connection Stop Record  \n \t %@ \n\t",
};

const CreatingCall kDevice = {
    .type = RecordType::device,
    .fills = kDeviceFills,
    .filterSubType = "mobiledevice",
    .order = Order::storeThenLog,
    .disabledText = "Stopped generation of  SQM Device Record as recording disabled \n\t",
    .generatedText = "Generated Device Record  \n \t %@ \n\t",
};

const CreatingCall kClient = {
    .type = RecordType::client,
    .fills = kClientFills,
    .filterSubType = "client",
    .order = Order::storeThenLog,
    .disabledText = "Stopped generation of  SQM Client record as recording disabled \n\t",
    .generatedText = "Generated CLIENT Record  \n \t %@ \n\t",
};

const CreatingCall kApplicationStart = {
    .type = RecordType::application,
    .fills = kApplicationStartFills,
    .event = "start",
    .order = Order::logThenStore,
    .disabledText = "Stopped generation of SQM Application start Record as recording is disabled\n\t",
    .generatedText = "Generated SQM Application start Record  \n \t %@ \n\t",
};

const CreatingCall kApplicationStop = {
    .type = RecordType::application,
    .fills = kApplicationStopFills,
    .event = "stop",
    .order = Order::logThenStore,
    .disabledText =
        "Stopped generation of  SQM Application start Record as recording is disabled\n\t",  // "start", of a stop
    .generatedText = "Generated SQM Application stop Record  \n \t %@ \n\t",
};

const CreatingCall kUserAcceptance = {
    .type = RecordType::userAcceptance,
    .fills = kUserAcceptanceFills,
    .filterSubType = "",
    .order = Order::storeThenLog,
    .disabledText = "Stopped generation of SQM User Acceptance Record as recording is disabled \n\t",
    .generatedText = "Generated user acceptance Record  \n \t %@ \n\t",
};

const Fills kClientFillsBeforeEnvironment = kClientBeforeEnvironment;

const Medium* mediumOf(std::int64_t deviceType) {
  const auto found = std::find_if(std::begin(kMedia), std::end(kMedia),
                                  [&](const Medium& medium) { return medium.deviceType == deviceType; });
  return found == std::end(kMedia) ? nullptr : found;
}

}  // namespace sqm
