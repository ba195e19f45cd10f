#pragma once

#include <cstddef>
#include <fstream>
#include <string>
#include <string_view>

namespace bench {

/// A field of /proc/self/status that is a size, in bytes; 0 when there is none.
inline std::size_t memoryField(std::string_view name) {
  constexpr std::size_t kKiB = 1024;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stoul(line.substr(name.size())) * kKiB;
  }
  return 0;
}

/// Bytes of memory that the process has.
inline std::size_t residentMemory() { return memoryField("VmRSS:"); }

/// The most bytes of memory that the process has had since the last call of `forgetPeak`.
inline std::size_t peakMemory() { return memoryField("VmHWM:"); }

inline bool forgetPeak() {
  std::ofstream file("/proc/self/clear_refs");
  file << "5" << std::flush;  // proc(5): resets the peak
  return file.good();
}

}  // namespace bench
