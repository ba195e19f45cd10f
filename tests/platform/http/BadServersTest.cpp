// The end of a host while its server holds an upload. The bound on the time is far above what an end takes, which
// `measure_end` prints, and below every time limit of the client.

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"

#include "tests/platform/http/BadServers.h"
#include "tests/platform/http/HttpFixture.h"
#include "tests/support/Patience.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace sqm::tests;
using namespace std::chrono_literals;
using sqm::platform::StandardHost;
using std::chrono::milliseconds;

/// Calls `action`, which must end although the server does not.
void expectToEnd(const std::function<void()>& action) {
  constexpr auto kBound = 20s;
  const auto start = std::chrono::steady_clock::now();
  action();
  EXPECT_LT(std::chrono::steady_clock::now() - start, kBound);
}

/// A host with one record.
class BadServers : public ::testing::TestWithParam<BadServerKind> {
 protected:
  BadServers() {
    forgetProxies();
    StandardHost::Options options;
    options.homeDirectory = home.path();
    options.resourceDirectory = home.path();
    host = std::make_unique<StandardHost>(options);
    EXPECT_TRUE(host->makeFolders());
    manager = std::make_unique<sqm::SQMManager>(*host);
    manager->setDeviceType(1);
    manager->SetSQMConnectionURL(server.url);
    sqm::SQMSessionParams params;
    params.setStringValue("now", 6);
    manager->sqmCreateStartRecord(&params);
  }

  void destroyHost() {
    expectToEnd([&] {
      manager.reset();
      host.reset();
    });
  }

  /// The records that the next process has.
  std::size_t recordsOnDisk() const {
    StandardHost::Options options;
    options.homeDirectory = home.path();
    StandardHost next(options);
    return sqm::SQMManager(next).uploadTarget().waiting();
  }

  const TemporaryFolder home;
  const BadServer server = GetParam().start();
  std::unique_ptr<StandardHost> host;
  std::unique_ptr<sqm::SQMManager> manager;
};

TEST_P(BadServers, DoNotHoldAHostThatIsDestroyed) {
  manager->uploadSQM();
  server.waitUntilReached();
  destroyHost();
  EXPECT_EQ(recordsOnDisk(), 1U);
}

TEST_P(BadServers, DoNotHoldAHostThatIsShutDown) {
  const milliseconds time = GetParam().holds ? 100ms : milliseconds(kPatience);
  StandardHost::Remainder left;
  expectToEnd([&] { left = host->shutDown(time, {manager->uploadTarget()}); });
  EXPECT_EQ(left.isCutOff, GetParam().holds);
  EXPECT_EQ(left.waiting, std::vector<std::size_t>{1});
  EXPECT_FALSE(left.isEmpty());
  EXPECT_EQ(recordsOnDisk(), 1U);
  destroyHost();
  EXPECT_EQ(recordsOnDisk(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Server, BadServers, ::testing::ValuesIn(badServers()),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace
