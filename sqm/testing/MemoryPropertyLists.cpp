#include "sqm/testing/MemoryPropertyLists.h"

namespace sqm::testing {

std::optional<PropertyList::Array> MemoryPropertyLists::arrayWithContentsOfFile(const std::string& path) {
  reads_.push_back(path);
  return file(path);
}

bool MemoryPropertyLists::writeToFile(std::span<const std::string> array, const std::string& path, bool atomically) {
  writes_.push_back({path, atomically});
  if (refused_.contains(path)) return false;
  files_[path] = Array(array.begin(), array.end());
  return true;
}

std::optional<PropertyList::Array> MemoryPropertyLists::file(const std::string& path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? std::nullopt : found->second;
}

}  // namespace sqm::testing
