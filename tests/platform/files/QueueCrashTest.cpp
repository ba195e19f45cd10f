#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/platform/files/SystemFiles.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/testing/FakeHost.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/TemporaryFolder.h"

// Every fault in a process with a queue and its archive. The process is a child of the test and reports its progress
// through a pipe, one word at a time.

namespace sqm::platform {
namespace {

using test::Fault;
using test::FaultyFileOperations;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Words = std::vector<std::string>;

UploadRequest requestOf(const std::string& name) { return {"https://collect.example/" + name, "data of " + name}; }

/// The queue before the first change and after each: two requests are queued, two confirmed.
const std::array<UploadRequests, 5> kStates = {{
    {requestOf("a"), requestOf("b")},
    {requestOf("a"), requestOf("b"), requestOf("c")},
    {requestOf("a"), requestOf("b"), requestOf("c"), requestOf("d")},
    {requestOf("b"), requestOf("c"), requestOf("d")},
    {requestOf("c"), requestOf("d")},
}};

constexpr const char* kLoaded = "loaded";
constexpr const char* kBegun = "begun";
constexpr const char* kDone = "done";

/// The services of the child process.
struct Process {
  Process(const std::string& folder, Fault fault, int pipe) : files(fault), pipe_(pipe) {
    host.configuration.applicationFolder = folder;
    host.host.files = &systemFiles;
    host.host.serializer = &archives;
    Host::install(host.host);
  }

  void send(const std::string& word) const {
    const std::string line = word + "\n";
    if (::write(pipe_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) ::_exit(2);
  }

  void queue(const std::string& name) {
    const UploadRequest request = requestOf(name);
    QFRecordUploader::sharedQFRecordUploader()->quequeRecord(request.uploadData, request.uploadURL);
  }

  void confirm() {
    QFRecordUploader::sharedQFRecordUploader()->uploadRecord();
    host.http.complete(200);
  }

  /// Loads the queue and makes the four changes, calling `check` with the number of each when it is done.
  void run(const std::function<void(std::size_t)>& check) {
    QFRecordUploader::sharedQFRecordUploader();
    send(kLoaded);
    send(std::to_string(files.calls().size()));
    std::size_t number = 0;
    const auto change = [&](const std::function<void()>& make) {
      send(kBegun);
      make();
      send(kDone);
      check(++number);
    };
    change([&] { queue("c"); });
    change([&] { queue("d"); });
    change([&] { confirm(); });
    change([&] { confirm(); });
  }

  testing::FakeHost host;
  FaultyFileOperations files;
  SystemFiles systemFiles;  // its calls are not counted: they read only
  ArchiveFiles archives{host.logs, files};

 private:
  int pipe_;
};

class QueueCrash : public ::testing::Test {
 protected:
  QueueCrash() {
    EXPECT_TRUE(ArchiveFiles(logs_).serializeObject(kStates[0], archive()));
    untouched_ = contentOf(archive());
  }

  std::string archive() const { return folder_ / std::string(QFRecordUploader::kArchiveFile); }

  /// Runs a child process with this fault, from the first state. Returns its words, and in `status` how it ended.
  Words wordsOf(Fault fault, const std::function<void(Process&)>& body, int& status) {
    putContent(archive(), untouched_);
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      ::close(ends[0]);
      Process process(folder_.path(), fault, ends[1]);
      body(process);
      ::_exit(0);
    }
    ::close(ends[1]);
    std::string output;
    char part[1024];
    for (ssize_t got = 0; (got = ::read(ends[0], part, sizeof part)) > 0;)
      output.append(part, static_cast<std::size_t>(got));
    ::close(ends[0]);
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    Words words;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) words.push_back(line);
    return words;
  }

  /// The calls of a process without a fault; the first `loading` of them load the queue.
  Words callsOfAllChanges(std::size_t& loading) {
    int status = 0;
    Words words = wordsOf(
        {},
        [](Process& process) {
          process.run([](std::size_t) {});
          for (const std::string& call : process.files.calls()) process.send(call);
        },
        status);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    loading = std::stoul(words.at(1));
    const auto lastDone = std::find(words.rbegin(), words.rend(), kDone).base();
    return {lastDone, words.end()};
  }

  std::optional<UploadRequests> archived() { return ArchiveFiles(logs_).objectFromFile(archive()); }

