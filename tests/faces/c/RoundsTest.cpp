#include <filesystem>
#include <malloc.h>
#include <string>

#include <gtest/gtest.h>

#include "tests/faces/c/Face.h"

namespace face {
namespace {

/// Bytes of the heap that are in use, with those of large blocks, which are mapped.
std::size_t inUse() {
  const auto heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

std::size_t openFiles() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

/// Makes one of each, uses it, and destroys all. The queue has a host of its own, to the end of the process.
void round(const TemporaryFolder& home, Http& http, sqm_host* hostOfQueue) {
  Options options(sqm_options_create_recommended());
  sqm_options_set_text(options.get(), SQM_TEXT_HOME_DIRECTORY, home.path().c_str());
  sqm_options_set_text(options.get(), SQM_TEXT_RESOURCE_DIRECTORY, (paths::sources() + "/examples").c_str());
  sqm_options_set_number(options.get(), SQM_OPTION_ATOMIC_SAVES, 0);  // a disk is slow to sync
  const sqm_http_service service = http.service();
  sqm_options_set_http(options.get(), &service);
  const Host host(sqm_host_create(options.get()));
  sqm_host_make_folders(host.get());
  ASSERT_GE(sqm_host_wake_fd(host.get()), 0);
  const Manager manager(sqm_manager_create(host.get()));
  sqm_manager_set_device_type(manager.get(), 1);
  sqm_manager_set_url(manager.get(), SQM_RECORD_CONNECTION, "http://server/");
  const Params params(sqm_params_create());
  sqm_params_set_text(params.get(), 6, "now");
  ASSERT_EQ(sqm_manager_create_start_record(manager.get(), params.get(), nullptr), SQM_OK);
  sqm_manager_upload(manager.get());
  http.complete(200);
  http.posts.clear();
  sqm_host_run_until_idle(host.get(), 1000, nullptr);
  const Target target(sqm_target_of_manager(manager.get()));
  ASSERT_EQ(sqm_schedule_add_target(host.get(), target.get()), SQM_OK) << sqm_last_error();
  const Target queue(sqm_target_of_queue());
  const sqm_queue_request request = {"http://server/queue", "data"};
  ASSERT_EQ(sqm_queue_set_requests(&request, 1), SQM_OK) << sqm_last_error();
  sqm_queue_upload();
  http.complete(200);
  http.posts.clear();
  sqm_host_run_until_idle(hostOfQueue, 1000, nullptr);
  ASSERT_TRUE(sqm_queue_is_idle());
  const Record record(sqm_record_create(host.get(), SQM_KIND_DEVICE));
  const Collector collector(sqm_collector_create(host.get()));
  const Uploader uploader(sqm_uploader_create(host.get()));
  const Diagnostics diagnostics(sqm_diagnostics_create(host.get()));
  sqm_diagnostics_add_text(diagnostics.get(), SQM_DIAGNOSTICS_DISCOVERY, "entry");
  sqm_string_free(sqm_diagnostics_array_json(diagnostics.get(), SQM_DIAGNOSTICS_DISCOVERY));
  const Observer observer(sqm_host_observe(
      host.get(), SQM_UPLOAD_SUCCESS, [](void*, const char*) {}, nullptr));
}

TEST(CRounds, AThousandOfThemLeaveNoMemoryAndNoDescriptor) {
  const TemporaryFolder home;
  Http http;
  const TemporaryFolder homeOfQueue;
  const Options options = optionsFor(homeOfQueue);
  const sqm_http_service service = http.service();
  sqm_options_set_http(options.get(), &service);
  const Host host(sqm_host_create(options.get()));
  sqm_host_make_folders(host.get());
  ASSERT_EQ(sqm_host_install(host.get()), SQM_OK);
  for (int warm = 0; warm < 20; ++warm) round(home, http, host.get());
  const std::size_t before = inUse();
  const std::size_t files = openFiles();
  for (int number = 0; number < 1000; ++number) round(home, http, host.get());
  EXPECT_EQ(openFiles(), files);
  // Less than eight bytes a round: caches of the libraries may still settle, and nothing of a round is so small.
  EXPECT_LE(inUse(), before + 8000);
}

}  // namespace
}  // namespace face
