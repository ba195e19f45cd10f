#pragma once

#include <string>
#include <string_view>

#include "sqm/common/UtilityFunctions.h"

namespace sqm::platform {

/// The operating system's name and version from os-release(5); each that is missing there is the kernel's. Both are
/// read in the constructor.
class SystemInformation : public UtilityFunctions {
 public:
  explicit SystemInformation(const std::string& releaseFile = "/etc/os-release");

  std::string getOSVersion() const override { return version_; }
  std::string getOSProductName() const override { return name_; }

 private:
  std::string name_;
  std::string version_;
};

}  // namespace sqm::platform
