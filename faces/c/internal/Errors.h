#pragma once

#include <cstdlib>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "faces/c/sqm-c/base.h"

namespace sqm::c {

/// An error of a call, with the status that it returns.
class Failure : public std::runtime_error {
 public:
  Failure(sqm_status status, const std::string& what) : std::runtime_error(what), status_(status) {}
  sqm_status status() const { return status_; }

 private:
  sqm_status status_;
};

/// Makes the thread's last error the empty text.
void clearError() noexcept;

/// Inside a handler: keeps what is wrong as the thread's last error. Returns its status.
sqm_status keepError() noexcept;

/// Runs the body of a call that returns a status. Nothing escapes.
template <typename Body>
sqm_status attempt(Body&& body) noexcept {
  clearError();
  try {
    std::forward<Body>(body)();
    return SQM_OK;
  } catch (...) {
    return keepError();
  }
}

/// Runs the body of a call that returns a value, which after a failure is `failed`. Nothing escapes.
template <typename Value, typename Body>
Value valueOr(Value failed, Body&& body) noexcept {
  clearError();
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    keepError();
    return failed;
  }
}

inline void require(bool holds, const char* what) {
  if (!holds) throw Failure(SQM_INVALID_ARGUMENT, what);
}

/// A text that may be absent.
inline std::optional<std::string_view> textOf(const char* text) {
  return text == nullptr ? std::nullopt : std::optional<std::string_view>(text);
}

inline std::optional<std::string> ownedTextOf(const char* text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

/// A text for the caller, who frees it; null when it is absent.
inline char* newText(std::optional<std::string_view> text) {
  if (!text) return nullptr;
  // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what C programs get is not from `new`
  auto* copy = static_cast<char*>(std::malloc(text->size() + 1));
  if (copy == nullptr) throw std::bad_alloc();
  text->copy(copy, text->size());
  copy[text->size()] = '\0';
  return copy;
}

/// Runs the body of a call that returns a text, which the body gives as something that `newText` takes.
template <typename Body>
char* textFrom(Body&& body) noexcept {
  return valueOr<char*>(nullptr, [&] { return newText(std::forward<Body>(body)()); });
}

}  // namespace sqm::c
