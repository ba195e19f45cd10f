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
  std::string body;
};

/// What the scenes of the demonstration share: where the programs lie, the user's home directory, and a collection
/// server that runs.
struct Stage {
  Shown shown;
  std::filesystem::path programs;
  std::string home;
  std::string server;  ///< its address, without a slash at the end

  /// Runs one of the programs to its end. Throws std::runtime_error when it fails.
  void run(const std::string& program, const std::vector<std::string>& arguments) const;

  /// What the collection server has got so far, but for the first `known` posts.
  std::vector<Post> arrived(std::size_t known = 0) const;
};

// The scenes. Each shows what it does and gives true when what arrived is what was to arrive.

/// A laptop's day is recorded by one process and uploaded by the next.
bool playLaptopDay(const Stage& stage);

}  // namespace demo
