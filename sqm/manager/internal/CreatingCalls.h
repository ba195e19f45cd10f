#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/store/SQMRecordStore.h"

namespace sqm {

/// How one field of a record is filled.
enum class Filling : std::uint8_t {
  plain,        ///< from the session parameter of the same number, as it stands
  xmlSafe,      ///< from the session parameter, made safe as XML content
  unlessEmpty,  ///< as `plain`, where the parameter is not empty
  event,        ///< with the event's name: "start" or "stop"
  index,        ///< with the number of the record
  marker        ///< with the empty text
};

struct Fill {
  std::uint8_t field = 0;
  Filling filling = Filling::plain;
};

using Fills = std::span<const Fill>;

/// How a call of the manager records the record that it made.
struct CreatingCall {
  enum class Order : std::uint8_t { logThenStore, storeThenLog };

  RecordType type;
  std::optional<std::string_view> filterSubType;  ///< nothing: the record's own
  std::string_view disabledText;                  ///< logged where a filter suppresses the record
  std::string_view generatedText;                 ///< logged with the record's text
  Order order;
};

extern const CreatingCall kConnectionStartCall;
extern const CreatingCall kConnectionStopCall;
extern const CreatingCall kDeviceCall;
extern const CreatingCall kClientCall;
extern const CreatingCall kApplicationStartCall;
extern const CreatingCall kApplicationStopCall;
extern const CreatingCall kUserAcceptanceCall;

// What the calls fill, in the order of filling. A later row wins where fields share a name.
extern const Fills kConnectionStopFills;
extern const Fills kDeviceFills;
extern const Fills kClientFillsBeforeEnvironment;
extern const Fills kClientFillsAfterEnvironment;
extern const Fills kApplicationStartFills;
extern const Fills kApplicationStopFills;
extern const Fills kUserAcceptanceFills;

/// A connection medium.
struct Medium {
  std::int64_t deviceType;
  std::string_view name;
  std::unique_ptr<SQMConnectionRecord> (*makeRecord)(Host& host);
  Fills startFills;
};

/// The medium with this number; null for a number that stands for none.
const Medium* mediumOf(std::int64_t deviceType);

}  // namespace sqm
