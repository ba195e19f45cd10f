#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Json.h"

#include "tools/sqmctl/play/Lines.h"
#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

/// One line of a scenario: an operation and its arguments, or the line's fault.
struct Step {
  const Operation* operation = nullptr;
  sqm::JsonObject arguments{};
  std::string fault{};  ///< empty: none
};

/// Reads and checks a scenario step by step.
class Scenario {
 public:
  /// `file` as in `Lines`. Without a standing clock the operation `advance` is a fault.
  Scenario(const std::string& file, bool hasStandingClock) : lines_(file), hasStandingClock_(hasStandingClock) {}

  /// The next step; nothing at the end. Skips blank lines and comments.
  std::optional<Step> next();
  void rewind() { lines_.rewind(); }

  /// The line number of the step.
  std::size_t line() const { return lines_.number(); }

 private:
  Step stepOf(std::string_view line) const;

  Lines lines_;
  bool hasStandingClock_;
};

}  // namespace sqmctl::play
