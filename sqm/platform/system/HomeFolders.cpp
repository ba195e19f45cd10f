#include "sqm/platform/system/HomeFolders.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace sqm::platform {

namespace {

std::string homeFromPasswordDatabase() {
  std::vector<char> buffer(1024);
  ::passwd entry{};
  ::passwd* found = nullptr;
  while (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(2 * buffer.size());
  }
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "/";
}

/// The absolute path, without separators at its end.
std::string normalized(const std::string& path) {
  std::error_code failed;
  const std::filesystem::path absolute = std::filesystem::absolute(path, failed);
  std::string result = failed ? path : absolute.string();
  while (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

}  // namespace

HomeFolders::HomeFolders(const std::string& homeDirectory)
    : homeDirectory_(homeDirectory.empty() ? std::string() : normalized(homeDirectory)) {}

std::string HomeFolders::homeDirectory() const {
  if (!homeDirectory_.empty()) return homeDirectory_;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the environment does not change while the process has threads
  const char* home = std::getenv("HOME");
  return normalized(home != nullptr && *home != '\0' ? home : homeFromPasswordDatabase());
}

std::string HomeFolders::applicationQuenfaFolderPath() const {
  return homeDirectory() + "/Library/Application Support/Trelk/Trelk Quenfa";
}

std::string HomeFolders::logFolder() const { return homeDirectory() + "/Library/Logs/Trelk/Trelk Quenfa"; }

}  // namespace sqm::platform
