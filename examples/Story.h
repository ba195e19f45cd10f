#pragma once

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

#include "sqm/manager/SQMSessionParams.h"

namespace story {

/// A value of an event: a text or a number.
struct Value {
  std::int64_t key;
  std::variant<std::string_view, std::int64_t> value;
};

/// The session parameters of one event.
inline sqm::SQMSessionParams event(std::initializer_list<Value> values) {
  sqm::SQMSessionParams params;
  for (const auto& [key, value] : values) {
    if (const auto* text = std::get_if<std::string_view>(&value)) {
      params.setStringValue(*text, key);
    } else {
      params.setIntValue(std::get<std::int64_t>(value), key);
    }
  }
  return params;
}

inline void print(const char* time, const char* what) { std::printf("  %s  %s\n", time, what); }

}  // namespace story
