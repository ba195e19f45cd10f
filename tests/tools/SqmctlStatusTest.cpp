// What `sqmctl status` says of what waits.

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "tests/tools/Sqmctl.h"

namespace {

/// Lets the file have changed at this second after 1970.
void setChange(const std::string& path, std::time_t time) {
  const timespec times[2] = {{time, 0}, {time, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST(SqmctlStatus, SaysThatNothingWaits) {
  const Home home;
  const std::string folder = home.lists();
  const Outcome outcome = home.run({"status"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "Below " + home.path() +
                             "\n"
                             "  client                 0 records         0 bytes\n"
                             "  connection             0 records         0 bytes\n"
                             "  device                 0 records         0 bytes\n"
                             "  application            0 records         0 bytes\n"
                             "  user-acceptance        0 records         0 bytes\n"
                             "  upload queue           0 requests        0 bytes\n"
                             "  .sqm files             0 files           0 bytes\n"
                             "The .sqm files are those of " +
                             folder + "\nNothing waits\n");
  EXPECT_EQ(outcome.err, "");
}

TEST(SqmctlStatus, DoesNotSayThatNothingWaitsInWhatItCannotRead) {
  const Home home;
  putContent(home.queue(), "no archive");
  const Outcome outcome = home.run({"status"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.out.ends_with("\nNothing waits in what can be read\n")) << outcome.out;
}

class SqmctlStatusOfWaiting : public ::testing::Test {
 protected:
  SqmctlStatusOfWaiting() {
    home.putList("SQMClient.plist", {"<client/>"});
    home.putList("SQMConnection.plist", {"<a/>", "<bb/>"});
    home.putList("SQMDevice.plist", {});
    EXPECT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/", "twelve bytes"}).status, 0);
    putContent(home.list("one.sqm"), "\"1\"\n");
    putContent(home.list("two.SQM"), "\"22\"\n");
    putContent(home.list("three.txt"), "not one");
    setChange(home.list("SQMClient.plist"), 86400);
    setChange(home.list("SQMConnection.plist"), 2 * 86400);
    setChange(home.list("SQMDevice.plist"), 0);  // nothing waits in it
    setChange(home.queue(), 3 * 86400);
    setChange(home.list("one.sqm"), 5 * 86400);
    setChange(home.list("two.SQM"), 4 * 86400);
  }

  Home home;
};

TEST_F(SqmctlStatusOfWaiting, CountsEverything) {
  const Outcome outcome = home.run({"status"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "Below " + home.path() +
                             "\n"
                             "  client                 1 record          9 bytes  1970-01-02T00:00:00Z\n"
                             "  connection             2 records         9 bytes  1970-01-03T00:00:00Z\n"
                             "  device                 0 records         0 bytes\n"
                             "  application            0 records         0 bytes\n"
                             "  user-acceptance        0 records         0 bytes\n"
                             "  upload queue           1 request        12 bytes  1970-01-04T00:00:00Z\n"
                             "  .sqm files             2 files           9 bytes  1970-01-05T00:00:00Z\n"
                             "The .sqm files are those of " +
                             home.lists() + "\nThe oldest file in which something waits is of 1970-01-02T00:00:00Z\n");
}

TEST_F(SqmctlStatusOfWaiting, TellsProgramsTheSame) {
  const Outcome outcome = home.run({"status", "--json"});
  EXPECT_EQ(outcome.status, 0);
  const Json status = Json::parse(outcome.out);
  EXPECT_EQ(status.at("home"), home.path());
  EXPECT_EQ(status.at("records").size(), 5U);
  EXPECT_EQ(status.at("records").at("client"), Json({{"records", 1},
                                                     {"bytes", 9},
                                                     {"path", home.list("SQMClient.plist")},
                                                     {"oldest", "1970-01-02T00:00:00Z"},
                                                     {"readable", true}}));
  EXPECT_EQ(status.at("records").at("device").at("oldest"), nullptr);
  EXPECT_EQ(status.at("queue").at("requests"), 1);
  EXPECT_EQ(status.at("folder").at("files"), 2);
  EXPECT_EQ(status.at("oldest"), "1970-01-02T00:00:00Z");
}

TEST_F(SqmctlStatusOfWaiting, LooksIntoTheFolderThatIsNamed) {
  const TemporaryFolder folder;
  putContent(folder / "a.sqm", "");
  const Json status = Json::parse(home.run({"status", "--json", "--folder", folder.path()}).out);
  EXPECT_EQ(status.at("folder").at("files"), 1);
  EXPECT_EQ(status.at("folder").at("path"), folder.path());
}

TEST_F(SqmctlStatusOfWaiting, CountsWhatItCanReadBesideADamagedFile) {
  putContent(home.list("SQMClient.plist"), "<plist><dict/></plist>");
  const Outcome outcome = home.run({"status", "--json"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err,
            "sqmctl: cannot read " + home.list("SQMClient.plist") + ": the root of the property list is no array\n");
  const Json status = Json::parse(outcome.out);
  EXPECT_EQ(status.at("records").at("client").at("readable"), false);
  EXPECT_EQ(status.at("records").at("connection").at("records"), 2);
}

TEST_F(SqmctlStatusOfWaiting, FailsWhenTheFolderCannotBeListed) {
  const Outcome outcome = home.run({"status", "--folder", home.list("one.sqm")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: cannot list the folder " + home.list("one.sqm") + ": Not a directory\n");
}

}  // namespace
