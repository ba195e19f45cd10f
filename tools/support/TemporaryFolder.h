#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace tools {

/// A fresh folder, which goes with the object and everything in it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::string& name)
      : path_((std::filesystem::temp_directory_path() / (name + "-XXXXXX")).string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder at " + path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace tools
