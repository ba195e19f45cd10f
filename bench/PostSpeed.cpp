// Run by hand: how many posts of 20 records a running collection server answers in a second.
//
//   measure_posts PORT [CONNECTIONS]
//
// As many posts as there are connections (256) are sent at once, for 20 seconds, from this machine: this program takes
// a part of its processors.

#include <arpa/inet.h>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "bench/StoragePosts.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLength{20};
constexpr std::string_view kReceipt = "\r\n\r\nkept\n";

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

int connectedTo(int port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as every call for an address of any family has it
  if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("connect");
  return socket;
}

/// A connection that posts again when its post is answered.
struct Poster {
  int socket = -1;
  std::string unsent{};
  std::string received{};

  void post(int number) {
    const std::string body = bench::bodyOf(number);
    unsent = "POST /connection HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml\r\nContent-Length: " +
             std::to_string(body.size()) + "\r\n\r\n" + body;
    received.clear();
  }

  /// Sends and receives what it can. Returns true when the post is answered.
  bool proceed(short events) {
    if ((events & POLLOUT) != 0) {
      const ssize_t count = ::send(socket, unsent.data(), unsent.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
      if (count > 0) unsent.erase(0, static_cast<std::size_t>(count));
    }
    if ((events & POLLIN) != 0) {
      char buffer[4096];
      const ssize_t count = ::recv(socket, buffer, sizeof buffer, MSG_DONTWAIT);
      if (count <= 0) fail("recv");
      received.append(buffer, static_cast<std::size_t>(count));
    }
    return received.ends_with(kReceipt) && received.starts_with("HTTP/1.1 200 ");
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return std::fprintf(stderr, "measure_posts PORT [CONNECTIONS]\n"), 2;
  std::vector<Poster> posters(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 256);
  int next = ::getpid() * 10'000;  // the records of each run are new
  for (Poster& poster : posters) {
    poster.socket = connectedTo(std::atoi(argv[1]));
    poster.post(next++);
  }
  std::vector<pollfd> descriptors(posters.size());
  int answered = 0;
  const auto begin = Clock::now();
  while (Clock::now() - begin < kLength) {
    for (std::size_t i = 0; i < posters.size(); ++i) {
      const bool isSent = posters[i].unsent.empty();
      descriptors[i] = {.fd = posters[i].socket, .events = isSent ? short{POLLIN} : short{POLLOUT}, .revents = 0};
    }
    if (::poll(descriptors.data(), descriptors.size(), 1000) < 0) fail("poll");
    for (std::size_t i = 0; i < posters.size(); ++i) {
      if (!posters[i].proceed(descriptors[i].revents)) continue;
      ++answered;
      posters[i].post(next++);
    }
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  std::printf("%.0f posts/s, %.0f records/s\n", answered / seconds, answered * bench::kRecordsOfPost / seconds);
}
