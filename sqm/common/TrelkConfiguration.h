#pragma once

#include <string>

namespace sqm {

/// The folders of the user's files. Paths are absolute, without a trailing separator.
///
/// Threading: any thread.
class TrelkConfiguration {
 public:
  virtual ~TrelkConfiguration() = default;

  virtual std::string homeDirectory() const = 0;

  /// The folder in which the application keeps its data.
  virtual std::string applicationQuenfaFolderPath() const = 0;
};

/// The SQM folder, which holds the record lists. Its place below the home directory is fixed, whatever the
/// application's own folder is.
inline std::string sqmFolderPath(const TrelkConfiguration& configuration) {
  return configuration.homeDirectory() + "/Library/Application Support/Trelk/Trelk Quenfa/SQM";
}

}  // namespace sqm
