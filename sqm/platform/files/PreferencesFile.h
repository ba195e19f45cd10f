#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/UserPrefs.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

/// The preferences in "UserPrefs.plist" of the application's folder: a property list, XML or binary, of up to 64 KiB,
/// whose root is a dictionary. It is read when the object is created and written as XML; all other entries are kept.
///
/// Ownership: the operations must outlive the object.
/// Threading: one thread.
class PreferencesFile : public UserPrefs {
 public:
  enum class Access : std::uint8_t { readWrite, readOnly };

  PreferencesFile(const std::string& applicationFolder, FileProblems problems,
                  FileOperations& files = FileOperations::posix(), Access access = Access::readWrite);

  std::string_view clientTimeStamp() const override { return clientTimeStamp_; }

  /// Sets the time stamp that new records carry, with its quotes; an absent one is removed. A character that XML does
  /// not allow becomes U+FFFD. The file is replaced atomically, and a missing folder is created. Returns false when the
  /// file cannot be read or may not be written, with a line in the log; the value then holds until the process ends.
  bool setClientTimeStamp(std::optional<std::string_view> value);

 private:
  std::string folder_;
  std::string path_;
  FileProblems problems_;
  FileOperations& files_;
  Access access_;
  std::string clientTimeStamp_;
};

}  // namespace sqm::platform
