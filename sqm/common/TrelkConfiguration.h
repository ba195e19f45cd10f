#pragma once

#include <string>

namespace sqm {

/// The folders of the user's files. Paths are absolute and have no trailing separator.
class TrelkConfiguration {
 public:
  virtual ~TrelkConfiguration() = default;

  virtual std::string homeDirectory() const = 0;

  /// The folder in which the application keeps its data.
  virtual std::string applicationQuenfaFolderPath() const = 0;
};

}  // namespace sqm
