#pragma once

#include <array>
#include <functional>
#include <span>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tools/sqmctl/play/Arguments.h"
#include "tools/sqmctl/play/Player.h"

namespace sqmctl::play {

using Result = nlohmann::ordered_json;

/// One operation of the scenario language. `run` is called with arguments that have been checked.
struct Operation {
  enum class Needs { nothing, standingClock };

  std::string_view name;
  std::span<const Argument> arguments;
  Result (*run)(Player& player, const Arguments& arguments);
  Needs needs = Needs::nothing;
};

// The operations, by the class that they call.
std::span<const Operation> managerOperations();
std::span<const Operation> collectorOperations();
std::span<const Operation> queueOperations();
std::span<const Operation> diagnosticsOperations();
std::span<const Operation> deliveryOperations();

/// The time limit of an upload for which the scenario sets none, in seconds.
inline constexpr double kDefaultTimeout = 60;
inline constexpr Argument kTimeout = optional("timeoutSeconds", kSeconds);

inline double timeoutOf(const Arguments& arguments) { return arguments.number(kTimeout.name, kDefaultTimeout); }

/// The arguments of an operation that takes nothing but texts.
template <typename... Names>
constexpr std::array<Argument, sizeof...(Names)> texts(Names... names) {
  return {required(names, kText)...};
}

// Operations that call one function of an object of the player, and have the result null.

template <auto object, auto call>
Result plain(Player& player, const Arguments& /*arguments*/) {
  std::invoke(call, std::invoke(object, player));
  return nullptr;
}

inline constexpr Argument kValue[] = {required("value", kInteger)};

template <auto object, auto call>
Result withInteger(Player& player, const Arguments& arguments) {
  std::invoke(call, std::invoke(object, player), arguments.integer("value"));
  return nullptr;
}

}  // namespace sqmctl::play
