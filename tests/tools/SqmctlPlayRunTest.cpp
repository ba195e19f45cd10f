// sqmctl play: its output, its exit status and its memory.

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/Paths.h"
#include "tests/tools/Play.h"

namespace {

namespace fs = std::filesystem;

const std::string kResources = paths::sources() + "/examples";

/// Runs a shell command.
Outcome shell(const std::string& command, const std::string& input = "") {
  return runProgram({"/bin/sh", "-c", command}, input);
}

/// The beginning of a shell command that runs the scenario on standard input.
std::string playing(const TemporaryFolder& folder) {
  return kSqmctl + " --home '" + (folder / "home") + "' --resources '" + kResources + "' play -";
}

/// A sqmctl whose standard input and output are connected to this process.
class RunningPlay {
 public:
  explicit RunningPlay(const std::string& home, const std::string& file) {
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0) ADD_FAILURE() << "no pipe";
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(out[1], STDOUT_FILENO);
      // The address sanitizer must not count freed memory, which it keeps, as the program's.
      ::execl("/usr/bin/env", "env", "ASAN_OPTIONS=quarantine_size_mb=0:thread_local_quarantine_size_kb=0",
              kSqmctl.c_str(), "--home", home.c_str(), "--resources", kResources.c_str(), "play", file.c_str(),
              nullptr);
      ::_exit(127);
    }
    ::close(out[1]);
    output_ = ::fdopen(out[0], "r");
  }
  RunningPlay(const RunningPlay&) = delete;
  RunningPlay& operator=(const RunningPlay&) = delete;
  ~RunningPlay() {
    std::fclose(output_);
    ::waitpid(pid_, nullptr, 0);
  }

  /// The next line of the output without its line feed; empty at the end.
  std::string line() {
    std::string text;
    for (int c = 0; (c = std::fgetc(output_)) != EOF && c != '\n';) text.push_back(static_cast<char>(c));
    return text;
  }

  /// The peak memory of the program so far, in KiB.
  long peak() const {
    const std::string status = contentOf("/proc/" + std::to_string(pid_) + "/status");
    const std::size_t at = status.find("VmHWM:");
    return at == std::string::npos ? -1 : std::stol(status.substr(at + 6));
  }

 private:
  pid_t pid_ = -1;
  std::FILE* output_ = nullptr;
};

/// The last operation of a scenario, which runs until the server closes the connection.
std::string waiting(const SilentServer& server) {
  return with(server.address(), "{\"do\":\"setURLs\",\"connection\":\"$/\"}\n{\"do\":\"upload\"}\n");
}

TEST(SqmctlPlayRun, ResultsAreWrittenWhileTheScenarioRuns) {
  const TemporaryFolder folder;
  auto server = std::make_unique<SilentServer>();
  putContent(folder / "scenario", "{\"do\":\"save\"}\n" + waiting(*server));
  RunningPlay play(folder / "home", folder / "scenario");
  EXPECT_EQ(play.line(), "{\"line\":1,\"do\":\"save\",\"result\":null}");
  EXPECT_EQ(play.line(), "{\"line\":2,\"do\":\"setURLs\",\"result\":null}");
  server.reset();
  EXPECT_EQ(play.line(), R"({"line":3,"do":"upload","result":{"notifications":["TrelkSQMUploadFailure"]}})");
  EXPECT_EQ(play.line(), "");
}

