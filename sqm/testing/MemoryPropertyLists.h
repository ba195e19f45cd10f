#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sqm/common/PropertyList.h"

namespace sqm::testing {

/// Property-list files in memory. A file is written whatever folder it names, unless writing there is refused.
///
/// Threading: one thread.
class MemoryPropertyLists : public PropertyList {
 public:
  struct Write {
    std::string path;
    bool atomically;
  };

  std::optional<TextArray> arrayWithContentsOfFile(const std::string& path) override;
  bool writeToFile(const TextArray& array, const std::string& path, bool atomically) override;

  /// Creates a file; nothing stands for one that cannot be read as an array.
  void put(const std::string& path, std::optional<TextArray> array) { files_[path] = std::move(array); }

  /// The file's elements; nothing when there is no such file.
  std::optional<TextArray> file(const std::string& path) const;

  /// From now on the file cannot be written.
  void refuseWriting(const std::string& path) { refused_.insert(path); }

  /// The calls, refused or not, in order.
  const std::vector<Write>& writes() const { return writes_; }
  const std::vector<std::string>& reads() const { return reads_; }

 private:
  std::map<std::string, std::optional<TextArray>> files_;
  std::set<std::string> refused_;
  std::vector<Write> writes_;
  std::vector<std::string> reads_;
};

}  // namespace sqm::testing
