#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "sqm/common/Host.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/store/RecordTypes.h"

namespace sqm {

/// How one field of a record is filled.
enum class Filling : std::uint8_t {
  plain,        ///< with the session parameter of the same number, unchanged
  xmlSafe,      ///< with the session parameter, made safe as XML content
  unlessEmpty,  ///< as `plain`, where the parameter is not empty
  event,        ///< with the call's event: "start" or "stop"
  index,        ///< with the number of the record
  marker        ///< with the empty text
};

struct Fill {
  std::uint8_t field = 0;
  Filling filling = Filling::plain;
};

/// What is filled, in this order: where fields share a name, the last one's value stays.
using Fills = std::span<const Fill>;

/// A creating call of the manager: what it fills, and how the record is filtered, stored and logged.
struct CreatingCall {
  enum class Order : std::uint8_t { logThenStore, storeThenLog };

  RecordType type;
  Fills fills;
  std::string_view event = {};                                   ///< what `Filling::event` fills
  std::optional<std::string_view> filterSubType = std::nullopt;  ///< nothing: the record's own
  Order order = Order::logThenStore;
  std::string_view disabledText;   ///< logged when a filter disables recording
  std::string_view generatedText;  ///< logged with the record's text
};

extern const CreatingCall kConnectionStart;  // fills what is left after the medium's fills
extern const CreatingCall kConnectionStop;
extern const CreatingCall kDevice;
extern const CreatingCall kClient;  // fills what is left after the environment's values
extern const CreatingCall kApplicationStart;
extern const CreatingCall kApplicationStop;
extern const CreatingCall kUserAcceptance;

/// What the client call fills before the environment's values.
extern const Fills kClientFillsBeforeEnvironment;

/// A connection medium.
struct Medium {
  std::int64_t deviceType;
  std::string_view name;
  std::unique_ptr<SQMConnectionRecord> (*makeRecord)(Host& host);
  Fills startFills;
};

/// The medium with this number; null when there is none.
const Medium* mediumOf(std::int64_t deviceType);

}  // namespace sqm
