// What a journal costs: one event, and the start of a process.

#include <array>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <malloc.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "sqm/common/TextArray.h"
#include "sqm/delivery/Journal.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/SystemAppendFile.h"
#include "sqm/platform/system/SystemClock.h"

#include "bench/ClientEvent.h"
#include "bench/Comparison.h"
#include "tools/support/TemporaryFolder.h"

namespace {

using bench::RecordingManager;
using sqm::delivery::Recording;
using sqm::platform::StandardHost;

constexpr const char* kTable = "SQMFieldNames.plist";

/// A home folder, and the host of a process that records there.
class Home {
 public:
  Home(const std::string& parent, Recording recording) : folder_(parent), host_(optionsFor(recording)) {
    bench::require(host_.makeFolders(), "the folders cannot be made");
  }

  StandardHost& host() { return host_; }

  std::string journal() const {
    return sqm::sqmFolderPath(*host_.configuration) + "/" + std::string(sqm::delivery::kJournalFile);
  }

  /// Removes the lists and the journal.
  void forget() const {
    for (const auto& entry : std::filesystem::directory_iterator(sqm::sqmFolderPath(*host_.configuration))) {
      std::filesystem::remove_all(entry.path());
    }
  }

  /// A manager whose journal begins.
  RecordingManager manager(const sqm::SQMSessionParams& params, benchmark::State& state) {
    RecordingManager manager(host_, [this] { forget(); });
    manager.start(params, state);
    return manager;
  }

 private:
  StandardHost::Options optionsFor(Recording recording) const {
    std::filesystem::copy_file(std::string(SQM_FIELD_NAMES_DIR) + "/" + kTable, folder_ / kTable);
    StandardHost::Options options;
    options.homeDirectory = folder_.path();
    options.resourceDirectory = folder_.path();
    options.recording = recording;
    return options;
  }

  tools::TemporaryFolder folder_;
  StandardHost host_;
};

/// A file to which bytes that are ready are appended.
class BareFile {
 public:
  explicit BareFile(const std::string& path)
      : file_(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {
    bench::require(file_ >= 0, "the bare file cannot be opened");
  }
  BareFile(const BareFile&) = delete;
  BareFile& operator=(const BareFile&) = delete;
  ~BareFile() { ::close(file_); }

  void append(std::string_view bytes) const {
    bench::require(::write(file_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                   "the bare file cannot be written");
  }
  void sync() const { bench::require(::fdatasync(file_) == 0, "the bare file cannot be synced"); }

 private:
  int file_;
};

/// What one event adds to the journal.
std::string frameOf(Home& home, const sqm::SQMSessionParams& params) {
  sqm::SQMManager manager(home.host());
  manager.setDeviceType(bench::kWiFi);
  manager.sqmCreateStartRecord(&params);
  const auto before = std::filesystem::file_size(home.journal());
  manager.sqmCreateStartRecord(&params);
  std::string frame(std::filesystem::file_size(home.journal()) - before, 'x');
  return frame;
}

void compareEvents(const std::string& folder, const sqm::SQMSessionParams& params) {
  const auto unjournalled = std::make_shared<Home>(folder, Recording::asRequired);
  const auto journalled = std::make_shared<Home>(folder, Recording::survivesCrash);
  const auto synced = std::make_shared<Home>(folder, Recording::survivesPowerLoss);
  const std::string frame = frameOf(*journalled, params);
  const std::string barePath = folder + "/bare";

  bench::compare(
      "one event that survives a crash", {.aim = 1.5},
      [journalled, &params](benchmark::State& state) {
        RecordingManager manager = journalled->manager(params, state);
        for (auto _ : state) manager.start(params, state);
      },
      [unjournalled, frame, barePath, &params](benchmark::State& state) {
        RecordingManager manager = unjournalled->manager(params, state);
        const BareFile file(barePath);
        for (auto _ : state) {
          manager.start(params, state);
          file.append(frame);
        }
      });
  bench::compare(
      "one event that survives a loss of power", {.aim = 1.2, .counts = bench::Effort::Counts::median},
      [synced, &params](benchmark::State& state) {
        RecordingManager manager = synced->manager(params, state);
        for (auto _ : state) manager.start(params, state);
      },
      [frame, barePath](benchmark::State& state) {
        const BareFile file(barePath);
        file.append(frame);
        file.sync();
        for (auto _ : state) {
          file.append(frame);
          file.sync();
        }
      });
}

/// Reads the file into memory that is large enough.
std::unique_ptr<char[]> readBare(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct ::stat status {};
  bench::require(file >= 0 && ::fstat(file, &status) == 0, "the journal cannot be opened");
  const auto size = static_cast<std::size_t>(status.st_size);
  auto content = std::make_unique_for_overwrite<char[]>(size);
  bench::require(::read(file, content.get(), size) == status.st_size, "the journal cannot be read");
  ::close(file);
  return content;
}

/// The records of a client's events in the journal of a process that was killed.
void compareStart(const std::string& folder, const sqm::SQMSessionParams& params) {
  constexpr std::size_t kRecords = 10'000;
  const std::string path = folder + "/of " + std::to_string(kRecords);
  {
    Home home(folder, Recording::survivesCrash);
    sqm::SQMManager manager(home.host());
    manager.setDeviceType(bench::kWiFi);
    for (std::size_t number = 0; number < kRecords; ++number) manager.sqmCreateStartRecord(&params);
    std::filesystem::copy_file(home.journal(), path);
  }
  bench::compare(
      "start with a journal/" + std::to_string(kRecords) + " records", {.aim = 1.5},
      [path](benchmark::State& state) {
        const sqm::platform::SystemClock clock;
        for (auto _ : state) {
          sqm::delivery::Journal journal(std::make_unique<sqm::platform::SystemAppendFile>(path), clock, {});
          std::array<sqm::TextArray, sqm::kRecordTypes.size()> lists;
          journal.listsLoaded(lists);
          bench::require(lists[1].size() == kRecords, "the journal cannot be loaded");
          state.PauseTiming();
          lists = {};
          state.ResumeTiming();
        }
      },
      [path](benchmark::State& state) {
        for (auto _ : state) {
          auto content = readBare(path);
          benchmark::DoNotOptimize(content.get());
          state.PauseTiming();
          content.reset();
          state.ResumeTiming();
        }
      });
}

}  // namespace

int main(int argc, char** argv) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread runs yet
  ::mallopt(M_MMAP_THRESHOLD, 128 * 1024);  // large memory is new, as at the start of a process
  // The build folder is on a disk. In memory a sync costs nothing.
  const tools::TemporaryFolder folder(std::filesystem::read_symlink("/proc/self/exe").parent_path());
  sqm::SQMSessionParams params;
  bench::fill(params, bench::clientValues());
  compareEvents(folder.path(), params);
  compareStart(folder.path(), params);
  return bench::run(argc, argv);
}
