// The cost of a record, in time and memory, in lists of different lengths: recording it, saving and loading its list,
// its document, and the upload. Prints a table; --json=FILE writes it to a file, too. --largest measures a million
// records.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "sqm/common/TrelkConfiguration.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/store/SQMRecordStore.h"

#include "bench/Comparison.h"
#include "bench/LoopbackServer.h"
#include "bench/Memory.h"
#include "tools/support/TemporaryFolder.h"

namespace {

constexpr std::int64_t kWiFi = 1;
constexpr std::size_t kRecordSize = 1600;
constexpr auto kType = sqm::RecordType::connection;

// --- What is measured ---------------------------------------------------------------------------------------------

/// One figure of one list length, with what it is divided by.
enum Cost : std::size_t {
  kRecording,       ///< seconds per record
  kSaving,          ///< seconds per record
  kLoading,         ///< seconds per record
  kDocument,        ///< seconds per record
  kCopying,         ///< seconds per record: `memcpy` of the document into new memory, the least that it can take
  kUpload,          ///< seconds per record
  kRecordedMemory,  ///< bytes per record that stay after recording
  kLoadedMemory,    ///< bytes per record that stay after loading
  kSavingPeak,      ///< bytes above what there was before
  kLoadingPeak,     ///< bytes above what stays, per byte of the file
  kUploadPeak,      ///< bytes above what there was before, per byte of the document
  kCosts
};
constexpr std::array<const char*, kCosts> kNames = {"recording",   "saving",       "loading",         "document",
                                                    "copying",     "upload",       "recorded memory", "loaded memory",
                                                    "saving peak", "loading peak", "upload peak"};
constexpr std::size_t kTimes = kRecordedMemory;  // the costs before it are times

using Costs = std::array<double, kCosts>;

/// The processor time of all threads while `work` runs, in seconds, and by how many bytes the process grew at most
/// meanwhile. The processor time, because other programs interrupt long work and not short work.
struct Measured {
  double seconds;
  double peak;
};

template <typename Work>
Measured measure(const Work& work) {
  bench::require(bench::forgetPeak(), "the system does not measure the memory of a process");
  const std::size_t before = bench::residentMemory();
  const std::clock_t start = std::clock();
  work();
  const std::clock_t end = std::clock();
  const std::size_t peak = bench::peakMemory();
  return {static_cast<double>(end - start) / CLOCKS_PER_SEC, static_cast<double>(peak - std::min(before, peak))};
}

/// Calls `work` in a new process, in which no memory is left over from earlier work, and returns its result.
Costs inNewProcess(const std::function<void(Costs&)>& work) {
  std::array<int, 2> pipe{};
  bench::require(::pipe(pipe.data()) == 0, "a pipe cannot be made");
  const ::pid_t child = ::fork();
  bench::require(child >= 0, "a process cannot be started");
  Costs costs{};
  if (child == 0) {
    work(costs);
    ::_exit(::write(pipe[1], costs.data(), sizeof costs) == sizeof costs ? 0 : 1);
  }
  ::close(pipe[1]);
  const ssize_t got = ::read(pipe[0], costs.data(), sizeof costs);
  ::close(pipe[0]);
  int status = 0;
  bench::require(::waitpid(child, &status, 0) == child && status == 0 && got == sizeof costs, "a process failed");
  return costs;
}

// --- The work -----------------------------------------------------------------------------------------------------

/// A host with a home of its own.
class Client {
 public:
  explicit Client(const std::string& home) : host_(options(home)) {
    bench::require(host_.makeFolders(), "the folders cannot be made");
  }

  sqm::platform::StandardHost& host() { return host_; }
  std::string file() { return sqm::listFilePath(*host_.configuration, kType); }

 private:
  static sqm::platform::StandardHost::Options options(const std::string& home) {
    sqm::platform::StandardHost::Options chosen;
    chosen.homeDirectory = home;
    chosen.resourceDirectory = SQM_FIELD_NAMES_DIR;
    return chosen;
  }

