#include "sqm/platform/system/SystemInformation.h"

#include <algorithm>
#include <cstddef>
#include <sys/utsname.h>

#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

constexpr std::size_t kLargestReleaseFile = 64 * 1024;

/// The value of the right side of a shell assignment, in the syntax that os-release(5) allows.
std::string unquoted(std::string_view value) {
  const char quote = !value.empty() && (value.front() == '"' || value.front() == '\'') ? value.front() : '\0';
  if (quote != '\0') value.remove_prefix(1);
  std::string text;
  for (std::size_t at = 0; at < value.size() && (quote == '\0' || value[at] != quote); ++at) {
    if (value[at] == '\\' && quote != '\'' && at + 1 < value.size()) ++at;
    text.push_back(value[at]);
  }
  return text;
}

/// The last value that is assigned to `key`, as in a shell; empty when there is none.
std::string valueOf(std::string_view key, std::string_view assignments) {
  std::string value;
  while (!assignments.empty()) {
    const std::string_view line = assignments.substr(0, assignments.find('\n'));
    assignments.remove_prefix(std::min(line.size() + 1, assignments.size()));
    if (line.starts_with(key) && line.substr(key.size()).starts_with('='))
      value = unquoted(line.substr(key.size() + 1));
  }
  return value;
}

}  // namespace

SystemInformation::SystemInformation(const std::string& releaseFile) {
  FileBytes content;
  if (!readWholeFile(FileOperations::posix(), releaseFile, kLargestReleaseFile, content)) {
    name_ = valueOf("NAME", content.text());
    version_ = valueOf("VERSION_ID", content.text());
  }
  ::utsname kernel{};
  if (::uname(&kernel) != 0) return;
  if (name_.empty()) name_ = kernel.sysname;
  if (version_.empty()) version_ = kernel.release;
}

}  // namespace sqm::platform
