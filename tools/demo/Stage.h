#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/demo/Shown.h"
#include "tools/support/Process.h"

namespace demo {

/// A post as the collection server got it.
struct Post {
  std::string path;
  std::string contentType;
  std::string body;
};

/// A collection server that runs as long as the object.
class Collector {
 public:
  /// Port 0 is a free one. Throws std::runtime_error when it does not start.
  explicit Collector(const std::filesystem::path& programs, int port = 0);

  /// Its address, without a slash at the end.
  const std::string& address() const { return address_; }

 private:
  tools::Process process_;
  std::string address_;
};

/// What the scenes of the demonstration share: where the programs lie, the user's home directory, and a collection
/// server that runs.
struct Stage {
  Shown shown;
  std::filesystem::path programs;
  std::string home;
  std::string server;  ///< its address, without a slash at the end

  /// Runs one of the programs to its end, and gives its exit status, or 128 and the number of the signal that killed
  /// it.
  int statusOf(const std::string& program, const std::vector<std::string>& arguments) const;

  /// Runs one of the programs to its end. Throws std::runtime_error when it fails.
  void run(const std::string& program, const std::vector<std::string>& arguments) const;

  /// What the collection server has got so far, but for the first `known` posts.
  std::vector<Post> arrived(std::size_t known = 0) const;
};

// The scenes. Each shows what it does and gives true when what arrived is what was to arrive.

/// A laptop's day is recorded by one process and uploaded by the next.
bool playLaptopDay(const Stage& stage);

/// Requests are queued while their server is down, by a process that is killed; the next one sends them.
bool playOutage(const Stage& stage);

/// A failed connection attempt is reported in one line of text, which is taken apart again.
bool playFailedAttempt(const Stage& stage);

}  // namespace demo
