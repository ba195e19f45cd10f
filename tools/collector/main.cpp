// sqm-collector: a small collection server for development and demonstration. It keeps every post in memory, whole, and
// answers 200; what it got is read back over HTTP.

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <pthread.h>
#include <thread>

#include <httplib.h>

#include "tools/collector/RequestLog.h"

namespace {

constexpr const char* kAddress = "127.0.0.1";  // nobody else's machine can reach it
constexpr std::size_t kRequestsOfOneConnection = 1000;
constexpr std::size_t kLongestBody = std::size_t{512} * 1024 * 1024;

void serve(httplib::Server& server, collector::RequestLog& log, bool isQuiet) {
  server.set_payload_max_length(kLongestBody);
  server.set_keep_alive_max_count(kRequestsOfOneConnection);
  server.Get("/_requests", [&](const httplib::Request&, httplib::Response& response) {
    response.set_content(log.asJson(), "application/json");
  });
  server.Get(R"(/_requests/(\d{1,9}))", [&](const httplib::Request& request, httplib::Response& response) {
    const auto kept = log.find(std::stoul(request.matches[1].str()));
    if (kept) {
      response.set_content(kept->body, kept->contentType.c_str());
    } else {
      response.status = 404;
      response.set_content("There is no such request.\n", "text/plain");
    }
  });
  server.Post(".*", [&log, isQuiet](const httplib::Request& request, httplib::Response& response) {
    const std::size_t id = log.add(request.path, request.get_header_value("Content-Type"), request.body);
    if (!isQuiet) {
      std::printf("%zu  POST %s  %zu bytes\n", id, request.path.c_str(), request.body.size());
      std::fflush(stdout);
    }
    response.set_content("kept\n", "text/plain");
  });
}

/// Stops the server when the process is asked to end. The signals are blocked in every thread, so that they wait here.
std::thread stopOnSignal(httplib::Server& server, const sigset_t& signals) {
  return std::thread([&server, signals] {
    int signal = 0;
    sigwait(&signals, &signal);
    while (!server.is_running()) std::this_thread::yield();
    server.stop();
  });
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App options{
      "Keeps what is posted to it and answers 200. GET /_requests lists the posts as JSON; "
      "GET /_requests/N gives the body of one."};
  int port = 8080;
  bool isQuiet = false;
  options.add_option("--port", port, "Port on 127.0.0.1; 0 takes a free one")->check(CLI::Range(0, 65535));
  options.add_flag("--quiet", isQuiet, "Print the address alone");
  CLI11_PARSE(options, argc, argv);

  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  collector::RequestLog log;
  httplib::Server server;
  serve(server, log, isQuiet);
  if (port == 0) {
    port = server.bind_to_any_port(kAddress);
  } else if (!server.bind_to_port(kAddress, port)) {
    port = -1;
  }
  if (port < 0) {
    std::fprintf(stderr, "sqm-collector: cannot listen on that port of %s: is it taken? --port 0 takes a free one.\n",
                 kAddress);
    return 1;
  }
  std::printf("http://%s:%d/\n", kAddress, port);
  std::fflush(stdout);

  std::thread stopper = stopOnSignal(server, signals);
  if (!server.listen_after_bind()) {
    std::fprintf(stderr, "sqm-collector: the listening socket failed\n");
    std::_Exit(1);  // the thread that waits for signals would wait for ever
  }
  stopper.join();
  return 0;
}
