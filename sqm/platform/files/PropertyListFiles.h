#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/PropertyList.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

/// Property-list files on the system's disk. They are read as XML or binary, as the content says, and written as XML in
/// the layout of Python's plistlib, through a buffer that does not grow with the list. A carriage return is written as
/// a reference, so that a reader does not turn it into a line feed. A file in this layout is read in pieces, in one
/// pass and whatever its size; one in any other layout as a whole, up to 512 MiB.
///
/// A missing file is no problem and yields nothing; a file that cannot be read or written is reported. A new file is
/// private to its user.
///
/// A list that replaced its file atomically is not written again while it is unchanged and the file is, too.
///
/// Ownership: the operations must outlive the object.
class PropertyListFiles : public PropertyList {
 public:
  enum class Saves {
    inPlace,
    renamed,  ///< atomically with respect to the end of the process: a loss of power may leave a part
    atomic,
  };

  struct Options {
    /// How lists are written when the caller does not ask for it atomically.
    Saves saves = Saves::inPlace;
  };

  PropertyListFiles(FileProblems problems, Options options, FileOperations& files = FileOperations::posix())
      : problems_(std::move(problems)), options_(options), files_(files) {}

  std::optional<TextArray> arrayWithContentsOfFile(const std::string& path) override;
  /// Reads the file, and parses it unless it holds the bytes that it held before: then the table is the same. The file
  /// stays open, so that it is not opened for each record.
  std::shared_ptr<const FieldNameTable> fieldNamesOfFile(const std::string& path) override;

  bool writeToFile(const TextArray& array, const std::string& path, bool atomically) override;

 private:
  /// The table that was read last.
  struct LastFieldNames {
    std::mutex mutex;
    File file;          ///< not open before the first table, and after a file that is too large
    std::string bytes;  ///< of the file
    std::shared_ptr<const FieldNameTable> table;
    std::string read;  ///< the bytes to compare
  };

  /// True when the path leads to the last table's file, which nobody has changed.
  bool isLastTable(const std::string& path);

  /// `beforeParsing` is given the file's bytes.
  std::optional<TextArray> arrayOf(const std::string& path,
                                   const std::function<void(std::string_view bytes)>& beforeParsing);

  /// The list that a file was last replaced by, and the file then; nothing when it is to be written.
  struct Replaced {
    std::uint64_t version = 0;
    bool isSynced = false;
    std::optional<FileState> file = {};
  };

  Replaced& replacedAt(const std::string& path);

  FileProblems problems_;
  Options options_;
  FileOperations& files_;
  LastFieldNames last_;
  std::mutex mutex_;
  std::map<std::string, Replaced> replaced_;  // by path
};

}  // namespace sqm::platform
