#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace sqm::platform::test {

// NOLINTBEGIN(concurrency-mt-unsafe): tests that use it run no other thread

/// Sets or removes an environment variable for the lifetime of the object.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    put(value);
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { put(before_ ? before_->c_str() : nullptr); }

 private:
  void put(const char* value) const {
    if (value != nullptr) {
      ::setenv(name_, value, 1);
    } else {
      ::unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> before_;
};

// NOLINTEND(concurrency-mt-unsafe)

}  // namespace sqm::platform::test
