#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/fleet/sim/World.h"

namespace fleet {

struct Options {
  std::uint32_t clients = 1000;
  std::uint64_t seed = 1;
  Period period{};
  double speed = 0;    ///< seconds of the period in a second; 0: as fast as the server takes it
  std::string server;  ///< without a slash at the end
  std::string token;   ///< a secret; empty: none
  std::string caFile;
  std::size_t uploads = 128;  ///< at one time
  std::size_t threads = 2;
  std::chrono::seconds patience{300};                 ///< without an answer
  std::string answered;                               ///< a file; empty: none
  std::optional<std::chrono::milliseconds> progress;  ///< how often it is printed
};

/// Fills the options from the command line. Returns the exit status with which the program is to end at once, or a
/// negative number.
int readOptions(int argc, char** argv, Options& options);

}  // namespace fleet
