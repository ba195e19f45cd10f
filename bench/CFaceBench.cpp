// One connection start as a client in C reports it, through libsqm.so, compared with the same in C++.

#include <cstdint>
#include <filesystem>
#include <sqm.h>
#include <string>

#include "sqm/manager/SQMManager.h"
#include "sqm/manager/SQMSessionParams.h"
#include "sqm/platform/StandardHost.h"

#include "bench/ClientEvent.h"
#include "bench/Comparison.h"
#include "tools/support/TemporaryFolder.h"

namespace {

using bench::Values;

/// A manager in C that is replaced as `bench::RecordingManager` is.
class RecordingManagerInC {
 public:
  explicit RecordingManagerInC(const tools::TemporaryFolder& folder) {
    sqm_options* const options = sqm_options_create();
    sqm_options_set_text(options, SQM_TEXT_HOME_DIRECTORY, folder.path().c_str());
    sqm_options_set_text(options, SQM_TEXT_RESOURCE_DIRECTORY, SQM_FIELD_NAMES_DIR);
    host_ = sqm_host_create(options);
    sqm_options_destroy(options);
    bench::require(host_ != nullptr, sqm_last_error());
    renew();
  }
  RecordingManagerInC(const RecordingManagerInC&) = delete;
  RecordingManagerInC& operator=(const RecordingManagerInC&) = delete;
  ~RecordingManagerInC() {
    sqm_manager_destroy(manager_);
    sqm_host_destroy(host_);
  }

  void start(const sqm_params* params, benchmark::State& state) {
    bench::require(sqm_manager_create_start_record(manager_, params, nullptr) == SQM_OK, "the event was not recorded");
    if (++records_ < bench::kMostRecords) return;
    state.PauseTiming();
    renew();
    state.ResumeTiming();
  }

 private:
  void renew() {
    sqm_manager_destroy(manager_);
    manager_ = sqm_manager_create(host_);
    sqm_manager_set_device_type(manager_, bench::kWiFi);
    records_ = 0;
  }

  sqm_host* host_ = nullptr;
  sqm_manager* manager_ = nullptr;
  std::size_t records_ = 0;
};

void fill(sqm_params* params, const Values& values) {
  for (const auto& [key, value] : values) sqm_params_set_text(params, key, value.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const tools::TemporaryFolder homeInC;
  const tools::TemporaryFolder home;
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home.path();
  options.resourceDirectory = SQM_FIELD_NAMES_DIR;
  sqm::platform::StandardHost host(options);
  const Values values = bench::clientValues();

  bench::compare(
      "one event, from C", {.aim = 1.05},
      [&](benchmark::State& state) {
        RecordingManagerInC manager(homeInC);
        for (auto _ : state) {
          sqm_params* const params = sqm_params_create();
          fill(params, values);
          manager.start(params, state);
          sqm_params_destroy(params);
        }
      },
      [&](benchmark::State& state) {
        bench::RecordingManager manager(host);
        for (auto _ : state) {
          sqm::SQMSessionParams params;
          bench::fill(params, values);
          manager.start(params, state);
        }
      });
  return bench::run(argc, argv);
}
