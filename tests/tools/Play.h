#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "tests/support/Paths.h"
#include "tests/tools/Sqmctl.h"

/// A run of `sqmctl play` with a scenario on standard input, in a home directory of its own.
class Played {
 public:
  explicit Played(std::string_view scenario, const std::vector<std::string>& options = {}) { play(scenario, options); }

  /// Runs another scenario in the same home directory.
  Played& play(std::string_view scenario, const std::vector<std::string>& options = {}) {
    std::vector<std::string> words = {kPrograms + "/sqmctl",          "--home", home(), "--resources",
                                      paths::sources() + "/examples", "play",   "-"};
    words.insert(words.end(), options.begin(), options.end());
    outcome_ = runProgram(words, scenario);
    return *this;
  }

  int status() const { return outcome_.status; }
  const std::string& out() const { return outcome_.out; }
  const std::string& err() const { return outcome_.err; }

  /// The result of the operation in that line, as text of the output.
  std::string result(std::size_t line) const {
    const std::string mark = "{\"line\":" + std::to_string(line) + ",";
    const std::size_t begin = ("\n" + outcome_.out).find("\n" + mark);
    if (begin == std::string::npos) return "no result";
    const std::size_t value = outcome_.out.find(",\"result\":", begin) + std::string_view(",\"result\":").size();
    return outcome_.out.substr(value, outcome_.out.find('\n', begin) - value - 1);
  }

  std::string home() const { return folder_ / "home"; }
  std::string file(const std::string& name) const { return contentOf(home() + "/" + name); }
  std::string inApplication(const std::string& name) const {
    return file("Library/Application Support/Trelk/Trelk Quenfa/" + name);
  }
  std::string log(const std::string& name) const { return file("Library/Logs/Trelk/Trelk Quenfa/" + name); }

 private:
  TemporaryFolder folder_;
  Outcome outcome_;
};

/// A server that accepts connections and never responds.
class SilentServer {
 public:
  SilentServer() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as every call for an address of any family has it
    auto* any = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket_, any, size) != 0 || ::listen(socket_, 8) != 0 || ::getsockname(socket_, any, &size) != 0) {
      ADD_FAILURE() << "no socket";
    }
    address_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;
  ~SilentServer() { ::close(socket_); }

  const std::string& address() const { return address_; }

 private:
  int socket_;
  std::string address_;
};

/// The scenario, with each $ replaced by the address.
inline std::string with(const std::string& address, std::string scenario) {
  for (std::size_t at = 0; (at = scenario.find('$', at)) != std::string::npos; at += address.size()) {
    scenario.replace(at, 1, address);
  }
  return scenario;
}
