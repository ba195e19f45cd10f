#include "tools/sqmctl/play/Arguments.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sqm/delivery/UserConsent.h"

#include "tools/sqmctl/play/JsonLine.h"
#include "tools/support/Number.h"

namespace sqmctl::play {

namespace {

using sqm::JsonArray;
using sqm::JsonLiteral;
using sqm::JsonObject;
using sqm::JsonValue;

const JsonValue* find(const JsonObject& members, std::string_view name) {
  const auto found = std::find_if(members.begin(), members.end(), [&](const auto& each) { return each.key == name; });
  return found == members.end() ? nullptr : &found->value;
}

bool isNull(const JsonValue& value) {
  const auto* literal = std::get_if<JsonLiteral>(&value);
  return literal != nullptr && literal->text == "null";
}

constexpr std::string_view kNot = ", not ";

std::string mustBe(std::string_view what, const JsonValue& value) {
  return std::string("must be ").append(what).append(kNot).append(shown(value));
}

std::string mustHold(std::string_view what, std::string_view key, const JsonValue& value) {
  return std::string("must hold ").append(what).append(kNot).append(shown(value)) + " under " + shownText(key);
}

std::optional<double> numberOf(const JsonValue& value) {
  const auto* literal = std::get_if<JsonLiteral>(&value);
  return literal == nullptr ? std::nullopt : tools::numberIn<double>(literal->text);
}

template <typename Integer>
bool isInteger(const JsonValue& value) {
  const auto* literal = std::get_if<JsonLiteral>(&value);
  const auto number = literal == nullptr ? std::nullopt : integerOf(literal->text);
  return number && *number >= static_cast<std::int64_t>(std::numeric_limits<Integer>::min()) &&
         *number <= static_cast<std::int64_t>(std::numeric_limits<Integer>::max());
}

std::string problemWithText(const JsonValue& value) {
  return std::holds_alternative<std::string>(value) ? "" : mustBe("a string", value);
}

std::string problemWithPath(const JsonValue& value) {
  const auto* path = std::get_if<std::string>(&value);
  if (path == nullptr) return mustBe("a string", value);
  return path->find('\0') == std::string::npos ? "" : "must be a path, without a NUL";
}

std::string problemWithInteger(const JsonValue& value) {
  return isInteger<std::int64_t>(value) ? "" : mustBe("a 64-bit integer", value);
}

std::string problemWithUnsigned32(const JsonValue& value) {
  return isInteger<std::uint32_t>(value) ? "" : mustBe("an integer from 0 to 4294967295", value);
}

std::string problemWithNumber(const JsonValue& value) { return numberOf(value) ? "" : mustBe("a number", value); }

std::string problemWithSeconds(const JsonValue& value) {
  return numberOf(value).value_or(-1) >= 0 ? "" : mustBe("a number of seconds, 0 or more", value);
}

std::string problemWithParams(const JsonValue& value) {
  const auto* params = std::get_if<JsonObject>(&value);
  if (params == nullptr) return mustBe("an object", value);
  for (const auto& [key, param] : *params) {
    if (!integerOf(key)) return "must have 64-bit decimal keys, not " + shownText(key);
    if (!std::holds_alternative<std::string>(param) && !isNull(param) && !isInteger<std::int64_t>(param)) {
      return mustHold("strings, 64-bit integers and null", key, param);
    }
  }
  return "";
}

std::string problemWithEntry(const JsonValue& value) {
  const bool isEntry = std::holds_alternative<std::string>(value) || std::holds_alternative<JsonObject>(value);
  return isEntry ? "" : mustBe("a string or an object", value);
}

/// The problem of the first invalid element of a list, after its index.
std::string problemWithList(const JsonValue& value, std::string (*problem)(const JsonValue&)) {
  const auto* list = std::get_if<JsonArray>(&value);
  if (list == nullptr) return mustBe("a list", value);
  for (std::size_t at = 0; at < list->size(); ++at) {
    const std::string found = problem((*list)[at]);
    if (!found.empty()) return "[" + std::to_string(at) + "] " + found;
  }
  return "";
}

std::string problemWithEntries(const JsonValue& value) { return problemWithList(value, problemWithEntry); }

std::string problemWithRule(const JsonValue& value, std::span<const Argument> members) {
  const auto* rule = std::get_if<JsonObject>(&value);
  if (rule == nullptr) return mustBe("an object", value);
  const std::string found = problemWith(*rule, members);
  return found.empty() ? "" : "is invalid: " + found;
}

std::string problemWithFieldTexts(const JsonValue& value) {
  const auto* texts = std::get_if<JsonObject>(&value);
  if (texts == nullptr) return mustBe("an object", value);
  for (const auto& [field, text] : *texts) {
    if (!std::holds_alternative<std::string>(text)) return mustHold("strings", field, text);
  }
  return "";
}

constexpr Type kFieldTexts = {problemWithFieldTexts};

std::string problemWithDisableRules(const JsonValue& value) {
  return problemWithList(value, [](const JsonValue& rule) {
    static constexpr Argument kMembers[] = {nullable("name", kText), optionalNullable("subType", kText)};
    return problemWithRule(rule, kMembers);
  });
}

std::string problemWithReplaceRules(const JsonValue& value) {
  return problemWithList(value, [](const JsonValue& rule) {
    static constexpr Argument kMembers[] = {nullable("name", kText), optionalNullable("subType", kText),
                                            required("values", kFieldTexts)};
    return problemWithRule(rule, kMembers);
  });
}

std::string unknown(std::string_view name, std::span<const Argument> arguments) {
  std::string names;
  for (const Argument& each : arguments) names.append(names.empty() ? "; the keys are: " : ", ").append(each.name);
  return "unknown key " + shownText(name) + names;
}

std::string problemWithConsent(const JsonValue& value) {
  const auto* name = std::get_if<std::string>(&value);
  const bool isKnown = name != nullptr && sqm::delivery::consentNamed(*name);
  return isKnown ? "" : mustBe(R"("granted", "withheld" or "revoked")", value);
}

/// Adds null to the types that the problem of a nullable argument names.
std::string orNull(std::string problem) {
  const std::size_t end = problem.starts_with("must be ") ? problem.find(kNot) : std::string::npos;
  if (end != std::string::npos) problem.insert(end, " or null");
  return problem;
}

}  // namespace

constexpr Type kText = {problemWithText};
constexpr Type kPath = {problemWithPath};
constexpr Type kInteger = {problemWithInteger};
constexpr Type kUnsigned32 = {problemWithUnsigned32};
constexpr Type kNumber = {problemWithNumber};
constexpr Type kSeconds = {problemWithSeconds};
constexpr Type kParams = {problemWithParams};
constexpr Type kEntry = {problemWithEntry};
constexpr Type kEntries = {problemWithEntries};
constexpr Type kDisableRules = {problemWithDisableRules};
constexpr Type kReplaceRules = {problemWithReplaceRules};
constexpr Type kConsent = {problemWithConsent};

std::string problemWith(const JsonObject& members, std::span<const Argument> arguments, std::string_view ignored) {
  for (const auto& [key, value] : members) {
    if (key == ignored) continue;
    const auto known = std::find_if(arguments.begin(), arguments.end(),
                                    [&name = key](const Argument& each) { return each.name == name; });
    if (known == arguments.end()) return unknown(key, arguments);
    if (isNull(value) && known->mayBeNull) continue;
    const std::string problem = known->type->problem(value);
    if (problem.empty()) continue;
    const char* const space = problem.starts_with('[') ? "" : " ";
    return "\"" + key + "\"" + space + (known->mayBeNull ? orNull(problem) : problem);
  }
  for (const Argument& argument : arguments) {
    if (!argument.mayBeLeftOut && find(members, argument.name) == nullptr) {
      return "\"" + std::string(argument.name) + "\" is missing" +
             (argument.mayBeNull ? "; null stands for an absent value" : "");
    }
  }
  return "";
}

std::optional<std::int64_t> integerOf(std::string_view digits) { return tools::numberIn<std::int64_t>(digits); }

template <typename Alternative>
const Alternative* Arguments::get(std::string_view name) const {
  const JsonValue* value = find(members_, name);
  return value == nullptr ? nullptr : std::get_if<Alternative>(value);
}

bool Arguments::has(std::string_view name) const { return find(members_, name) != nullptr; }

std::optional<std::string> Arguments::text(std::string_view name) const {
  const auto* text = get<std::string>(name);
  return text == nullptr ? std::nullopt : std::optional(*text);
}

std::int64_t Arguments::integer(std::string_view name) const {
  const auto* literal = get<JsonLiteral>(name);
  return literal == nullptr ? 0 : integerOf(literal->text).value_or(0);
}

double Arguments::number(std::string_view name, double otherwise) const {
  const JsonValue* value = find(members_, name);
  return value == nullptr ? otherwise : numberOf(*value).value_or(otherwise);
}

const JsonObject* Arguments::object(std::string_view name) const { return get<JsonObject>(name); }

const JsonArray* Arguments::list(std::string_view name) const { return get<JsonArray>(name); }

const JsonValue& Arguments::value(std::string_view name) const { return *find(members_, name); }

}  // namespace sqmctl::play
