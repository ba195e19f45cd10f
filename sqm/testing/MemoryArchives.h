#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sqm/common/QFSerializer.h"

namespace sqm::testing {

/// Archive files in memory.
///
/// Threading: one thread at a time.
class MemoryArchives : public QFSerializer {
 public:
  bool serializeObject(const UploadRequests& object, const std::string& toFile) override;
  std::optional<UploadRequests> objectFromFile(const std::string& path) override;

  /// Lays a file there; nothing stands for a file that cannot be had.
  void put(const std::string& path, std::optional<UploadRequests> requests) { files_[path] = std::move(requests); }

  /// The file's requests; nothing when there is no such file.
  std::optional<UploadRequests> file(const std::string& path) const;

  /// From now on the file cannot be written.
  void refuseWriting(const std::string& path) { refused_.insert(path); }

  /// What was to be written, refused or not, in order.
  const std::vector<UploadRequests>& writes() const { return writes_; }

  /// As if new.
  void clear() { *this = MemoryArchives(); }

 private:
  std::map<std::string, std::optional<UploadRequests>> files_;
  std::set<std::string> refused_;
  std::vector<UploadRequests> writes_;
};

}  // namespace sqm::testing
