#include "tools/sqmctl/Command.h"

namespace sqmctl {

namespace {

namespace fs = std::filesystem;

constexpr const char* kTable = "SQMFieldNames.plist";

}  // namespace

fs::path resourcesOf(const Invocation& invocation) {
  if (!invocation.resources.empty()) return invocation.resources;
  const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path installed = programs.parent_path() / "share" / "sqm";
  std::error_code unknown;  // in a folder that this user may not enter
  return fs::exists(installed / kTable, unknown) ? installed : programs;
}

}  // namespace sqmctl
