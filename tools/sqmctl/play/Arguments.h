#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sqm/common/Json.h"

namespace sqmctl::play {

/// The type of an argument's value.
struct Type {
  /// Why a value is not of the type, as the end of a sentence that begins with its name: "must be a string, not 5".
  /// Empty when it is.
  std::string (*problem)(const sqm::JsonValue& value);
};

extern const Type kText;
extern const Type kPath;        ///< a text without a NUL
extern const Type kInteger;     ///< of 64 bits, signed
extern const Type kUnsigned32;  ///< an integer of 32 bits, unsigned
extern const Type kNumber;
extern const Type kSeconds;  ///< a number, 0 or more
extern const Type kParams;   ///< session parameters: an object with decimal keys
extern const Type kEntry;    ///< of a diagnostics array: a string or an object
extern const Type kEntries;  ///< a list of entries
extern const Type kDisableRules;
extern const Type kReplaceRules;
extern const Type kConsent;  ///< "granted", "withheld" or "revoked"

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

/// Why the members of an object do not fit `arguments`; empty when they do. The member `ignored` is not checked.
std::string problemWith(const sqm::JsonObject& members, std::span<const Argument> arguments,
                        std::string_view ignored = {});

/// The number that a decimal text stands for; nothing for any other text and beyond 64 bits.
std::optional<std::int64_t> integerOf(std::string_view digits);

/// Reads the members of an object that `problemWith` has accepted. A null member reads like an absent one.
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
