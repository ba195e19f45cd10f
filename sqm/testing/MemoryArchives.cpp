#include "sqm/testing/MemoryArchives.h"

#include <utility>

namespace sqm::testing {

bool MemoryArchives::serializeObject(const UploadRequests& object, const std::string& toFile) {
  writes_.push_back(object);
  if (refused_.contains(toFile)) return false;
  put(toFile, object);
  return true;
}

std::optional<UploadRequests> MemoryArchives::objectFromFile(const std::string& path) { return file(path); }

void MemoryArchives::put(const std::string& path, std::optional<UploadRequests> requests) {
  archives_[path] = std::move(requests);
  if (files_ != nullptr) files_->put(path, "");
}

void MemoryArchives::clear() {
  if (files_ != nullptr) {
    for (const auto& [path, requests] : archives_) files_->remove(path);
  }
  archives_.clear();
  refused_.clear();
  writes_.clear();
}

std::optional<UploadRequests> MemoryArchives::file(const std::string& path) const {
  const auto found = archives_.find(path);
  return found == archives_.end() ? std::nullopt : found->second;
}

}  // namespace sqm::testing
