#include <chrono>
#include <csignal>
#include <cstddef>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/PropertyList.h"
#include "sqm/common/SystemConsole.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/system/RunLoop.h"

#include "tests/platform/http/LoopbackServer.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::tests {
namespace {

using platform::StandardHost;

/// A server in a process of its own, whose allocations are not this process's.
class ServerProcess {
 public:
  ServerProcess() {
    int ends[2];
    if (::pipe(ends) != 0 || (child_ = ::fork()) < 0) std::abort();
    if (child_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      const LoopbackServer server(response("200 OK"));
      const int port = server.port();
      if (::write(ends[1], &port, sizeof port) == sizeof port) ::pause();
      ::_exit(1);
    }
    EXPECT_EQ(::read(ends[0], &port_, sizeof port_), static_cast<ssize_t>(sizeof port_));
    ::close(ends[0]);
    ::close(ends[1]);
  }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess() {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
  }

  std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/collect"; }

 private:
  pid_t child_ = -1;
  int port_ = 0;
};

class CountingConsole : public SystemConsole {
 public:
  void writeLine(std::string_view text) override { bytes += text.size(); }

  std::size_t bytes = 0;
};

TEST(UploadMemory, ADocumentIsMadeOnceAndNotCopiedUntilItIsSent) {
  const ServerProcess server;
  const TemporaryFolder home;
  CountingConsole console;
  std::uint64_t sent = 0;
  StandardHost::Options options;
  options.homeDirectory = home.path();
  options.resourceDirectory = home.path();
  options.services.console = &console;
  options.onHttpExchange = [&](const platform::HttpExchange& exchange) { sent += exchange.bytesSent; };
  StandardHost host(options);
  ASSERT_TRUE(host.makeFolders());
  constexpr std::size_t kDocument = 2'000'000;
  const TextArray records = std::vector<std::string>(2'000, std::string(1'000, 'r'));
  for (const RecordType type : kRecordTypes) {
    ASSERT_TRUE(host.propertyLists->writeToFile(records, listFilePath(*host.configuration, type), false));
  }
  SQMManager manager(host);
  for (const RecordType type : kRecordTypes) manager.setURL(type, server.url());

  const AllocationProbe probe(kDocument);
  manager.uploadSQM();
  EXPECT_TRUE(host.runUntilIdle(std::chrono::minutes(1)));
  EXPECT_EQ(probe.count(), kRecordTypes.size()) << "one for each document";
  EXPECT_GT(sent, kRecordTypes.size() * kDocument);
  EXPECT_GT(console.bytes, kDocument);
}

}  // namespace
}  // namespace sqm::tests
