// Writing a line to a log, compared with writing the same bytes by a system call to a file that is emptied as often as
// a log file is replaced: the time to free its memory is paid by any log that does not grow for ever.

#include <cstddef>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>

#include "sqm/platform/files/LogFiles.h"

#include "bench/Comparison.h"
#include "tools/support/TemporaryFolder.h"

namespace {

constexpr std::size_t kLargestLog = std::size_t{1} << 20;

}  // namespace

int main(int argc, char** argv) {
  const tools::TemporaryFolder folder;
  sqm::platform::LogFiles logs({.folder = folder.path(), .fileSize = kLargestLog});
  const auto log = logs.initWithFile("bench.log", 2);
  bench::require(log != nullptr, "the log cannot be opened");
  const int file = ::open((folder / "bare.log").c_str(), O_WRONLY | O_APPEND | O_CREAT, 0600);
  bench::require(file >= 0, "the bare log cannot be opened");

  for (const std::size_t length : {std::size_t{100}, std::size_t{1600}}) {
    const auto text = std::make_shared<const std::string>(length, 't');
    const auto line = std::make_shared<const std::string>("2026-11-21T10:00:00.000Z USER 2 " + *text + "\n");
    bench::compare(
        "a line to the log/" + std::to_string(length) + " B", {.aim = 1.2},
        [&log, text](benchmark::State& state) {
          for (auto _ : state) log->writeLogToFileWithInfo("USER", 2, "%@", {*text});
        },
        [file, line](benchmark::State& state) {
          static std::size_t size = 0;
          for (auto _ : state) {
            bench::require(::write(file, line->data(), line->size()) == static_cast<ssize_t>(line->size()),
                           "the bare log cannot be written");
            size += line->size();
            if (size < kLargestLog) continue;
            bench::require(::ftruncate(file, 0) == 0, "the bare log cannot be emptied");
            size = 0;
          }
        });
  }
  const int status = bench::run(argc, argv);
  ::close(file);
  return status;
}