TEST(SqmctlPlayRun, MemoryDoesNotGrowWithTheLines) {
  // Without a medium a connection gives no record. The last operation runs while the memory is read.
  const auto peakWith = [](int lines) {
    const TemporaryFolder folder;
    auto server = std::make_unique<SilentServer>();
    std::string scenario;
    for (int line = 0; line < lines; ++line) {
      scenario += "{\"do\":\"connectionStart\",\"params\":{\"6\":\"2026-11-21T09:30:00Z\",\"23\":-61}}\n";
    }
    putContent(folder / "scenario", scenario + waiting(*server));
    RunningPlay play(folder / "home", folder / "scenario");
    for (int line = 0; line < lines; ++line) static_cast<void>(play.line());
    EXPECT_EQ(play.line(), "{\"line\":" + std::to_string(lines + 1) + ",\"do\":\"setURLs\",\"result\":null}");
    const long peak = play.peak();
    server.reset();
    EXPECT_NE(play.line().find("TrelkSQMUploadFailure"), std::string::npos);
    return peak;
  };
  const long few = peakWith(1'000);
  const long many = peakWith(100'000);
  ASSERT_GT(few, 0);
  EXPECT_LT(many - few, 1024) << "KiB: " << few << ", " << many;
}

TEST(SqmctlPlayRun, APipeIsCheckedBeforeItRunsToo) {
  const TemporaryFolder folder;
  const std::string input = "{\"do\":\"save\"}\n{\"do\":\"restart\"}\n";
  putContent(folder / "in", input);
  const std::string expected =
      "{\"line\":1,\"do\":\"save\",\"result\":null}\n{\"line\":2,\"do\":\"restart\",\"result\":null}\n";
  EXPECT_EQ(shell("cat | " + playing(folder), input).out, expected);
  EXPECT_EQ(shell("mkfifo '" + (folder / "pipe") + "' && { cp '" + (folder / "in") + "' '" + (folder / "pipe") +
                  "' & " + kSqmctl + " --home '" + (folder / "home") + "' play '" + (folder / "pipe") + "'; }")
                .out,
            expected);
}

TEST(SqmctlPlayRun, NothingIsLeftInTheTemporaryFolder) {
  const TemporaryFolder folder;
  const TemporaryFolder temporary;
  const Outcome outcome = shell("cat | TMPDIR='" + temporary.path() + "' " + playing(folder), "{\"do\":\"save\"}\n");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(temporary.names(), std::vector<std::string>{});
  const Outcome nowhere = shell("cat | TMPDIR=/nowhere/at/all " + playing(folder), "{\"do\":\"save\"}\n");
  EXPECT_EQ(nowhere.status, 1);
  EXPECT_EQ(nowhere.out, "");
  EXPECT_NE(nowhere.err.find("TMPDIR"), std::string::npos) << nowhere.err;
}

TEST(SqmctlPlayRun, AFullStandardOutputIsAFailure) {
  const TemporaryFolder folder;
  const std::string input = "{\"do\":\"device\",\"params\":{\"6\":\"a\"}}\n{\"do\":\"save\"}\n";
  const struct {
    std::string command;
    const char* reason;
  } cases[] = {
      {playing(folder) + " >/dev/full", "No space left on device"},
      {playing(folder) + " >&-", "Bad file descriptor"},
  };
  for (const auto& each : cases) {
    const Outcome outcome = shell(each.command, input);
    EXPECT_EQ(outcome.status, 1) << each.command;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "sqmctl: cannot write standard output: " + std::string(each.reason) + "\n");
  }
}

TEST(SqmctlPlayRun, AClosedPipeEndsTheRun) {
  const TemporaryFolder folder;
  std::string scenario;
  for (int line = 0; line < 20'000; ++line) scenario += "{\"do\":\"setDeviceType\",\"value\":1}\n";
  const Outcome outcome =
      shell("{ " + playing(folder) + "; echo $? >'" + (folder / "status") + "'; } | head -n 1", scenario);
  EXPECT_EQ(outcome.out, "{\"line\":1,\"do\":\"setDeviceType\",\"result\":null}\n");
  EXPECT_EQ(outcome.err, "sqmctl: cannot write standard output: Broken pipe\n");
  EXPECT_EQ(contentOf(folder / "status"), "1\n");
}

TEST(SqmctlPlayRun, ClosedDescriptorsAreNotTakenForFiles) {
  const TemporaryFolder folder;
  const Outcome outcome = shell(playing(folder) + " <&-", "");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "sqmctl: cannot read standard input: Bad file descriptor\n");
  putContent(folder / "scenario", "{\"do\":\"save\"}\n");
  EXPECT_EQ(shell(kSqmctl + " --home '" + (folder / "home") + "' play '" + (folder / "scenario") + "' >&- 2>&-").status,
            1);
  EXPECT_EQ(contentOf(folder / "scenario"), "{\"do\":\"save\"}\n");
}

TEST(SqmctlPlayRun, AHomeDirectoryThatCannotBeWrittenIsAFailure) {
  const TemporaryFolder folder;
  putContent(folder / "file", "");
  const Outcome outcome = runProgram({kSqmctl, "--home", folder / "file", "play", "-"}, "{\"do\":\"save\"}\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "sqmctl: cannot make the folder " + (folder / "file") +
                             "/Library/Application Support/Trelk/Trelk Quenfa/SQM: Not a directory\n");
}

Outcome playAsOrdinaryUser(const std::string& home) {
  const OpenResources resources;
  const OrdinaryUser user;
  return runProgram({kSqmctl, "--home", home, "--resources", resources.path(), "play", "-"}, "{\"do\":\"save\"}\n");
}

TEST(SqmctlPlayRun, AHomeDirectoryOfAnotherUserIsAFailure) {
  const TemporaryFolder folder;
  const RestrictedPermissions forbidden(folder.path(), kReadOnlyFolder);
  const Outcome outcome = playAsOrdinaryUser(folder / "home");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "sqmctl: cannot make the folder " + (folder / "home") +
                             "/Library/Application Support/Trelk/Trelk Quenfa/SQM: Permission denied\n");
}

