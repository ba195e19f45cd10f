#include "tools/collector/metrics/Process.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <system_error>
#include <unistd.h>

namespace collector {

namespace {

/// The fields of /proc/self/stat after the program's name, which may hold any character. The first is field 3.
struct Stat {
  static constexpr int kFirst = 3;
  std::array<double, 24> fields{};

  double field(int number) const { return fields.at(static_cast<std::size_t>(number - kFirst)); }
};

Stat readStat() {
  std::ifstream file("/proc/self/stat");
  std::string text{std::istreambuf_iterator<char>(file), {}};
  std::istringstream words(text.substr(std::min(text.rfind(')') + 1, text.size())));
  Stat stat;
  std::string state;
  words >> state;  // field 3, a letter
  for (std::size_t i = 1; i < stat.fields.size(); ++i) words >> stat.fields[i];
  return stat;
}

/// When the system started, in seconds since 1970.
double bootTime() {
  std::ifstream file("/proc/stat");
  for (std::string word; file >> word; file.ignore(std::numeric_limits<std::streamsize>::max(), '\n')) {
    double seconds = 0;
    if (word == "btime" && file >> seconds) return seconds;
  }
  return 0;
}

}  // namespace

ProcessFigures readProcessFigures() {
  constexpr int kUserTime = 14;
  constexpr int kSystemTime = 15;
  constexpr int kThreads = 20;
  constexpr int kStartTime = 22;
  constexpr int kResidentPages = 24;
  const Stat stat = readStat();
  const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
  std::error_code ignored;
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  return {.cpuSeconds = (stat.field(kUserTime) + stat.field(kSystemTime)) / ticks,
          .residentBytes = stat.field(kResidentPages) * static_cast<double>(sysconf(_SC_PAGESIZE)),
          .startTime = bootTime() + stat.field(kStartTime) / ticks,
          .openFiles = static_cast<double>(std::distance(std::filesystem::directory_iterator("/proc/self/fd", ignored),
                                                         std::filesystem::directory_iterator())),
          .mostOpenFiles = static_cast<double>(files.rlim_cur),
          .threads = stat.field(kThreads)};
}

}  // namespace collector
