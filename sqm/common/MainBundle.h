#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sqm {

/// The resources that come with the host application.
class MainBundle {
 public:
  virtual ~MainBundle() = default;

  /// The path of the resource, as of "SQMFieldNames" of type "plist"; nothing when there is no such file.
  virtual std::optional<std::string> pathForResource(std::string_view name, std::string_view ofType) = 0;
};

}  // namespace sqm
