#include "sqm/testing/MemoryPropertyLists.h"

namespace sqm::testing {

std::optional<TextArray> MemoryPropertyLists::arrayWithContentsOfFile(const std::string& path) {
  reads_.push_back(path);
  return file(path);
}

bool MemoryPropertyLists::writeToFile(const TextArray& array, const std::string& path, bool atomically) {
  writes_.push_back({path, atomically});
  if (refused_.contains(path)) return false;
  files_[path].emplace().appendPresent(array);
  return true;
}

std::optional<TextArray> MemoryPropertyLists::file(const std::string& path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? std::nullopt : found->second;
}

}  // namespace sqm::testing
