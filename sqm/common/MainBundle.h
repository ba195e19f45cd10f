#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sqm {

/// The resource files of the host application.
class MainBundle {
 public:
  virtual ~MainBundle() = default;

  /// The path of a resource, such as "SQMFieldNames" of type "plist"; nothing when the file does not exist.
  virtual std::optional<std::string> pathForResource(std::string_view name, std::string_view ofType) = 0;
};

}  // namespace sqm
