// The operations of the manager. One manager serves the whole run, until `restart`.

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "sqm/manager/SQMSessionParams.h"
#include "sqm/platform/RuleFilter.h"

#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

namespace {

using sqm::JsonObject;
using sqm::SQMManager;
using sqm::SQMSessionParams;
using sqm::platform::DisableRule;
using sqm::platform::ReplaceRule;

/// One address for each record type.
constexpr auto kAddressArguments = [] {
  std::array<Argument, sqm::kRecordTypes.size()> arguments{};
  for (std::size_t at = 0; at < arguments.size(); ++at) {
    arguments[at] = optionalNullable(sqm::rowOf(sqm::kRecordTypes[at]).key, kText);
  }
  return arguments;
}();

Result setURLs(Player& player, const Arguments& arguments) {
  for (const auto& row : sqm::kRecordTypeTable) {
    if (arguments.has(row.key)) player.manager().setURL(row.type, arguments.text(row.key));
  }
  return nullptr;
}

constexpr Argument kParamsOrNull[] = {nullable("params", kParams)};
constexpr Argument kParamsAlone[] = {required("params", kParams)};

SQMSessionParams paramsOf(const JsonObject& values) {
  SQMSessionParams params;
  for (const auto& [key, value] : values) {
    const std::int64_t number = integerOf(key).value();
    const auto* literal = std::get_if<sqm::JsonLiteral>(&value);
    const auto integer = literal == nullptr ? std::nullopt : integerOf(literal->text);  // nothing for null
    if (literal == nullptr) {
      params.setStringValue(std::get<std::string>(value), number);
    } else if (integer) {
      params.setIntValue(*integer, number);
    } else {
      params.setStringValue(std::nullopt, number);
    }
  }
  return params;
}

template <bool (SQMManager::*call)(const SQMSessionParams*)>
Result create(Player& player, const Arguments& arguments) {
  const JsonObject* values = arguments.object("params");
  if (values == nullptr) return (player.manager().*call)(nullptr);
  const SQMSessionParams params = paramsOf(*values);
  return (player.manager().*call)(&params);
}

Result upload(Player& player, const Arguments& arguments) {
  return {{"notifications", player.upload(timeoutOf(arguments))}};
}

/// The rules of one of the filter's two lists, which is empty when it is absent.
template <typename Rule>
std::vector<Rule> rulesOf(const sqm::JsonArray* list) {
  std::vector<Rule> rules;
  if (list == nullptr) return rules;
  for (const auto& each : *list) {
    const Arguments members(std::get<JsonObject>(each));
    Rule& rule = rules.emplace_back(Rule{.name = members.text("name"), .subType = members.text("subType")});
    if constexpr (std::is_same_v<Rule, ReplaceRule>) {
      for (const auto& [field, text] : *members.object("values")) {
        rule.values.emplace_back(field, std::get<std::string>(text));
      }
    }
  }
  return rules;
}

Result filter(Player& player, const Arguments& arguments) {
  player.filter().setRules(rulesOf<DisableRule>(arguments.list("disable")),
                           rulesOf<ReplaceRule>(arguments.list("replace")));
  return nullptr;
}

constexpr Argument kUpload[] = {kTimeout};
constexpr Argument kTimeStamp[] = {nullable("value", kText)};
constexpr Argument kFilter[] = {optional("disable", kDisableRules), optional("replace", kReplaceRules)};

constexpr Operation kOperations[] = {
    {"setURLs", kAddressArguments, setURLs},
    {"setDeviceType", kValue, withInteger<&Player::manager, &SQMManager::setDeviceType>},
    {"connectionStart", kParamsOrNull, create<&SQMManager::sqmCreateStartRecord>},
    {"connectionStop", kParamsOrNull, create<&SQMManager::sqmCreateStopRecord>},
    {"applicationStart", kParamsOrNull, create<&SQMManager::sqmCreateApplicationStartRecord>},
    {"applicationStop", kParamsOrNull, create<&SQMManager::sqmCreateApplicationStopRecord>},
    {"device", kParamsAlone, create<&SQMManager::sqmCreateDeviceRecord>},
    {"client", kParamsAlone, create<&SQMManager::sqmCreateClientRecord>},
    {"userAcceptance", kParamsAlone, create<&SQMManager::sqmCreateUserAcceptanceRecord>},
    {"save", {}, plain<&Player::manager, &SQMManager::saveToDisk>},
    {"upload", kUpload, upload},
    {"restart", {}, plain<std::identity{}, &Player::restart>},
    {"timeStamp", kTimeStamp,
     [](Player& player, const Arguments& arguments) -> Result {
       player.setClientTimeStamp(arguments.text("value"));
       return nullptr;
     }},
    {"filter", kFilter, filter},
};

}  // namespace

std::span<const Operation> managerOperations() { return kOperations; }

}  // namespace sqmctl::play
