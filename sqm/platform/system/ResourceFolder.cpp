#include "sqm/platform/system/ResourceFolder.h"

#include <filesystem>
#include <utility>

#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

namespace {

std::string executableFolder() {
  std::error_code failed;
  return std::filesystem::read_symlink("/proc/self/exe", failed).parent_path().string();
}

bool leadsOutOfFolder(std::string_view fileName) {
  constexpr auto kNowhere = std::string_view::npos;
  return fileName.find('/') != kNowhere || fileName.find('\0') != kNowhere || fileName.find("..") != kNowhere;
}

}  // namespace

ResourceFolder::ResourceFolder(std::string folder) : folder_(folder.empty() ? executableFolder() : std::move(folder)) {}

std::optional<std::string> ResourceFolder::pathForResource(std::string_view name, std::string_view ofType) {
  std::string path;
  path.reserve(folder_.size() + name.size() + ofType.size() + std::string_view("/.").size());
  path.append(folder_).append("/").append(name).append(".").append(ofType);
  if (leadsOutOfFolder(std::string_view(path).substr(folder_.size() + 1))) return std::nullopt;
  struct ::stat status {};
  if (FileOperations::posix().stat(path, status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return path;
}

}  // namespace sqm::platform
