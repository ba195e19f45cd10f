#pragma once

#include <optional>
#include <span>
#include <string>
#include <utility>

#include "sqm/common/PropertyList.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

/// Property-list files on the system's disk. Read as XML or binary, whatever the name says; written as XML, the way
/// Python's plistlib and libplist write it, through a buffer that does not grow with the list. A carriage return is
/// written as a reference, so that it comes back.
///
/// A file that is missing is no problem and yields nothing; one that cannot be read or written is reported. A new file
/// is its user's alone.
///
/// Ownership: the operations must outlive the object.
class PropertyListFiles : public PropertyList {
 public:
  struct Options {
    /// Every list is written atomically, whether the caller asks for it or not.
    bool atomicSaves = false;
  };

  PropertyListFiles(FileProblems problems, Options options, FileOperations& files = FileOperations::posix())
      : problems_(std::move(problems)), options_(options), files_(files) {}

  std::optional<Array> arrayWithContentsOfFile(const std::string& path) override;
  bool writeToFile(std::span<const std::string> array, const std::string& path, bool atomically) override;

 private:
  FileProblems problems_;
  Options options_;
  FileOperations& files_;
};

}  // namespace sqm::platform
