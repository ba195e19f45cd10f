#pragma once

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tools {

/// A new folder, deleted with its contents when the object is destroyed. Throws std::runtime_error when it cannot be
/// created.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& below = std::filesystem::temp_directory_path())
      : path_((below / "sqm-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot create a temporary folder like " + path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

  /// The names of the entries of the folder, sorted.
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) found.push_back(entry.path().filename());
    std::sort(found.begin(), found.end());
    return found;
  }

 private:
  std::string path_;
};

}  // namespace tools
