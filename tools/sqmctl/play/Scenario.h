#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/JsonValue.h"

#include "tools/sqmctl/play/Lines.h"
#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

/// One line of a scenario: an operation and its arguments, or what is wrong with it.
struct Step {
  const Operation* operation = nullptr;
  sqm::JsonObject arguments{};
  std::string fault{};  ///< empty: none
};

/// Reads a scenario, step by step, and checks each on the way.
class Scenario {
 public:
  /// `file` as in Lines. Without a clock that stands, `advance` is a fault.
  Scenario(const std::string& file, bool hasStandingClock) : lines_(file), hasStandingClock_(hasStandingClock) {}

  /// The next step; nothing when there are no more. Blank lines and comments are passed over.
  std::optional<Step> next();
  void rewind() { lines_.rewind(); }

  /// The number of the step's line.
  std::size_t line() const { return lines_.number(); }

 private:
  Step stepOf(std::string_view line) const;

  Lines lines_;
  bool hasStandingClock_;
};

}  // namespace sqmctl::play
