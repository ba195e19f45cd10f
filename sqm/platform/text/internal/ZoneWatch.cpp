#include "sqm/platform/text/internal/ZoneWatch.h"

#include <cstdlib>
#include <sys/stat.h>

namespace sqm::platform {

namespace {

constexpr std::chrono::seconds kFileInterval(1);

}  // namespace

bool ZoneWatch::hasChanged(Time now) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the environment does not change while the process has threads
  const char* const variable = std::getenv("TZ");
  const bool isVariable = variable != nullptr;
  const bool isSame = !isFirst_ && (isVariable ? variable_ == variable : !variable_);
  if (isSame && (isVariable || now - compared_ < kFileInterval)) return false;
  const File seen = isVariable ? File() : file();
  compared_ = now;
  if (isSame && seen == file_) return false;
  variable_ = isVariable ? std::optional<std::string>(variable) : std::nullopt;
  file_ = seen;
  isFirst_ = false;
  return true;
}

ZoneWatch::File ZoneWatch::file() const {
  struct ::stat status {};
  if (::stat(path_.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

}  // namespace sqm::platform
