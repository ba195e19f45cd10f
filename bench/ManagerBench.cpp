// One connection start as the client reports it, with the field-name table and the log on disk, compared with the least
// that reading the table, copying the values, formatting the record and writing its log line take.

#include <array>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

#include "sqm/manager/SQMManager.h"
#include "sqm/manager/SQMSessionParams.h"
#include "sqm/manager/internal/CreatingCalls.h"
#include "sqm/platform/StandardHost.h"

#include "bench/ClientEvent.h"
#include "bench/Comparison.h"
#include "bench/Pieces.h"
#include "tools/support/TemporaryFolder.h"

namespace {

using bench::kWiFi;
using bench::RecordingManager;
using bench::Values;

constexpr const char* kTable = "SQMFieldNames.plist";

/// The record that the manager makes of these values.
std::string recordOf(sqm::Host& host, const sqm::SQMSessionParams& params) {
  const auto record = sqm::mediumOf(kWiFi)->makeRecord(host);
  for (const sqm::Fill& each : sqm::mediumOf(kWiFi)->startFills) {
    record->SetAttribute(each.field, params.valueForKey(each.field));
  }
  record->SetAttribute(8, "start");
  record->SetAttribute(9, "0");
  std::optional<std::string> text = "";
  bench::require(record->FormatRecord(text) == 0, "the record does not validate");
  return *std::move(text);
}

/// The same work in plain code, for a table and values that are known beforehand.
class BareEvent {
 public:
  BareEvent(const tools::TemporaryFolder& folder, const Values& values, std::string text)
      : tablePath_(folder / kTable),
        log_(::open((folder / "bare.log").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600)),
        record_(textsOf(values), std::move(text)) {
    bench::require(log_ >= 0, "the bare log cannot be opened");
    const ssize_t size = readTable();
    lastTable_.assign(buffer_.data(), static_cast<std::size_t>(size));
    records_.reserve(bench::kMostRecords);
  }
  BareEvent(const BareEvent&) = delete;
  BareEvent& operator=(const BareEvent&) = delete;
  ~BareEvent() { ::close(log_); }

  void fill() { record_.fill(); }

  void start(bool filled, benchmark::State& state) {
    const ssize_t size = readTable();
    bench::require(std::string_view(buffer_.data(), static_cast<std::size_t>(size)) == lastTable_, "another table");
    char* at = kPrefix.copy(line_.data(), kPrefix.size()) + line_.data();
    char* const text = at;
    at = filled ? record_.format(at) : record_.formatUnfilled(at);
    records_.emplace_back(text, at);
    at += kSuffix.copy(at, kSuffix.size());
    bench::require(::write(log_, line_.data(), static_cast<std::size_t>(at - line_.data())) == at - line_.data(),
                   "the bare log cannot be written");
    if (records_.size() < bench::kMostRecords) return;
    state.PauseTiming();
    records_.clear();
    state.ResumeTiming();
  }

 private:
  static constexpr std::string_view kPrefix =
      "2026-11-21T10:00:00.000Z USER 2 Generated  Connection start Record  \n \t ";
  static constexpr std::string_view kSuffix = " \n\t\n";

  static std::vector<std::string> textsOf(const Values& values) {
    std::vector<std::string> texts;
    for (const auto& [key, value] : values) texts.push_back(value);
    return texts;
  }

  ssize_t readTable() {
    const int file = ::open(tablePath_.c_str(), O_RDONLY | O_CLOEXEC);
    bench::require(file >= 0, "the field-name table cannot be opened");
    const ssize_t size = ::read(file, buffer_.data(), buffer_.size());
    bench::require(size > 0, "the field-name table cannot be read");
    ::close(file);
    return size;
  }

  std::string tablePath_;
  int log_;
  bench::BareRecord record_;
  std::string lastTable_;
  std::array<char, std::size_t{16} * 1024> buffer_{};
  std::array<char, std::size_t{16} * 1024> line_{};
  std::vector<std::string> records_;
};

}  // namespace

int main(int argc, char** argv) {
  const tools::TemporaryFolder folder;
  std::filesystem::copy_file(std::string(SQM_FIELD_NAMES_DIR) + "/" + kTable, folder / kTable);
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = folder.path();
  options.resourceDirectory = folder.path();
  sqm::platform::StandardHost host(options);
  const Values values = bench::clientValues();
  sqm::SQMSessionParams params;
  bench::fill(params, values);
  const auto bare = std::make_unique<BareEvent>(folder, values, recordOf(host, params));

  bench::compare(
      "one event, with its 35 values", {.aim = 1.5},
      [&](benchmark::State& state) {
        RecordingManager manager(host);
        for (auto _ : state) {
          sqm::SQMSessionParams own;
          bench::fill(own, values);
          manager.start(own, state);
        }
      },
      [&](benchmark::State& state) {
        for (auto _ : state) {
          bare->fill();
          bare->start(true, state);
        }
      });
  bench::compare(
      "one event, the call alone", {.aim = 1.4},
      [&](benchmark::State& state) {
        RecordingManager manager(host);
        for (auto _ : state) manager.start(params, state);
      },
      [&](benchmark::State& state) {
        for (auto _ : state) bare->start(false, state);
      });
  return bench::run(argc, argv);
}
