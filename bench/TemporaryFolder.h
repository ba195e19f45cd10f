#pragma once

#include <filesystem>
#include <stdlib.h>
#include <string>
#include <string_view>

#include "bench/Comparison.h"

namespace bench {

/// A fresh folder on the temporary folder's disk, gone afterwards with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "sqm-bench-XXXXXX").string()) {
    require(::mkdtemp(path_.data()) != nullptr, "no temporary folder can be made");
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

 private:
  std::string path_;
};

}  // namespace bench
