#include "tools/collector/Faults.h"

#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "tools/support/Number.h"

namespace collector {

namespace {

using Kind = FaultRule::Kind;
using tools::numberIn;

constexpr double kLongestDelay = 3600;  // seconds

/// The spellings of the faults. Those with "=" take a number.
struct Spelling {
  std::string_view text;
  Kind kind;
};
constexpr std::array kSpellings = {
    Spelling{"status=", Kind::status},
    Spelling{"delay=", Kind::delay},
    Spelling{"reset=before", Kind::resetBefore},
    Spelling{"reset=inside", Kind::resetInside},
    Spelling{"cut", Kind::cut},
};

constexpr std::string_view kForms =
    "a rule is PATH:FAULT or PATH:FAULT:TIMES, such as /sqm:status=500:once; PATH is a path or *, FAULT is "
    "status=CODE, "
    "delay=SECONDS, reset=before, reset=inside or cut, TIMES is once, a number or always";

[[noreturn]] void reject(std::string_view rule, const std::string& what) {
  throw std::invalid_argument("the fault rule '" + std::string(rule) + "' " + what + "; " + std::string(kForms));
}

void readFault(FaultRule& rule, std::string_view fault, std::string_view text) {
  for (const Spelling& spelling : kSpellings) {
    const bool takesNumber = spelling.text.back() == '=';
    if (takesNumber ? !fault.starts_with(spelling.text) : fault != spelling.text) continue;
    rule.kind = spelling.kind;
    const std::string_view value = fault.substr(spelling.text.size());
    if (spelling.kind == Kind::status) {
      const auto status = numberIn<int>(value);
      if (!status || *status < 200 || *status > 599) reject(text, "has a status that is none from 200 to 599");
      rule.status = *status;
    }
    if (spelling.kind == Kind::delay) {
      const auto seconds = numberIn<double>(value);
      if (!seconds || !(*seconds >= 0 && *seconds <= kLongestDelay)) {
        reject(text, "has a delay that is no number of seconds from 0 to 3600");
      }
      rule.delay = std::chrono::milliseconds(std::llround(*seconds * 1000));
    }
    return;
  }
  reject(text, "names no fault that there is: '" + std::string(fault) + "'");
}

std::optional<std::uint64_t> readTimes(std::string_view times, std::string_view text) {
  if (times == "always") return std::nullopt;
  if (times == "once") return 1;
  const auto count = numberIn<std::uint64_t>(times);
  if (!count || *count == 0) reject(text, "does not say how often: '" + std::string(times) + "'");
  return count;
}

}  // namespace

FaultRule parseFaultRule(std::string_view text) {
  const auto fault = text.find(':');
  if (fault == std::string_view::npos) reject(text, "names no fault");
  const auto times = text.find(':', fault + 1);
  FaultRule rule;
  rule.path = text.substr(0, fault);
  if (rule.path != "*" && !rule.path.starts_with('/')) reject(text, "has a path that does not begin with '/'");
  readFault(rule, text.substr(fault + 1, times == std::string_view::npos ? times : times - fault - 1), text);
  if (times != std::string_view::npos) rule.times = readTimes(text.substr(times + 1), text);
  return rule;
}

std::string textOf(const FaultRule& rule) {
  std::string text = rule.path + ":";
  for (const Spelling& spelling : kSpellings) {
    if (spelling.kind == rule.kind) text += spelling.text;
  }
  if (rule.kind == Kind::status) text += std::to_string(rule.status);
  if (rule.kind == Kind::delay) {
    std::array<char, 32> seconds{};
    const double value = static_cast<double>(rule.delay.count()) / 1000;
    text.append(seconds.data(), std::to_chars(seconds.data(), seconds.data() + seconds.size(), value).ptr);
  }
  text += ":";
  return text + (!rule.times ? "always" : *rule.times == 1 ? "once" : std::to_string(*rule.times));
}

Misfortune useRules(std::vector<FaultRule>& rules, std::string_view path) {
  Misfortune misfortune;
  for (FaultRule& rule : rules) {
    if (rule.path != "*" && rule.path != path) continue;
    if (rule.times) --*rule.times;
    if (rule.kind != Kind::delay) {
      misfortune.fault = rule;
      break;
    }
    misfortune.delay += rule.delay;
  }
  std::erase_if(rules, [](const FaultRule& rule) { return rule.times == 0; });
  return misfortune;
}

std::string answeredText(const std::optional<FaultRule>& fault) {
  if (!fault) return "200";
  switch (fault->kind) {
    case Kind::resetBefore:
    case Kind::resetInside:
      return "reset";
    case Kind::cut:
      return "cut";
    case Kind::status:
    case Kind::delay:
      break;
  }
  return std::to_string(fault->status);
}

Misfortune Faults::next(std::string_view path) {
  const std::lock_guard lock(mutex_);
  return useRules(rules_, path);
}

void Faults::replace(std::vector<FaultRule> rules) {
  const std::lock_guard lock(mutex_);
  rules_ = std::move(rules);
}

std::vector<std::string> Faults::texts() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> texts;
  for (const FaultRule& rule : rules_) texts.push_back(textOf(rule));
  return texts;
}

}  // namespace collector
