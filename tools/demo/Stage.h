#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/demo/Shown.h"

namespace demo {

/// A post as the collection server got it.
struct Post {
  std::string path;
  std::string contentType;
  std::string answered;  ///< the status of the answer, or the fault that took its place
  std::string body;

  bool isKept() const { return answered == "200"; }
};

/// What the scenes of the demonstration share: where the programs lie, the user's home directory, and a collection
/// server that runs.
struct Stage {
  Shown shown;
  std::filesystem::path programs;
  std::string home;
  std::string server;  ///< its address, without a slash at the end

  /// Runs one of the programs to its end, and then shows what it wrote on its standard error. Throws std::runtime_error
  /// when it ends with another status.
  void run(const std::string& program, const std::vector<std::string>& arguments, int expectedStatus = 0) const;

  /// Has the collection server make these faults, such as "/sqm:status=500:once", and no others.
  void setFaults(const std::vector<std::string>& rules) const;

  /// What the collection server has got so far, but for the first `known` posts.
  std::vector<Post> arrived(std::size_t known = 0) const;
};

/// Where the library keeps its files, below the home directory.
inline constexpr const char* kSqmFolder = "Library/Application Support/Trelk/Trelk Quenfa/SQM";

/// "1 record", "2 records".
std::string plural(std::size_t count, const std::string& noun);

// The scenes. Each shows what it does and gives true when what arrived is what was to arrive.

/// A laptop's day is recorded by one process and uploaded by the next.
bool playLaptopDay(const Stage& stage);

/// Sessions are saved as `.sqm` files and posted, to a server that keeps them and to one that refuses them once.
bool playSqmFiles(const Stage& stage);

}  // namespace demo
