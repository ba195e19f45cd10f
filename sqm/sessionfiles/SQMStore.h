#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "sqm/common/Files.h"
#include "sqm/common/Host.h"

namespace sqm {

/// True when the extension is "sqm", in upper or lower case. A name that begins with its only dot has no extension.
bool isSqmFileName(std::string_view name);

/// The entries of a folder with such a name, sorted by name. None after a failure.
std::error_code listSqmFiles(Files& files, const std::string& folder, std::vector<Files::Entry>& entries);

/// Reads the `.sqm` files of a folder into one text, and deletes them. Each operation lists the folder anew (see
/// `listSqmFiles`). Deleting removes all `.sqm` files, read or not.
///
/// Threading: one thread, the uploader's.
/// Failure: silent. What cannot be listed, read or deleted is skipped.
class SQMStore {
 public:
  explicit SQMStore(Host& host) : host_(host) {}

  void setSQMDirPath(std::optional<std::string_view> folder) { mSQMDirPath_ = folder; }
  const std::optional<std::string>& SQMDirPath() const { return mSQMDirPath_; }

  /// The contents of the files, with nothing between them. Skips files that are not well-formed UTF-8 and entries that
  /// are not regular files: folders, pipes, devices.
  std::string getDataFromSQMRec() const;

  /// Deletes the files. A folder with such a name is deleted with all that is in it; a link is deleted, and what it
  /// leads to is not.
  void deleteSQMRecord() const;

 private:
  std::vector<Files::Entry> entries() const;

  Host& host_;
  std::optional<std::string> mSQMDirPath_;
};

}  // namespace sqm
