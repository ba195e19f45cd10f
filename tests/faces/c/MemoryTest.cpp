#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/faces/c/Face.h"
#include "tests/support/AllocationProbe.h"

namespace face {
namespace {

/// Makes a call again and again, each time with memory for one allocation more, until it has enough. Whatever is
/// missing, the call reports that, or does without it; nothing escapes from it.
template <typename Call>
void expectReported(const char* name, Call call) {
  SCOPED_TRACE(name);
  std::size_t reports = 0;
  for (std::size_t successes = 0;; ++successes) {
    bool hasEnough = false;
    {
      AllocationProbe probe;
      probe.failAfter(successes);
      call();
      hasEnough = probe.count() < successes;
    }
    const std::string error = sqm_last_error();
    if (hasEnough) {
      EXPECT_EQ(error, "");
      break;
    }
    if (!error.empty()) {
      EXPECT_EQ(error, "out of memory");
      ++reports;
    }
  }
  EXPECT_GT(reports, 0U);
}

TEST_F(CFace, CallsWithoutMemoryReportIt) {
  makeHost();
  const Manager manager = makeManager();
  const Params params = event("A network with a name that is longer than a short string");
  const std::string text(100, 'x');
  sqm_params* const values = params.get();

  expectReported("options", [] { sqm_options_destroy(sqm_options_create()); });
  expectReported("an option", [&] { sqm_options_set_text(options.get(), SQM_TEXT_HTTP_USER_AGENT, text.c_str()); });
  expectReported("a host", [&] { sqm_host_destroy(sqm_host_create(options.get())); });
  expectReported("a manager", [&] { sqm_manager_destroy(sqm_manager_create(host.get())); });
  expectReported("an address", [&] { sqm_manager_set_url(manager.get(), SQM_RECORD_DEVICE, text.c_str()); });
  expectReported("params", [] { sqm_params_destroy(sqm_params_create()); });
  expectReported("a start", [&] { sqm_manager_create_start_record(manager.get(), values, nullptr); });
  expectReported("a device", [&] { sqm_manager_create_device_record(manager.get(), values, nullptr); });
  expectReported("a client", [&] { sqm_manager_create_client_record(manager.get(), values, nullptr); });
  expectReported("an upload", [&] { sqm_manager_upload(manager.get()); });
  expectReported("a record", [&] { sqm_record_destroy(sqm_record_create(host.get(), SQM_KIND_DEVICE)); });
  expectReported("a collector", [&] { sqm_collector_destroy(sqm_collector_create(host.get())); });
  expectReported("an uploader", [&] { sqm_uploader_destroy(sqm_uploader_create(host.get())); });
  expectReported("diagnostics", [&] { sqm_diagnostics_destroy(sqm_diagnostics_create(host.get())); });
  expectReported("a target", [&] { sqm_target_destroy(sqm_target_of_manager(manager.get())); });
  expectReported("an observer", [&] {
    sqm_observer_destroy(sqm_host_observe(
        host.get(), SQM_UPLOAD_SUCCESS, [](void*, const char*) {}, nullptr));
  });

  const Diagnostics diagnostics(sqm_diagnostics_create(host.get()));
  expectReported("an entry",
                 [&] { sqm_diagnostics_add_text(diagnostics.get(), SQM_DIAGNOSTICS_DISCOVERY, text.c_str()); });
  expectReported("a report", [&] { sqm_string_free(sqm_diagnostics_report(diagnostics.get())); });
  const Record record(sqm_record_create(host.get(), SQM_KIND_WIFI_CONNECTION));
  expectReported("a field", [&] { sqm_record_set_xml_safe(record.get(), 26, text.c_str()); });
}

}  // namespace
}  // namespace face
