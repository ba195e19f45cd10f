// The command line of sqmctl itself, and what holds for all subcommands; each of them has a file of its own.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>

#include "sqm/platform/files/FolderLock.h"

#include "tests/support/CaseName.h"
#include "tests/support/Paths.h"
#include "tests/tools/HelpPage.h"
#include "tests/tools/Sqmctl.h"

namespace {

namespace fs = std::filesystem;

const std::string kSources = paths::sources();
const Words kSubcommands = {"status",  "show",      "documents",   "upload", "queue",
                            "refused", "directory", "diagnostics", "fields", "play"};

TEST(Sqmctl, ListsItsSubcommands) {
  const Outcome outcome = runProgram({kSqmctl, "--help"});
  EXPECT_EQ(outcome.status, 0);
  for (const std::string& name : kSubcommands) {
    EXPECT_NE(outcome.out.find("\n  " + name + " "), std::string::npos) << name << "\n" << outcome.out;
  }
  EXPECT_EQ(outcome.err, "");
}

TEST(Sqmctl, DescribesEverySubcommand) {
  for (const std::string& name : kSubcommands) {
    const Outcome outcome = runProgram({kSqmctl, name, "--help"});
    EXPECT_EQ(outcome.status, 0) << name;
    EXPECT_NE(outcome.out.find("Usage: sqmctl " + name), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.err, "") << name;
  }
}

TEST(Sqmctl, TellsItsVersion) {
  const Outcome outcome = runProgram({kSqmctl, "--version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "sqmctl 0.1.0\n");
}

struct BadLine {
  std::string name;
  Words words;
  std::string err;
};

class SqmctlBadLine : public ::testing::TestWithParam<BadLine> {};

TEST_P(SqmctlBadLine, ExitsWith2AndAHint) {
  Words command = {kSqmctl};
  command.insert(command.end(), GetParam().words.begin(), GetParam().words.end());
  const Outcome outcome = runProgram(command);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, GetParam().err);
}

const std::string kNoFile = "/nowhere/at/all";

INSTANTIATE_TEST_SUITE_P(
    Of, SqmctlBadLine,
    ::testing::Values(
        BadLine{"NoSubcommand", {}, "sqmctl: A subcommand is required\nRun 'sqmctl --help' to see what is expected.\n"},
        BadLine{"UnknownSubcommand",
                {"stauts"},
                "sqmctl: 'stauts' is not expected here\nRun 'sqmctl --help' to see what is expected.\n"},
        BadLine{"NoInnerSubcommand",
                {"queue"},
                "sqmctl: A subcommand is required\nRun 'sqmctl queue --help' to see what is expected.\n"},
        BadLine{"UnknownOption",
                {"status", "--jason"},
                "sqmctl: The following argument was not expected: --jason\nRun 'sqmctl status --help' to see what is "
                "expected.\n"},
        BadLine{"EmptyHome",
                {"--home", "", "status"},
                "sqmctl: --home: is empty\nRun 'sqmctl status --help' to see what is expected.\n"},
        BadLine{"HomeIsAFile",
                {"--home", "/proc/self/exe", "status"},
                "sqmctl: --home /proc/self/exe: that is no folder\n"},
        BadLine{
            "UnknownType",
            {"show", "clients"},
            "sqmctl: TYPE: 'clients' is none of client, connection, device, application, user-acceptance\nRun 'sqmctl "
            "show --help' to see what is expected.\n"},
        BadLine{"MissingArgument",
                {"queue", "add"},
                "sqmctl: URL is required\nRun 'sqmctl queue add --help' to see what is expected.\n"},
        BadLine{"NoAddress",
                {"queue", "add", "ftp://a/", "x"},
                "sqmctl: URL: 'ftp://a/' is not an address to post to; an example is http://127.0.0.1:8080/path\nRun "
                "'sqmctl queue add --help' to see what is expected.\n"},
        BadLine{"NoFolder",
                {"directory", "show", kNoFile},
                "sqmctl: /nowhere/at/all is not a folder; name the one that the application saves .sqm files to\n"},
        BadLine{"NoReport",
                {"diagnostics", "decode", kNoFile},
                "sqmctl: cannot read /nowhere/at/all: No such file or directory\n"},
        BadLine{"NoTable",
                {"fields", kNoFile},
                "sqmctl: there is no /nowhere/at/all; it would be a property list of 91 names\n"}),
    CaseName());

TEST(Sqmctl, FailsWhenItsOutputCannotBeWritten) {
  const Outcome outcome = runProgram({"/bin/sh", "-c", "exec \"$0\" --version >/dev/full", kSqmctl});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: the output could not be written\n");
}

TEST(Sqmctl, TakesTheHomeBehindTheSubcommandToo) {
  const TemporaryFolder home;
  const Outcome outcome = runProgram({kSqmctl, "status", "--home", home.path()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.out.starts_with("Below " + home.path() + "\n")) << outcome.out;
}

TEST(Sqmctl, TakesTheUsersHomeByItself) {
  const TemporaryFolder home;
  const Outcome outcome = runProgram({"/usr/bin/env", "HOME=" + home.path(), kSqmctl, "status"});
  EXPECT_TRUE(outcome.out.starts_with("Below " + home.path() + "\n")) << outcome.out;
}

// --- Looking changes nothing --------------------------------------------------------------------------------------

const std::vector<Words> kLooks = {{"status"},         {"status", "--json"},        {"show"},
                                   {"show", "--json"}, {"show", "device"},          {"documents"},
                                   {"queue", "list"},  {"queue", "list", "--json"}, {"refused", "list"},
                                   {"fields"}};

TEST(SqmctlLooking, ChangesNothing) {
  const DayHome home;
  ASSERT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/", "data"}).status, 0);
  const auto before = everythingBelow(home.path());
  for (const Words& look : kLooks) EXPECT_EQ(home.run(look).status, 0) << look.front();
  EXPECT_EQ(home.run({"directory", "show", home.path()}).status, 0);
  EXPECT_EQ(everythingBelow(home.path()), before);
}

TEST(SqmctlLooking, MakesNoHome) {
  const TemporaryFolder folder;
  for (const Words& look : kLooks) {
    Words command = {kSqmctl, "--home", folder / "none"};
    command.insert(command.end(), look.begin(), look.end());
    const Outcome outcome = runProgram(command);
    EXPECT_EQ(outcome.status, 0) << look.front();
    EXPECT_EQ(outcome.err, "");
  }
  EXPECT_TRUE(folder.names().empty());
}

TEST(SqmctlLooking, NeedsNoPermissionToWrite) {
  const DayHome home;
  ASSERT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/", "data"}).status, 0);
  constexpr auto kReadable = fs::perms::group_read | fs::perms::others_read;
  constexpr auto kEnterable = kReadable | fs::perms::group_exec | fs::perms::others_exec;
  for (const auto& entry : fs::recursive_directory_iterator(home.path())) {
    fs::permissions(entry.path(), entry.is_directory() ? kEnterable : kReadable, fs::perm_options::add);
  }
  const RestrictedPermissions toWrite(home.path(), kReadOnlyFolder);
  const OpenResources resources;
  const OrdinaryUser user;
  for (Words look : kLooks) {
    look.insert(look.end(), {"--resources", resources.path()});
    const Outcome outcome = home.run(look);
    EXPECT_EQ(outcome.status, 0) << look.front() << outcome.err;
  }
}

TEST(SqmctlLooking, WorksAlsoWhileAHostHasTheLockOfTheFolder) {
  const DayHome home;
  std::vector<std::string> before;
  for (const Words& look : kLooks) before.push_back(home.run(look).out);
  const sqm::platform::FolderLock lock(home.lists(), std::chrono::milliseconds(0),
                                       sqm::platform::FileProblemObserver());
  ASSERT_EQ(lock.state(), sqm::platform::FolderLock::State::owned);
  const auto files = everythingBelow(home.path());
  for (std::size_t at = 0; at < kLooks.size(); ++at) {
    const Outcome outcome = home.run(kLooks[at]);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, before[at]);
  }
  EXPECT_EQ(everythingBelow(home.path()), files);
}

TEST(SqmctlLooking, LeavesDamagedFilesWhereTheyAre) {
  const DayHome home;
  putContent(home.list("SQMDevice.plist"), "no property list");
  putContent(home.queue(), "no archive");
  const auto before = everythingBelow(home.path());
  const std::string ofList = "sqmctl: cannot read " + home.list("SQMDevice.plist") + ": ";
  const std::string ofQueue = "sqmctl: cannot read " + home.queue() + ": ";
  const struct {
    Words words;
    std::string error;
  } cases[] = {{{"status"}, ofList},        {{"status"}, ofQueue},        {{"status", "--json"}, ofList},
               {{"show"}, ofList},          {{"show", "device"}, ofList}, {{"documents"}, ofList},
               {{"queue", "list"}, ofQueue}};
  for (const auto& [words, error] : cases) {
    const Outcome outcome = home.run(words);
    EXPECT_EQ(outcome.status, 1) << words.front();
    EXPECT_NE(outcome.err.find(error), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(everythingBelow(home.path()), before);
}

// --- What is installed --------------------------------------------------------------------------------------------

class SqmctlInstalled : public ::testing::Test {
 protected:
  SqmctlInstalled() {
    installed =
        runProgram({paths::cmake(), "--install", paths::build(), "--prefix", prefix.path(), "--component", "tools"});
  }

  TemporaryFolder prefix;
  Outcome installed;
};

TEST_F(SqmctlInstalled, FindsItsSample) {
  ASSERT_EQ(installed.status, 0) << installed.err;
  const Outcome outcome = runProgram({prefix / "bin/sqmctl", "fields"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_TRUE(outcome.out.starts_with(prefix / "share/sqm/SQMFieldNames.plist\n")) << outcome.out;
}

TEST_F(SqmctlInstalled, BringsItsPageAndItsCompletion) {
  ASSERT_EQ(installed.status, 0) << installed.err;
  const std::string page = contentOf(prefix / "share/man/man1/sqmctl.1");
  const std::string completion = contentOf(prefix / "share/bash-completion/completions/sqmctl");
  for (const std::string& name : kSubcommands) {
    EXPECT_NE(page.find("\\fB" + name), std::string::npos) << name;
    EXPECT_NE(completion.find(name), std::string::npos) << name;
  }
  EXPECT_TRUE(fs::exists(prefix / "bin/sqm-collector"));
}

std::string completed(const std::string& words, int current) {
  const std::string script = ". " + kSources + "/tools/sqmctl/completion.bash; COMP_WORDS=(" + words +
                             "); COMP_CWORD=" + std::to_string(current) + "; _sqmctl; printf '%s ' \"${COMPREPLY[@]}\"";
  return runProgram({"/bin/bash", "--norc", "-c", script}).out;
}

TEST(SqmctlCompletion, OffersWhatFits) {
  EXPECT_EQ(completed("sqmctl sh", 1), "show ");
  EXPECT_EQ(completed("sqmctl --home /tmp d", 3), "documents directory diagnostics ");
  EXPECT_EQ(completed("sqmctl show c", 2), "client connection ");
  EXPECT_EQ(completed("sqmctl queue ''", 2), "list add send --home --resources --accept --recording --limit --help ");
  EXPECT_EQ(completed("sqmctl queue send --t", 3), "--timeout ");
  EXPECT_EQ(completed("sqmctl upload --use", 2), "--user-acceptance ");
  EXPECT_EQ(completed("sqmctl --home /us", 2), "/usr ");
}

/// Every option that a page of --help names, and the page of the manual and the completion do not.
TEST(SqmctlCompletion, KnowsEveryOption) {
  const std::string page = contentOf(kSources + "/tools/sqmctl/sqmctl.1");
  const std::string completion = contentOf(kSources + "/tools/sqmctl/completion.bash");
  const std::vector<Words> commands = {{"status"},
                                       {"show"},
                                       {"documents"},
                                       {"upload"},
                                       {"queue", "list"},
                                       {"queue", "add"},
                                       {"queue", "send"},
                                       {"refused", "list"},
                                       {"refused", "show"},
                                       {"refused", "send"},
                                       {"refused", "delete"},
                                       {"directory", "show"},
                                       {"directory", "send"},
                                       {"diagnostics", "decode"},
                                       {"fields"}};
  for (Words command : commands) {
    command.insert(command.begin(), kSqmctl);
    command.emplace_back("--help");
    for (const std::string& option : optionsOf(runProgram(command).out)) {
      EXPECT_NE(completion.find(option), std::string::npos) << option;
      EXPECT_NE(page.find(asInManual(option)), std::string::npos) << option;
    }
  }
}

}  // namespace
