#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sqm/common/Files.h"
#include "sqm/common/QFSerializer.h"

namespace sqm::testing {

/// Archive files in memory. The only files that exist are those.
///
/// Threading: one thread at a time.
class MemoryArchives : public QFSerializer, public Files {
 public:
  bool serializeObject(const UploadRequests& object, const std::string& toFile) override;
  std::optional<UploadRequests> objectFromFile(const std::string& path) override;

  bool exists(const std::string& path) const override { return files_.contains(path); }

  /// Creates a file; nothing stands for one that cannot be read.
  void put(const std::string& path, std::optional<UploadRequests> requests) { files_[path] = std::move(requests); }

  /// The file's requests; nothing when there is no such file.
  std::optional<UploadRequests> file(const std::string& path) const;

  /// From now on the file cannot be written.
  void refuseWriting(const std::string& path) { refused_.insert(path); }

  /// The archives of all calls, refused or not, in order.
  const std::vector<UploadRequests>& writes() const { return writes_; }

  /// Removes all files, refusals and writes.
  void clear() { *this = MemoryArchives(); }

 private:
  std::map<std::string, std::optional<UploadRequests>> files_;
  std::set<std::string> refused_;
  std::vector<UploadRequests> writes_;
};

}  // namespace sqm::testing
