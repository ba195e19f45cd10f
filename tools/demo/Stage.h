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
  std::string answered;  ///< the status of the answer, or the fault that took its place
  std::string body;

  bool isKept() const { return answered == "200"; }
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

  /// Runs one of the programs to its end, and then shows what it wrote on its standard error. Throws std::runtime_error
  /// when it ends with another status; 128 and the number of a signal stand for being killed by it.
  void run(const std::string& program, const std::vector<std::string>& arguments, int expectedStatus = 0) const;

  /// The SQM folder below the home directory.
  std::string sqmFolder() const;

  /// Has the collection server make these faults, such as "/sqm:status=500:once", and no others.
  void setFaults(const std::vector<std::string>& rules) const;

  /// What the collection server has got so far, but for the first `known` posts.
  std::vector<Post> arrived(std::size_t known = 0) const;
};

// The scenes. Each shows what it does and gives true when what arrived is what was to arrive.

/// A laptop's day is recorded by one process and uploaded by the next.
bool playLaptopDay(const Stage& stage);

/// Sessions are saved as `.sqm` files and posted, to a server that keeps them and to one that refuses them once.
bool playSqmFiles(const Stage& stage);

/// Requests are queued while their server is down, by a process that is killed; the next one sends them.
bool playOutage(const Stage& stage);

/// A failed connection attempt is reported in one line of text, which is taken apart again.
bool playFailedAttempt(const Stage& stage);

}  // namespace demo