  sqm::platform::StandardHost host_;
};

/// Values for every field of a Wi-Fi record, such that its text has `kRecordSize` bytes, or a few more.
sqm::SQMSessionParams everyParameter() {
  constexpr std::size_t kLength = 29;
  sqm::SQMSessionParams params;
  for (std::int64_t key = 1; key <= 91; ++key) {
    std::string value = "value & " + std::to_string(key);
    value.resize(kLength, '.');
    params.setStringValue(value, key);
  }
  return params;
}

void record(sqm::SQMManager& manager, std::size_t count) {
  const sqm::SQMSessionParams params = everyParameter();
  for (std::size_t number = 0; number < count; ++number) manager.sqmCreateStartRecord(&params);
}

void recordAndSave(const std::string& home, std::size_t count, Costs& costs) {
  Client client(home);
  sqm::SQMManager manager(client.host());
  manager.setDeviceType(kWiFi);
  const std::size_t before = bench::residentMemory();
  const Measured recording = measure([&] { record(manager, count); });
  const auto records = static_cast<double>(count);
  costs[kRecordedMemory] = static_cast<double>(bench::residentMemory() - before) / records;
  const Measured saving = measure([&] { manager.saveToDisk(); });
  costs[kRecording] = recording.seconds / records;
  costs[kSaving] = saving.seconds / records;
  costs[kSavingPeak] = saving.peak;
}

void load(const std::string& home, std::size_t count, Costs& costs) {
  Client client(home);
  const auto records = static_cast<double>(count);
  const auto fileSize = static_cast<double>(std::filesystem::file_size(client.file()));
  const std::size_t before = bench::residentMemory();
  std::optional<sqm::SQMRecordStore> store;
  const Measured loading = measure([&] { store.emplace(client.host()); });
  const auto stays = static_cast<double>(bench::residentMemory() - before);
  std::optional<std::string> text;
  const Measured document = measure([&] { text = store->document(kType); });
  bench::require(text.has_value(), "there is no document");
  const std::size_t length = text->size();
  std::string copy;
  const Measured copying = measure([&] { copy.assign(text->data(), length); });
  bench::require(copy.size() == length, "the copy has another size");
  const double size = static_cast<double>(length) / records;
  bench::require(size > 0.9 * kRecordSize && size < 1.1 * kRecordSize, "the records have another size");
  costs[kLoading] = loading.seconds / records;
  costs[kLoadingPeak] = std::max(0.0, loading.peak - stays) / fileSize;
  costs[kLoadedMemory] = stays / records;
  costs[kDocument] = document.seconds / records;
  costs[kCopying] = copying.seconds / records;
}

/// The upload of the list, from the call until nothing is under way. An upload of nothing comes first: it starts the
/// HTTP thread and opens the connection.
void upload(const std::string& home, std::size_t count, Costs& costs) {
  constexpr auto kPatience = std::chrono::minutes(10);
  const bench::LoopbackServer server;
  Client client(home);
  const std::string aside = client.file() + ".aside";
  std::filesystem::rename(client.file(), aside);
  std::optional<sqm::SQMManager> manager(std::in_place, client.host());
  const auto uploadAll = [&] {
    for (const sqm::RecordType type : sqm::kRecordTypes) manager->setURL(type, server.url());
    manager->uploadSQM();
    bench::require(client.host().runUntilIdle(kPatience), "the upload does not end");
  };
  uploadAll();
  manager.reset();
  std::filesystem::rename(aside, client.file());
  manager.emplace(client.host());
  const Measured uploading = measure(uploadAll);
  manager->saveToDisk();
  bench::require(std::filesystem::file_size(client.file()) < kRecordSize, "the records have not been uploaded");
  const auto records = static_cast<double>(count);
  costs[kUpload] = uploading.seconds / records;
  costs[kUploadPeak] = uploading.peak / (records * kRecordSize);
}

/// The costs of a list of `count` records: the best times and the median of memory of several repetitions.
Costs costsOf(std::size_t count) {
  constexpr std::size_t kMostRepetitions = 15;
  constexpr std::size_t kLeastRepetitions = 3;
  constexpr std::size_t kRecordsInAll = 300'000;
  const std::size_t repetitions = std::clamp(kRecordsInAll / count, kLeastRepetitions, kMostRepetitions);
  std::array<std::vector<double>, kCosts> found;
  for (std::size_t repetition = 0; repetition < repetitions; ++repetition) {
    const tools::TemporaryFolder home;
    for (const auto work : {recordAndSave, load, upload}) {
      const Costs costs = inNewProcess([&](Costs& each) { work(home.path(), count, each); });
      for (std::size_t cost = 0; cost < kCosts; ++cost) {
        if (costs[cost] != 0) found[cost].push_back(costs[cost]);
      }
    }
  }
  Costs kept{};
  for (std::size_t cost = 0; cost < kCosts; ++cost) {
    std::vector<double>& values = found[cost];
    if (values.empty()) continue;  // nothing grew
    std::sort(values.begin(), values.end());
    kept[cost] = cost < kTimes ? values.front() : values[values.size() / 2];
  }
  return kept;
}

// --- Output -------------------------------------------------------------------------------------------------------

void print(std::size_t count, const Costs& costs) {
  constexpr double kMicroseconds = 1e6;
  constexpr double kKiB = 1024;
  std::printf("%10zu", count);
  for (std::size_t cost = 0; cost < kTimes; ++cost) std::printf(" %9.3f", costs[cost] * kMicroseconds);
  std::printf(" %9.0f %9.0f %12.0f %12.2f %12.2f\n", costs[kRecordedMemory], costs[kLoadedMemory],
              costs[kSavingPeak] / kKiB, costs[kLoadingPeak], costs[kUploadPeak]);
  std::fflush(stdout);
}

void writeJson(std::ofstream& file, std::size_t count, const Costs& costs) {
  file << R"({"records": )" << count;
  for (std::size_t cost = 0; cost < kCosts; ++cost) file << ", \"" << kNames[cost] << "\": " << costs[cost];
  file << "}";
}

}  // namespace

int main(int argc, char** argv) {
  constexpr std::string_view kJson = "--json=";
  std::vector<std::size_t> counts = {1'000, 10'000, 100'000};
  std::optional<std::ofstream> file;
  for (const std::string_view argument : std::vector<std::string_view>(argv + 1, argv + argc)) {
    if (argument == "--largest") {
      counts.push_back(1'000'000);
    } else if (argument.starts_with(kJson)) {
      file.emplace(std::string(argument.substr(kJson.size())));
    } else {
      std::fprintf(stderr, "usage: bench_scale [--largest] [--json=FILE]\n");
      return 2;
    }
  }
  std::printf("%10s %59s %19s %12s %12s %12s\n", "", "processor time per record, us", "bytes per record", "peak, KiB",
              "peak/file", "peak/body");
  std::printf("%10s %9s %9s %9s %9s %9s %9s %9s %9s %12s %12s %12s\n", "records", "recording", "saving", "loading",
              "document", "copying", "upload", "recorded", "loaded", "saving", "loading", "upload");
  if (file) *file << "[";
  for (const std::size_t count : counts) {
    const Costs costs = costsOf(count);
    print(count, costs);
    if (!file) continue;
    if (count != counts.front()) *file << ",\n ";
    writeJson(*file, count, costs);
  }
  if (file) *file << "]\n";
  return 0;
}
