#pragma once

#include <string>

#include "sqm/common/Files.h"
#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// Files on the system's disk.
///
/// Ownership: the operations must outlive the object.
class SystemFiles : public Files {
 public:
  explicit SystemFiles(FileOperations& files = FileOperations::posix()) : files_(files) {}

  bool exists(const std::string& path) const override {
    struct ::stat status {};
    if (files_.stat(path, status) == 0) return true;
    const std::error_code failure = lastError();
    return failure != std::errc::no_such_file_or_directory && failure != std::errc::not_a_directory;
  }

 private:
  FileOperations& files_;
};

}  // namespace sqm::platform
