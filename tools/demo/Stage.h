#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/demo/Shown.h"
#include "tools/support/Process.h"

namespace demo {

/// A post that the collection server received.
struct Post {
  std::string path;
  std::string contentType;
  std::string answered;  ///< the status of the response, or the fault instead of it
  std::string body;

  bool isKept() const { return answered == "200"; }
};

/// A collection server, stopped by the destructor.
class Collector {
 public:
  /// Port 0 takes a free port. Throws std::runtime_error when it does not start.
  explicit Collector(const std::filesystem::path& programs, int port = 0);

  /// Its address, without a slash at the end.
  const std::string& address() const { return address_; }

 private:
  tools::Process process_;
  std::string address_;
};

/// What the scenes of the demonstration share: the folder of the programs, the user's home directory, and a running
/// collection server.
struct Stage {
  Shown shown;
  std::filesystem::path programs;
  std::string home;
  std::string server;  ///< its address, without a slash at the end

  /// Runs a program until it ends, and shows its standard error. Throws std::runtime_error when it ends with another
  /// status. The status of a program that a signal killed is 128 plus the signal's number.
  void run(const std::string& program, const std::vector<std::string>& arguments, int expectedStatus = 0) const;

  /// The SQM folder below the home directory.
  std::string sqmFolder() const;

  /// Sets the faults of the collection server, such as "/sqm:status=500:once", and no others.
  void setFaults(const std::vector<std::string>& rules) const;

  /// The posts that the collection server has received, without the first `known`.
  std::vector<Post> arrived(std::size_t known = 0) const;
};

// The scenes. Each returns true when the server received the expected posts.

/// A laptop's day is recorded by one process and uploaded by the next.
bool playLaptopDay(const Stage& stage);

/// Sessions are saved as `.sqm` files and posted, to a server that keeps them and to one that refuses them once.
bool playSqmFiles(const Stage& stage);

/// A process queues requests while their server is down, and is killed; the next process sends them.
bool playOutage(const Stage& stage);

/// A failed connection attempt is reported in one line of text, which is then decoded.
bool playFailedAttempt(const Stage& stage);

}  // namespace demo
