// One connection start record: the client's call, with the field-name table and the log on disk, compared with reading
// and parsing that table and formatting the record.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "sqm/manager/SQMManager.h"
#include "sqm/manager/SQMSessionParams.h"
#include "sqm/manager/internal/CreatingCalls.h"
#include "sqm/platform/StandardHost.h"

#include "bench/BareParse.h"
#include "bench/Comparison.h"
#include "tools/support/TemporaryFolder.h"

namespace {

constexpr std::int64_t kWiFi = 1;
constexpr const char* kTable = "SQMFieldNames.plist";

/// The manager keeps every record, so it is replaced after this many, outside of the measured time. It saves none:
/// there is no SQM folder.
constexpr std::size_t kMostRecords = 1000;

sqm::SQMSessionParams everyParameter() {
  sqm::SQMSessionParams params;
  for (std::int64_t key = 1; key <= 91; ++key) {
    params.setStringValue("value of " + std::to_string(key) + (key % 3 == 0 ? ", of some length" : ""), key);
  }
  return params;
}

std::unique_ptr<sqm::SQMManager> newManager(sqm::Host& host) {
  auto manager = std::make_unique<sqm::SQMManager>(host);
  manager->setDeviceType(kWiFi);
  return manager;
}

}  // namespace

int main(int argc, char** argv) {
  const tools::TemporaryFolder folder;
  std::filesystem::copy_file(std::string(SQM_FIELD_NAMES_DIR) + "/" + kTable, folder / kTable);
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = folder.path();
  options.resourceDirectory = folder.path();
  sqm::platform::StandardHost host(options);
  const sqm::SQMSessionParams params = everyParameter();

  const auto record = sqm::mediumOf(kWiFi)->makeRecord(host);
  for (const sqm::Fill& fill : sqm::mediumOf(kWiFi)->startFills) {
    record->SetAttribute(fill.field, params.valueForKey(fill.field));
  }

  bench::compare(
      "a connection start record, whole", {.aim = 1.5},
      [&](benchmark::State& state) {
        auto manager = newManager(host);
        std::size_t records = 0;
        for (auto _ : state) {
          manager->sqmCreateStartRecord(&params);
          if (++records < kMostRecords) continue;
          state.PauseTiming();
          manager = newManager(host);
          records = 0;
          state.ResumeTiming();
        }
      },
      [&](benchmark::State& state) {
        for (auto _ : state) {
          bench::require(bench::readAndParse(folder / kTable), "the field-name table cannot be parsed");
          std::optional<std::string> text = "";
          bench::require(record->FormatRecord(text) == 0, "the record does not validate");
          benchmark::DoNotOptimize(text);
        }
      });
  return bench::run(argc, argv);
}
