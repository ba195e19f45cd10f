#include "tools/sqmctl/play/Scenario.h"

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

#include "tools/sqmctl/play/JsonLine.h"

namespace sqmctl::play {

namespace {

constexpr std::string_view kDo = "do";

std::array<std::span<const Operation>, 5> allOperations() {
  return {managerOperations(), collectorOperations(), queueOperations(), diagnosticsOperations(), deliveryOperations()};
}

const Operation* operationNamed(std::string_view name) {
  for (const auto operations : allOperations()) {
    const auto found =
        std::find_if(operations.begin(), operations.end(), [&](const Operation& each) { return each.name == name; });
    if (found != operations.end()) return &*found;
  }
  return nullptr;
}

std::string namesOfOperations() {
  std::string names;
  for (const auto operations : allOperations()) {
    for (const Operation& each : operations) names.append(names.empty() ? "" : ", ").append(each.name);
  }
  return names;
}

bool isComment(std::string_view line) {
  const std::size_t begin = line.find_first_not_of(" \t\r");
  return begin == std::string_view::npos || line[begin] == '#';
}

}  // namespace

std::optional<Step> Scenario::next() {
  while (lines_.next()) {
    if (lines_.isTooLong()) {
      return Step{.fault = "longer than " + std::to_string(Lines::kLongest >> 20) + " MiB, the limit of a line"};
    }
    if (!isComment(lines_.text())) return stepOf(lines_.text());
  }
  return std::nullopt;
}

Step Scenario::stepOf(std::string_view line) const {
  auto read = objectOf(line);
  if (auto* fault = std::get_if<Fault>(&read)) return {.fault = std::move(fault->text)};
  Step step{.arguments = std::move(std::get<sqm::JsonObject>(read))};
  const auto member = std::find_if(step.arguments.begin(), step.arguments.end(),
                                   [](const sqm::JsonMember& each) { return each.key == kDo; });
  if (member == step.arguments.end()) {
    step.fault = R"("do" is missing: the name of the operation, as in {"do":"save"})";
    return step;
  }
  const auto* name = std::get_if<std::string>(&member->value);
  step.operation = name == nullptr ? nullptr : operationNamed(*name);
  if (step.operation == nullptr) {
    step.fault = "unknown operation " + shown(member->value) + "; the operations are: " + namesOfOperations();
  } else if (step.operation->needs == Operation::Needs::standingClock && !hasStandingClock_) {
    step.fault = *name + ": the clock can be moved only with the option --time";
  } else if (std::string problem = problemWith(step.arguments, step.operation->arguments, kDo); !problem.empty()) {
    step.fault = *name + ": " + problem;
  }
  return step;
}

}  // namespace sqmctl::play
