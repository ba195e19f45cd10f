#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/UserPrefs.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

/// The preferences in "UserPrefs.plist" of the application's folder: a property list, whose root is a dictionary. Read
/// when the object is made. What else the dictionary holds is kept.
///
/// Ownership: the operations must outlive the object.
/// Threading: one thread.
class PreferencesFile : public UserPrefs {
 public:
  PreferencesFile(const std::string& applicationFolder, FileProblems problems,
                  FileOperations& files = FileOperations::posix());

  std::string_view clientTimeStamp() const override { return clientTimeStamp_; }

  /// From now on the records carry `value`, with its quotes; absent: none. What XML cannot hold becomes U+FFFD. The
  /// file is replaced atomically, and the folder made when it is missing. Failure: false when the file cannot be
  /// written, with a line in the log; the value holds until the process ends.
  bool setClientTimeStamp(std::optional<std::string_view> value);

 private:
  std::string folder_;
  std::string path_;
  FileProblems problems_;
  FileOperations& files_;
  std::string clientTimeStamp_;
};

}  // namespace sqm::platform
