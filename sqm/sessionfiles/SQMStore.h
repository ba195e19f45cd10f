#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/Host.h"

namespace sqm {

/// The folder of `.sqm` files: reads them all into one text, and deletes them. Which files those are is decided anew by
/// each operation: all whose extension is "sqm" in any case, sorted by name, in the folder itself and not below it.
///
/// Deleting takes every `.sqm` file that is there by then, whether or not it was read.
///
/// Threading: one thread, the uploader's.
/// Failure: silent. What cannot be listed, read or deleted is passed over, and so is a file that memory has no room
/// for.
class SQMStore {
 public:
  explicit SQMStore(Host& host) : host_(host) {}

  void setSQMDirPath(std::optional<std::string_view> folder) { mSQMDirPath_ = folder; }
  const std::optional<std::string>& SQMDirPath() const { return mSQMDirPath_; }

  /// What the files hold, one after the other, with nothing between them. A file that is not well-formed UTF-8 is left
  /// out, and so is what is no regular file: a folder, a pipe, a device.
  std::string getDataFromSQMRec() const;

  /// Deletes the files. A folder that is called like one goes only when it is empty, since nobody has read what is in
  /// it; of a link only the link goes.
  void deleteSQMRecord() const;

 private:
  Host& host_;
  std::optional<std::string> mSQMDirPath_;
};

}  // namespace sqm