TEST(SqmctlPlayRun, AnSQMFolderThatCannotBeWrittenIsAFailure) {
  const TemporaryFolder folder;
  const std::string sqm = (folder / "home") + "/Library/Application Support/Trelk/Trelk Quenfa/SQM";
  fs::create_directories(sqm);
  fs::permissions(folder.path(), kReadOnlyFolder);
  const RestrictedPermissions forbidden(sqm, kReadOnlyFolder);
  const Outcome outcome = playAsOrdinaryUser(folder / "home");
  fs::permissions(folder.path(), fs::perms::owner_all);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: cannot write into " + sqm + ": Permission denied\n");
}

TEST(SqmctlPlayRun, AFolderThatCannotBeCreatedEndsTheScenarioThere) {
  const Played played(R"({"do":"save"}
{"do":"collector.directory","path":"Library/Logs/Trelk/Trelk Quenfa/SQMManager.log/x"}
{"do":"save"}
)");
  EXPECT_EQ(played.status(), 1);
  EXPECT_EQ(played.out(), "{\"line\":1,\"do\":\"save\",\"result\":null}\n");
  EXPECT_EQ(played.err(), "sqmctl: -:2: collector.directory: cannot make the folder " + played.home() +
                              "/Library/Logs/Trelk/Trelk Quenfa/SQMManager.log/x: Not a directory\n");
}

TEST(SqmctlPlayRun, ATooShortFieldNameTableEndsTheRunWithAMessage) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "resources");
  putContent(folder / "resources/SQMFieldNames.plist",
             R"(<?xml version="1.0"?><plist version="1.0"><array><string>a</string></array></plist>)");
  const Outcome outcome =
      runProgram({kSqmctl, "--home", folder / "home", "--resources", folder / "resources", "play", "-"},
                 "{\"do\":\"save\"}\n{\"do\":\"device\",\"params\":{\"6\":\"a\"}}\n{\"do\":\"save\"}\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "{\"line\":1,\"do\":\"save\",\"result\":null}\n");
  EXPECT_EQ(outcome.err.rfind("sqmctl: -:2: device: ", 0), 0U) << outcome.err;
}

TEST(SqmctlPlayRun, WithoutAFieldNameTableRecordsHaveNoNames) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "resources");
  const Outcome outcome =
      runProgram({kSqmctl, "--home", folder / "home", "--resources", folder / "resources", "play", "-"},
                 "{\"do\":\"device\",\"params\":{\"6\":\"a\"}}\n");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "{\"line\":1,\"do\":\"device\",\"result\":true}\n");
}

TEST(SqmctlPlayRun, AllFilesAreInTheHomeDirectory) {
  const TemporaryFolder folder;
  const Outcome outcome =
      runProgram({"/usr/bin/env", "HOME=" + (folder / "own"), kSqmctl, "--home", folder / "other", "play", "-"},
                 R"({"do":"timeStamp","value":"\"a\""}
{"do":"device","params":{"6":"a"}}
{"do":"collector.directory","path":"sessions"}
{"do":"collector.save"}
{"do":"queue.add","data":"a","url":"b"}
{"do":"upload"}
)");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"other"});
  const Outcome own = runProgram({"/usr/bin/env", "HOME=" + (folder / "own"), kSqmctl, "play", "-"}, "");
  EXPECT_EQ(own.status, 0) << own.err;
  EXPECT_TRUE(fs::is_directory(folder / "own/Library/Application Support/Trelk/Trelk Quenfa/SQM"));
}

}  // namespace
