#include "tests/platform/http/BadServers.h"

#include <array>
#include <cstdlib>
#include <future>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <utility>

#include "tests/platform/http/FakeResolver.h"
#include "tests/platform/http/LoopbackServer.h"
#include "tests/platform/http/LoopbackSocket.h"
#include "tests/support/Patience.h"

namespace sqm::tests {

namespace {

using Then = Answer::Then;
using When = Answer::When;

void require(bool isTrue) {
  if (!isTrue) throw std::runtime_error("a bad server does not work");
}

/// Sends its first client a response of one byte a second, from the first byte of the request on. With an empty
/// response it is silent.
class SlowServer {
 public:
  explicit SlowServer(std::string response)
      : response_(std::move(response)), listener_(boundSocket()), stop_(::eventfd(0, EFD_CLOEXEC)) {
    require(::listen(listener_, SOMAXCONN) == 0);
    thread_ = std::thread([this] { run(); });
  }
  SlowServer(const SlowServer&) = delete;
  SlowServer& operator=(const SlowServer&) = delete;
  ~SlowServer() {
    if (::eventfd_write(stop_, 1) != 0) std::abort();
    thread_.join();
  }

  std::string address() const { return "127.0.0.1:" + std::to_string(portOf(listener_)) + "/"; }

  void waitForRequest() { require(request_.get_future().wait_for(kPatience) == std::future_status::ready); }

 private:
  /// Returns false when the server is to end.
  bool waitFor(int descriptor) {
    std::array<::pollfd, 2> either = {{{stop_, POLLIN, 0}, {descriptor, POLLIN, 0}}};
    return ::poll(either.data(), either.size(), -1) > 0 && either[0].revents == 0;
  }

  void run() {
    if (!waitFor(listener_)) return;
    const Descriptor socket(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
    if (!waitFor(socket)) return;
    request_.set_value();
    ::pollfd stop{stop_, POLLIN, 0};
    for (const char byte : response_) {
      ::send(socket, &byte, 1, MSG_NOSIGNAL);
      if (::poll(&stop, 1, /*milliseconds=*/1000) != 0) return;
    }
    ::poll(&stop, 1, -1);
  }

  const std::string response_;
  Descriptor listener_;
  Descriptor stop_;
  std::promise<void> request_;
  std::thread thread_;
};

BadServer slow(const std::string& scheme, const std::string& response) {
  const auto server = std::make_shared<SlowServer>(response);
  return {scheme + "://" + server->address(), [server] { server->waitForRequest(); }, server};
}

BadServer refusing() {
  const auto socket = std::make_shared<Descriptor>(boundSocket());  // without listen(2)
  return {.url = "http://127.0.0.1:" + std::to_string(portOf(*socket)) + "/", .server = socket};
}

BadServer answering(const Answer& answer) {
  const auto server = std::make_shared<LoopbackServer>(answer);
  return {server->url(), [server] { require(server->waitForRequests(1)); }, server};
}

BadServer unresolved() {
  const std::shared_ptr<void> released(nullptr, [](void*) { releaseBlockedLookUps(); });
  return {std::string("http://") + kBlockedName + "/", [] { require(waitForBlockedLookUp()); }, released};
}

}  // namespace

const std::vector<BadServerKind>& badServers() {
  static const std::vector<BadServerKind> kKinds = {
      {"Refuses", false, refusing},
      {"IsSilent", true, [] { return answering({""}); }},
      {"Trickles", true,
       [] { return slow("http", "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + std::string(1000, 'x')); }},
      {"SendsAnEndlessHead", false,
       [] {
         return answering(
             {"HTTP/1.1 200 OK\r\n", Then::repeat, When::afterRequest, "X: " + std::string(1000, 'x') + "\r\n"});
       }},
      {"SendsAnEndlessBody", true,
       [] {
         return answering({"HTTP/1.1 200 OK\r\n\r\n", Then::repeat, When::afterRequest, std::string(10'000, 'x')});
       }},
      {"ClosesInTheMiddle", false,
       [] {
         return answering({"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nx", Then::close});
       }},
      {"HasANameThatIsNotResolved", true, unresolved},
      {"HasAnUnknownName", false, [] { return BadServer{.url = "http://unknown.invalid/"}; }},
      {"StallsInTheHandshake", true, [] { return slow("https", ""); }},
  };
  return kKinds;
}

}  // namespace sqm::tests
