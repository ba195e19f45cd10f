// The file-based path: a record to its file, and a folder of them into one body.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "sqm/common/SystemConsole.h"
#include "sqm/platform/files/SystemFiles.h"
#include "sqm/platform/text/IcuDates.h"
#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/testing/FakeHost.h"

#include "bench/Comparison.h"
#include "tools/support/TemporaryFolder.h"

namespace {

using sqm::testing::FakeHost;

constexpr std::size_t kMostFiles = 100'000;

/// Discards the lines.
class SilentConsole : public sqm::SystemConsole {
 public:
  void writeLine(std::string_view /*text*/) override {}
};

/// A host with the real files and dates.
struct Services {
  Services() {
    fakes.host.files = &files;
    fakes.host.dates = &dates;
    fakes.host.console = &console;
  }

  FakeHost fakes;
  sqm::platform::SystemFiles files;
  sqm::platform::IcuDates dates;
  SilentConsole console;
};

void collectSession(sqm::SQMDataCollector& collector) {
  collector.collectDataOnCreation("creation", "de", "jo@example.net", "trelk/jo@example.net", "profile-7", "install-41",
                                  "17");
  collector.collectDataonPreConnect("w", "Example Cafe", "wispr", "trelk", "WPA2", "12.4", "2026-11-01");
  collector.setConnectStartTime();
  collector.setLoginStartTime();
  collector.setLoginEndTime();
  collector.collectDataPostConnect("post", "WiFi", "00:1b:63:84:45:e6", "00:24:6c:11:22:33", "-61", "192.0.2.17",
                                   "198.51.100.4");
  collector.setErrorCode(0);
  collector.setAutoConnect(1);
  collector.collectDataOnDisconnect(4, -67, "12.5", "2026-11-15", 1'048'576, 65'536);
}

/// The line of a session.
std::string sessionLine(Services& services) {
  const tools::TemporaryFolder folder;
  sqm::SQMDataCollector collector(services.fakes.host);
  collector.setSQMDirPath(folder.path());
  collectSession(collector);
  bench::require(collector.saveRec(), "a record cannot be saved");
  sqm::SQMStore store(services.fakes.host);
  store.setSQMDirPath(folder.path());
  return store.getDataFromSQMRec();
}

void writeBare(const std::string& path, std::string_view text) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  bench::require(file >= 0, "the bare file cannot be opened");
  bench::require(::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
                 "the bare file cannot be written");
  ::close(file);
}

/// Each save is a second later than the one before, and so creates a new file.
void compareSaving(Services& services, const tools::TemporaryFolder& folder) {
  const auto collector = std::make_shared<sqm::SQMDataCollector>(services.fakes.host);
  collector->setSQMDirPath(folder.path());
  collectSession(*collector);
  const auto save = [&services](const sqm::SQMDataCollector& saved) {
    services.fakes.clock.advance(std::chrono::seconds(1));
    bench::require(saved.saveRec(), "a record cannot be saved");
  };
  const auto limit = [&services, &folder](benchmark::State& state) {
    static std::size_t number = 0;
    const std::string line = sessionLine(services);
    for (auto _ : state) writeBare(folder / ("bare " + std::to_string(++number)), line);
  };
  bench::compare(
      "saving a record", {.aim = {}},
      [collector, save](benchmark::State& state) {
        for (auto _ : state) save(*collector);
      },
      limit);
  bench::compare(
      "a session, collected and saved", {.aim = 1.5},
      [collector, save](benchmark::State& state) {
        for (auto _ : state) {
          collectSession(*collector);
          save(*collector);
        }
      },
      limit);
}

/// A folder of `count` records, created on first use.
class Records {
 public:
  Records(std::size_t count, std::string line) : count_(count), line_(std::move(line)) {}

  const std::string& path() {
    make();
    return folder_->path();
  }

  std::size_t size() const { return count_ * line_.size(); }

 private:
  void make() {
    if (folder_) return;
    folder_.emplace();
    constexpr std::uint64_t kFirst = 20'261'115'000'000;
    for (std::size_t number = 0; number < count_; ++number) {
      writeBare(*folder_ / ("0Q" + std::to_string(kFirst + number) + ".sqm"), line_);
    }
  }

  std::size_t count_;
  std::string line_;
  std::optional<tools::TemporaryFolder> folder_;
};

/// The names of the records in the folder, in the order of the file system.
std::vector<std::string> listBare(int folder) {
  std::vector<std::string> names;
  alignas(::dirent64) std::array<char, 32'768> buffer;
  for (ssize_t size = 0; (size = ::getdents64(folder, buffer.data(), buffer.size())) > 0;) {
    for (ssize_t at = 0; at < size;) {
      const auto* const entry = reinterpret_cast<const ::dirent64*>(buffer.data() + at);
      if (std::string_view(entry->d_name).ends_with(".sqm")) names.emplace_back(entry->d_name);
      at += entry->d_reclen;
    }
  }
  return names;
}

/// Lists the folder, and opens and reads its files one after the other into a body that has room for all. A file ends
/// where a reading gives fewer bytes than it may.
std::size_t readBare(const std::string& path, char* body, std::size_t room) {
  const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  bench::require(folder >= 0, "a folder cannot be opened");
  std::size_t size = 0;
  for (const std::string& name : listBare(folder)) {
    const int file = ::openat(folder, name.c_str(), O_RDONLY | O_CLOEXEC);
    bench::require(file >= 0, "a file cannot be opened");
    const ssize_t count = ::read(file, body + size, room - size);
    bench::require(count > 0, "a file cannot be read");
    size += static_cast<std::size_t>(count);
    ::close(file);
  }
  ::close(folder);
  return size;
}

void compareReading(Services& services, std::size_t count, const std::string& line) {
  constexpr int kFew = 7;
  const auto records = std::make_shared<Records>(count, line);
  const auto store = std::make_shared<sqm::SQMStore>(services.fakes.host);
  bench::compare(
      "reading a folder/" + std::to_string(count) + " files",
      {.aim = 1.3, .repetitions = count == kMostFiles ? std::optional(kFew) : std::nullopt},
      [records, store](benchmark::State& state) {
        store->setSQMDirPath(records->path());
        for (auto _ : state) {
          bench::require(store->getDataFromSQMRec().size() == records->size(), "a folder cannot be read");
        }
      },
      [records](benchmark::State& state) {
        const std::string& path = records->path();
        const std::size_t room = records->size() + 1;
        for (auto _ : state) {
          const auto body = std::make_unique_for_overwrite<char[]>(room);
          bench::require(readBare(path, body.get(), room) == records->size(), "a folder cannot be read");
        }
      });
}

}  // namespace

int main(int argc, char** argv) {
  const tools::TemporaryFolder folder;
  Services services;
  compareSaving(services, folder);
  const std::string line = sessionLine(services);
  for (const std::size_t count : {10U, 1'000U, 100'000U}) compareReading(services, count, line);
  return bench::run(argc, argv);
}
