#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "sqm/common/Files.h"
#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// The file system of this machine. A path that holds a NUL is refused.
///
/// Ownership: `operations` is borrowed.
class SystemFiles : public Files {
 public:
  explicit SystemFiles(FileOperations& operations = FileOperations::posix()) : operations_(operations) {}

  bool exists(const std::string& path) const override;
  std::uintmax_t size(const std::string& path) const override;
  std::error_code list(const std::string& folder, NameTest isWanted, std::vector<Entry>& entries) override;
  std::error_code read(const std::string& path, std::string& content) override;
  std::unique_ptr<Folder> open(const std::string& folder) override;
  std::error_code write(const std::string& path, std::string_view content) override;
  std::error_code replace(const std::string& path, std::initializer_list<std::string_view> pieces) override;
  std::error_code remove(const std::string& path) override;

 private:
  class OpenFolder;

  FileOperations& operations_;
};

}  // namespace sqm::platform
