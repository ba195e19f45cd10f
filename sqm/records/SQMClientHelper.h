#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"

namespace sqm {

/// Facts about the environment that the client runs in, as texts and as XML fragments.
///
/// Threading: one thread, the caller's.
class SQMClientHelper {
 public:
  explicit SQMClientHelper(Host& host) : host_(host) {}

  /// The display name of the user's locale in British English, as "French (France)"; empty when it has none.
  std::string getCurrentLocale() const;

  /// The operating system's version. Also reads the name, which `getOSName` then returns.
  std::string getOSVersion();

  /// The operating system's name as the last `getOSVersion` read it; nothing before the first.
  const std::optional<std::string>& getOSName() const { return osNameString_; }

  /// The operating system's name, read anew.
  std::string osName() const;

  /// The environment as elements; unlike in the client record, the values are not escaped.
  std::string getEnvironmentInfoAsXMLString();

  static std::string_view getProductInfoAsXMLString();

 private:
  Host& host_;
  std::optional<std::string> osNameString_;
};

}  // namespace sqm
