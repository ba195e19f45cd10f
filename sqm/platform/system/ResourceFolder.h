#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/MainBundle.h"

namespace sqm::platform {

/// The host's resources as files in one folder. A name that would lead out of the folder is not a resource.
class ResourceFolder : public MainBundle {
 public:
  /// An empty `folder` means the folder of the executable.
  explicit ResourceFolder(std::string folder = {});

  std::optional<std::string> pathForResource(std::string_view name, std::string_view ofType) override;

 private:
  std::string folder_;
};

}  // namespace sqm::platform
