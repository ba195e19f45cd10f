#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sqm/common/JsonValue.h"

namespace sqmctl::play {

/// What kind of value an argument takes.
struct Type {
  /// What is wrong with a value, to stand after its name: "must be a string, not 5". Empty when nothing is.
  std::string (*problem)(const sqm::JsonValue& value);
};

extern const Type kText;
extern const Type kPath;        ///< a text that can name a file
extern const Type kInteger;     ///< of 64 bits
extern const Type kUnsigned32;  ///< an integer of 32 bits without a sign
extern const Type kNumber;
extern const Type kSeconds;  ///< a number that is not negative
extern const Type kParams;   ///< an object of session parameters, by decimal keys
extern const Type kEntry;    ///< of a diagnostics array: a text or an object
extern const Type kEntries;  ///< a list of them
extern const Type kDisableRules;
extern const Type kReplaceRules;

/// One argument of an operation, or one member of a nested object.
struct Argument {
  std::string_view name;
  const Type* type;
  bool mayBeLeftOut = false;
  bool mayBeNull = false;
};

constexpr Argument required(std::string_view name, const Type& type) { return {name, &type}; }
constexpr Argument nullable(std::string_view name, const Type& type) { return {name, &type, false, true}; }
constexpr Argument optional(std::string_view name, const Type& type) { return {name, &type, true, false}; }
constexpr Argument optionalNullable(std::string_view name, const Type& type) { return {name, &type, true, true}; }

/// What is wrong with the members of an object, other than the one called `besides`; empty when nothing is.
std::string problemWith(const sqm::JsonObject& members, std::span<const Argument> arguments,
                        std::string_view besides = {});

/// The decimal number that a text is; nothing when it is none, or needs more than 64 bits.
std::optional<std::int64_t> integerOf(std::string_view digits);

/// The members of an object that has been checked, by name and type. A member that is null reads like one left out.
class Arguments {
 public:
  explicit Arguments(const sqm::JsonObject& members) : members_(members) {}

  bool has(std::string_view name) const;
  std::optional<std::string> text(std::string_view name) const;
  std::int64_t integer(std::string_view name) const;
  double number(std::string_view name, double otherwise = 0) const;
  const sqm::JsonObject* object(std::string_view name) const;
  const sqm::JsonArray* list(std::string_view name) const;
  const sqm::JsonValue& value(std::string_view name) const;

 private:
  template <typename Alternative>
  const Alternative* get(std::string_view name) const;

  const sqm::JsonObject& members_;
};

}  // namespace sqmctl::play
