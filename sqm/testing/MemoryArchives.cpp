#include "sqm/testing/MemoryArchives.h"

namespace sqm::testing {

bool MemoryArchives::serializeObject(const UploadRequests& object, const std::string& toFile) {
  writes_.push_back(object);
  if (refused_.contains(toFile)) return false;
  files_[toFile] = object;
  return true;
}

std::optional<UploadRequests> MemoryArchives::objectFromFile(const std::string& path) { return file(path); }

std::optional<UploadRequests> MemoryArchives::file(const std::string& path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? std::nullopt : found->second;
}

}  // namespace sqm::testing
