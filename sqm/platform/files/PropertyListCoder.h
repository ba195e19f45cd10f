#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/KeyedCoder.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

/// Creates keyed archives that are property lists: a dictionary with an entry for each key. They are read as XML or
/// binary and written as binary, in which every text comes back byte for byte. Entries of an archive that was read are
/// written again, whatever they hold. An archive of more than 128 MiB is neither read nor written.
///
/// Ownership: the operations must outlive the object, and the object its archives.
class PropertyListCoders : public KeyedCoderFactory {
 public:
  explicit PropertyListCoders(FileProblems problems, FileOperations& files = FileOperations::posix())
      : problems_(std::move(problems)), files_(files) {}

  std::unique_ptr<KeyedArchive> makeArchive() override;
  std::unique_ptr<KeyedArchive> archiveWithBytes(std::string_view bytes) override;
  std::unique_ptr<KeyedArchive> archiveWithContentsOfFile(const std::string& path) override;

 private:
  FileProblems problems_;
  FileOperations& files_;
};

}  // namespace sqm::platform
