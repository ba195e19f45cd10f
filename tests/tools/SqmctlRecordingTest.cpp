// sqmctl and the journal of a process that ended without a save.

#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "sqm/platform/StandardHost.h"
#include "sqm/store/SQMRecordStore.h"

#include "tests/platform/http/LoopbackServer.h"
#include "tests/tools/Sqmctl.h"

namespace {

using sqm::tests::LoopbackServer;
using sqm::tests::response;

/// Stores two device records in a process that ends at once.
void storeInAProcessThatEnds(const std::string& home) {
  const pid_t child = ::fork();
  if (child == 0) {
    sqm::platform::StandardHost::Options options;
    options.homeDirectory = home;
    options.recording = sqm::delivery::Recording::survivesCrash;
    sqm::platform::StandardHost host(options);
    host.makeFolders();
    sqm::SQMRecordStore store(host);
    store.saveSQMDeviceRecordToStore("<device>1</device>");
    store.SaveSQMStoreToDisk();
    store.saveSQMDeviceRecordToStore("<device>2</device>");
    ::_exit(0);
  }
  int status = 1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(SqmctlRecording, ReadersShowListsAndJournalTogetherAndChangeNothing) {
  const Home home;
  storeInAProcessThatEnds(home.path());
  const std::string journal = contentOf(home.lists() + "/SQMJournal");
  const std::string list = contentOf(home.lists() + "/SQMDevice.plist");
  const Outcome shown = home.run({"documents", "device", "--raw"});
  EXPECT_NE(shown.out.find("<device>1</device><device>2</device>"), std::string::npos) << shown.out;
  EXPECT_NE(home.run({"status"}).out.find("device                 2 records"), std::string::npos);
  EXPECT_EQ(contentOf(home.lists() + "/SQMJournal"), journal);
  EXPECT_EQ(contentOf(home.lists() + "/SQMDevice.plist"), list);
}

TEST(SqmctlRecording, AnUploadWithoutTheOptionUsesTheJournalThatIsThere) {
  const LoopbackServer server(response("200 OK"));
  const Home home;
  storeInAProcessThatEnds(home.path());
  EXPECT_EQ(home.run({"upload", "--all", server.url()}).status, 0);
  ASSERT_EQ(server.requests().size(), 2U);  // connections, which are posted even when there are none, and devices
  EXPECT_NE(server.requests().back().body.find("<device>1</device><device>2</device>"), std::string::npos);
  EXPECT_NE(home.run({"status"}).out.find("device                 0 records"), std::string::npos);
}

TEST(SqmctlRecording, AJournalThatCannotBeReadIsReported) {
  const Home home;
  home.putList("SQMDevice.plist", {"<device/>"});
  std::filesystem::create_directory(home.lists() + "/SQMJournal");
  const Outcome outcome = home.run({"status"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("SQMJournal"), std::string::npos) << outcome.err;
}

}  // namespace