  TemporaryFolder folder_;
  testing::MemoryLogs logs_;
  std::string untouched_;
};

TEST_F(QueueCrash, AProcessKilledAtAnyCallLeavesTheQueueBeforeOrAfterTheChange) {
  std::size_t loading = 0;
  const Words calls = callsOfAllChanges(loading);
  ASSERT_EQ((calls.size() - loading) % 4, 0U) << "each of the four changes writes the archive in the same steps";
  const std::size_t steps = (calls.size() - loading) / 4;
  const auto firstChange = calls.begin() + static_cast<std::ptrdiff_t>(loading);
  const auto renaming = static_cast<std::size_t>(std::find(firstChange, calls.end(), "rename") - firstChange);
  ASSERT_LT(renaming, steps);

  for (std::size_t call = 1; call <= calls.size(); ++call) {
    for (const auto kind : {Fault::Kind::killsBefore, Fault::Kind::killsHalfway, Fault::Kind::killsAfter}) {
      if (kind == Fault::Kind::killsHalfway && calls[call - 1] != "write") continue;
      SCOPED_TRACE(calls[call - 1] + ", call " + std::to_string(call));
      int status = 0;
      const Words words = wordsOf(
          {kind, call, 0}, [](Process& process) { process.run([](std::size_t) {}); }, status);
      ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the process was not killed";
      const auto begun = static_cast<std::size_t>(std::count(words.begin(), words.end(), kBegun));
      const auto done = static_cast<std::size_t>(std::count(words.begin(), words.end(), kDone));
      ASSERT_EQ(begun, call <= loading ? 0 : (call - loading - 1) / steps + 1);
      const auto read = archived();
      EXPECT_TRUE(read == kStates.at(begun) || (done < begun && read == kStates.at(done)));
      // After the rename the archive is the new one, before it the old one.
      const std::size_t step = call > loading ? (call - loading - 1) % steps : 0;
      const bool isRenamed = step > renaming || (step == renaming && kind == Fault::Kind::killsAfter);
      EXPECT_EQ(read, kStates.at(isRenamed || begun == 0 ? begun : begun - 1));
      // The next change succeeds, and leaves nothing beside the archive.
      EXPECT_TRUE(ArchiveFiles(logs_).serializeObject(kStates[0], archive()));
      EXPECT_THAT(folder_.names(), ElementsAre(QFRecordUploader::kArchiveFile));
    }
  }
  EXPECT_THAT(logs_.lines("SQMFiles.log"), IsEmpty()) << "no archive was unreadable";
}

/// Checks the queue, the archive and the log in the child process after a change, and reports what is wrong.
void checkAfterChange(Process& process, const Fault& fault, std::size_t callsBefore, std::size_t number) {
  const auto complain = [&](const char* what) { process.send("change " + std::to_string(number) + ": " + what); };
  if (QFRecordUploader::sharedQFRecordUploader()->recordQueue() != kStates.at(number)) {
    complain("the queue in memory is another");
  }
  const std::size_t callsNow = process.files.calls().size();
  const bool isStruck = fault.call > callsBefore && fault.call <= callsNow;
  const Words log = process.host.logs.lines("SQMFiles.log");
  const std::string path =
      process.host.configuration.applicationFolder + "/" + std::string(QFRecordUploader::kArchiveFile);
  const auto archived = ArchiveFiles(process.host.logs).objectFromFile(path);
  if (archived == kStates.at(number)) return;
  if (!isStruck || archived != kStates.at(number - 1)) complain("the archive is neither the old nor the new one");
  const std::string reason = fault.error == ENOSPC ? "No space left on device" : "Input/output error";
  if (log.empty() || log.back() != "USER 2 cannot write " + path + ": " + reason) complain("the log does not say why");
}

TEST_F(QueueCrash, AFaultAtAnyCallLeavesTheOldArchiveAndTheQueueInMemory) {
  std::size_t loading = 0;
  const Words calls = callsOfAllChanges(loading);
  const std::size_t steps = (calls.size() - loading) / 4;
  std::size_t leftOld = 0;
  for (std::size_t call = loading + 1; call <= calls.size(); ++call) {
    for (const Fault fault : {Fault{Fault::Kind::fails, call, ENOSPC}, Fault{Fault::Kind::fails, call, EIO},
                              Fault{Fault::Kind::writesHalf, call, 0}}) {
      SCOPED_TRACE(calls[call - 1] + ", call " + std::to_string(call));
      int status = 0;
      Words words = wordsOf(
          fault,
          [&](Process& process) {
            std::size_t callsBefore = loading;
            process.run([&](std::size_t number) {
              checkAfterChange(process, fault, callsBefore, number);
              callsBefore = process.files.calls().size();
            });
            if (!process.host.logs.lines("SQMFiles.log").empty()) process.send("reported");
          },
          status);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
      leftOld += static_cast<std::size_t>(std::erase(words, "reported"));
      std::erase(words, kBegun);
      std::erase(words, kDone);
      EXPECT_THAT(words, ::testing::ElementsAre(kLoaded, std::to_string(loading)));
      // No later change repairs the archive after a fault in the last one.
      if (call + steps <= calls.size() || fault.kind == Fault::Kind::writesHalf) {
        EXPECT_EQ(archived(), kStates.back());
      }
    }
  }
  EXPECT_GT(leftOld, 0U);
  EXPECT_THAT(logs_.lines("SQMFiles.log"), IsEmpty()) << "no archive was unreadable";
}

TEST_F(QueueCrash, ALaterProcessContinuesWhereTheKilledOneWas) {
  std::size_t loading = 0;
  const Words calls = callsOfAllChanges(loading);
  const auto afterLastRenaming = std::find(calls.rbegin(), calls.rend(), "rename").base();
  int status = 0;
  wordsOf(
      {Fault::Kind::killsBefore, static_cast<std::size_t>(afterLastRenaming - calls.begin()), 0},
      [](Process& process) { process.run([](std::size_t) {}); }, status);
  ASSERT_TRUE(WIFSIGNALED(status));
  untouched_ = contentOf(archive());
  const Words words = wordsOf(
      {},
      [](Process& process) {
        QFRecordUploader::sharedQFRecordUploader()->uploadRecord();
        while (QFRecordUploader::sharedQFRecordUploader()->uploadInProgress()) {
          process.send(process.host.http.requests().back().data);
          process.host.http.complete(200);
          process.host.mainThread.runAll();
        }
      },
      status);
  EXPECT_THAT(words, ::testing::ElementsAre("data of b", "data of c", "data of d"));
  EXPECT_EQ(archived(), UploadRequests{});
}

}  // namespace
}  // namespace sqm::platform
