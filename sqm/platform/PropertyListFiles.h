#pragma once

#include <optional>
#include <span>
#include <string>

#include "sqm/common/PropertyList.h"
#include "sqm/platform/FileOperations.h"
#include "sqm/platform/FileProblems.h"

namespace sqm::platform {

/// Property-list files on the system's disk. Read as XML or binary, whatever the name says; written as XML, the way
/// Python's plistlib and libplist write it, through a buffer that does not grow with the list. A carriage return is
/// written as a reference, so that it comes back.
///
/// A file that is missing is no problem and yields nothing; one that cannot be read or written is told to the log
/// "SQMFiles.log". A new file is its user's alone.
///
/// Ownership: the log factory and the operations must outlive the object.
class PropertyListFiles : public PropertyList {
 public:
  struct Options {
    /// Every list is written atomically, whether the caller asks for it or not.
    bool atomicSaves = false;
  };

  PropertyListFiles(LogFileFactory& logs, Options options, FileOperations& files = FileOperations::posix())
      : problems_(logs), options_(options), files_(files) {}

  std::optional<Array> arrayWithContentsOfFile(const std::string& path) override;
  bool writeToFile(std::span<const std::string> array, const std::string& path, bool atomically) override;

 private:
  FileProblems problems_;
  Options options_;
  FileOperations& files_;
};

}  // namespace sqm::platform
