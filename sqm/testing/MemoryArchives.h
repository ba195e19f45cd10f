#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sqm/common/QFSerializer.h"
#include "sqm/testing/MemoryFiles.h"

namespace sqm::testing {

/// Archives in memory.
///
/// Threading: one thread at a time.
class MemoryArchives : public QFSerializer {
 public:
  MemoryArchives() = default;

  /// Every archive is also an empty file of `files`, so that it exists there.
  explicit MemoryArchives(MemoryFiles& files) : files_(&files) {}

  bool serializeObject(const UploadRequests& object, const std::string& toFile) override;
  std::optional<UploadRequests> objectFromFile(const std::string& path) override;

  /// Creates a file; nothing stands for one that cannot be read.
  void put(const std::string& path, std::optional<UploadRequests> requests);

  /// The file's requests; nothing when there is no such file.
  std::optional<UploadRequests> file(const std::string& path) const;

  /// From now on the file cannot be written.
  void refuseWriting(const std::string& path) { refused_.insert(path); }

  /// The archives of all calls, refused or not, in order.
  const std::vector<UploadRequests>& writes() const { return writes_; }

  /// Removes all files, refusals and writes.
  void clear();

 private:
  MemoryFiles* files_ = nullptr;
  std::map<std::string, std::optional<UploadRequests>> archives_;
  std::set<std::string> refused_;
  std::vector<UploadRequests> writes_;
};

}  // namespace sqm::testing
