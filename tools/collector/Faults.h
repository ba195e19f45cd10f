#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace collector {

/// One fault of the server, the requests that it affects, and how often: `PATH:FAULT[:TIMES]`.
struct FaultRule {
  enum class Kind : std::uint8_t {
    status,       ///< answers with another status
    delay,        ///< answers late
    resetBefore,  ///< resets the connection before any byte of the answer
    resetInside,  ///< resets the connection inside the answer
    cut           ///< sends a body shorter than it announces, and closes
  };

  std::string path;  ///< as the client wrote it, or "*" for all
  Kind kind = Kind::status;
  int status = 0;                      ///< of Kind::status
  std::chrono::milliseconds delay{0};  ///< of Kind::delay
  std::optional<std::uint64_t> times;  ///< remaining uses; nothing: unlimited

  bool operator==(const FaultRule&) const = default;
};

/// Reads a rule. Throws std::invalid_argument, whose text says what is wrong and what is expected.
FaultRule parseFaultRule(std::string_view text);

/// The text of a rule, which `parseFaultRule` reads as the same rule.
std::string textOf(const FaultRule& rule);

/// The faults of one request.
struct Misfortune {
  std::chrono::milliseconds delay{0};
  std::optional<FaultRule> fault;  ///< never Kind::delay
};

/// The faults of a request to `path`: the first matching rule that is no delay, and the sum of the matching delays
/// before it. Each of these rules is used once, and is removed when it is used up.
Misfortune useRules(std::vector<FaultRule>& rules, std::string_view path);

/// The `answered` text of a request with this fault: "200", "500", "reset", "cut".
std::string answeredText(const std::optional<FaultRule>& fault);

/// The rules in force.
///
/// Threading: any thread.
class Faults {
 public:
  explicit Faults(std::vector<FaultRule> rules) : rules_(std::move(rules)) {}

  Misfortune next(std::string_view path);
  void replace(std::vector<FaultRule> rules);
  std::vector<std::string> texts() const;

 private:
  mutable std::mutex mutex_;
  std::vector<FaultRule> rules_;
};

}  // namespace collector
