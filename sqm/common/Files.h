#pragma once

#include <string>

namespace sqm {

/// Files on the host's disk, as far as the library asks about them.
///
/// Threading: any thread.
class Files {
 public:
  virtual ~Files() = default;

  /// True when something stands at `path`. Also true when that cannot be determined, for example for want of
  /// permission: only a file that is known to be missing is missing.
  virtual bool exists(const std::string& path) const = 0;
};

}  // namespace sqm
