// The paths beside the manager: session files, the upload queue, the diagnostics report.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/faces/c/Face.h"
#include "tests/support/FreshProcess.h"

namespace face {
namespace {

TEST_F(CFace, ASessionIsSavedAndPosted) {
  makeHost();
  const std::string sessions = home / "sessions";
  std::filesystem::create_directories(sessions);
  const Collector collector(sqm_collector_create(host.get()));
  sqm_collector* const c = collector.get();
  EXPECT_EQ(sqm_collector_save(c), SQM_FAILED) << "there is no folder yet";
  EXPECT_EQ(sqm_collector_set_folder(c, sessions.c_str()), SQM_OK);
  EXPECT_EQ(sqm_collector_on_creation(c, "user", "en", "ada", "trelk/ada", "profile-7", "client-4711", "17"), SQM_OK);
  EXPECT_EQ(sqm_collector_on_pre_connect(c, "w", "Net", "wispr", nullptr, "WPA2", "12.4", "2026-11-01"), SQM_OK);
  EXPECT_EQ(sqm_collector_set_connect_start_time(c), SQM_OK);
  EXPECT_EQ(sqm_collector_set_login_start_time(c), SQM_OK);
  EXPECT_EQ(sqm_collector_set_login_end_time(c), SQM_OK);
  EXPECT_EQ(sqm_collector_post_connect(c, "portal", "WiFi", "02", "03", "-61", "192.0.2.17", "198.51.100.4"), SQM_OK);
  EXPECT_EQ(sqm_collector_set_error_code(c, 0), SQM_OK);
  EXPECT_EQ(sqm_collector_set_auto_connect(c, 1), SQM_OK);
  EXPECT_EQ(sqm_collector_on_disconnect(c, 1, -67, "12.4", "2026-11-01", 48, 12), SQM_OK);
  EXPECT_EQ(take(sqm_collector_value(c, 66)), "-67");
  EXPECT_EQ(take(sqm_collector_value(c, 70)), "12");
  EXPECT_EQ(sqm_collector_set_bytes(c, "7", nullptr), SQM_OK);
  EXPECT_EQ(take(sqm_collector_value(c, 70)), "7");
  EXPECT_EQ(sqm_collector_set_text(c, 11, "free"), SQM_OK);
  EXPECT_EQ(sqm_collector_set_int(c, 17, 9), SQM_OK);
  EXPECT_EQ(sqm_collector_set_text(c, 11, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(take(sqm_collector_value(c, 1000)), "(absent)");
  EXPECT_EQ(take(sqm_collector_value(c, 1)), take(sqm_collector_os_version(c)));
  EXPECT_EQ(sqm_collector_set_record_type(c, 2), SQM_OK);
  EXPECT_EQ(sqm_collector_record_type(c), 2U);
  EXPECT_NE(take(sqm_collector_record_name(c)), "");
  EXPECT_EQ(take(sqm_collector_file_name(c)).rfind(sessions, 0), 0U);
  EXPECT_EQ(sqm_collector_save(c), SQM_OK) << sqm_last_error();
  EXPECT_EQ(sqm_collector_clear(c), SQM_OK);
  EXPECT_EQ(take(sqm_collector_value(c, 11)), "");

  const Uploader uploader(sqm_uploader_create(host.get()));
  sqm_uploader* const u = uploader.get();
  EXPECT_EQ(take(sqm_uploader_url(u)), "(absent)");
  EXPECT_EQ(sqm_uploader_set_url(u, "http://server/sqm"), SQM_OK);
  EXPECT_EQ(take(sqm_uploader_url(u)), "http://server/sqm");
  EXPECT_EQ(sqm_uploader_set_folder(u, sessions.c_str()), SQM_OK);
  EXPECT_EQ(take(sqm_uploader_folder(u)), sessions);
  EXPECT_EQ(sqm_uploader_status(u), SQM_UPLOADER_NEVER_STARTED);
  EXPECT_EQ(sqm_uploader_status(nullptr), -1);
  std::vector<std::string> outcomes;
  const auto keep = [](void* context, const char* name) {
    static_cast<std::vector<std::string>*>(context)->emplace_back(name);
  };
  const Observer complete(sqm_uploader_observe(u, SQM_UPLOAD_COMPLETE, keep, &outcomes));
  const Observer error(sqm_uploader_observe(u, SQM_UPLOAD_ERROR, keep, &outcomes));
  EXPECT_EQ(sqm_uploader_start(u), SQM_OK);
  EXPECT_EQ(sqm_uploader_status(u), SQM_UPLOADER_SENDING);
  http.complete(500);
  runPending();
  EXPECT_EQ(sqm_uploader_status(u), SQM_UPLOADER_FAILED);
  EXPECT_FALSE(std::filesystem::is_empty(sessions));
  EXPECT_EQ(sqm_uploader_start(u), SQM_OK);
  EXPECT_NE(http.posts.back().body.find("\"free\""), std::string::npos);
  http.complete(200);
  runPending();
  EXPECT_EQ(sqm_uploader_status(u), SQM_UPLOADER_COMPLETED);
  EXPECT_EQ(outcomes, (std::vector<std::string>{SQM_UPLOAD_ERROR, SQM_UPLOAD_COMPLETE}));
  EXPECT_TRUE(std::filesystem::is_empty(sessions));
}

TEST_IN_FRESH_PROCESS(CQueue, NeedsAnInstalledHost) {
  EXPECT_EQ(sqm_queue_add("body", "http://server/queue"), SQM_UNAVAILABLE);
  EXPECT_STREQ(sqm_last_error(), "no host is installed");
  EXPECT_EQ(sqm_queue_upload(), SQM_UNAVAILABLE);
  EXPECT_TRUE(sqm_queue_is_idle());
  EXPECT_EQ(sqm_queue_current_url(), nullptr);
  EXPECT_EQ(sqm_diagnostics_shared(), nullptr);
  EXPECT_EQ(sqm_target_of_queue(), nullptr);
}

void sendAQueue() {
  const TemporaryFolder home;
  Http http;
  const sqm_http_service service = http.service();
  const Options options = optionsFor(home);
  sqm_options_set_http(options.get(), &service);
  Host host(sqm_host_create(options.get()));
  ASSERT_EQ(sqm_host_make_folders(host.get()), SQM_OK);
  ASSERT_EQ(sqm_host_install(host.get()), SQM_OK);
  EXPECT_EQ(sqm_queue_set_log("Queue.log"), SQM_OK) << sqm_last_error();
  EXPECT_EQ(sqm_queue_add("first", "http://server/1"), SQM_OK);
  EXPECT_EQ(sqm_queue_add("second", "http://server/2"), SQM_OK);
  EXPECT_EQ(sqm_queue_add(nullptr, "http://server/3"), SQM_FAILED);
  std::string seen;
  std::size_t count = 0;
  EXPECT_EQ(sqm_queue_requests(
                [](void* context, const sqm_queue_request* request) {
                  *static_cast<std::string*>(context) += std::string(request->url) + " " + request->data + "\n";
                },
                &seen, &count),
            SQM_OK);
  EXPECT_EQ(seen, "http://server/1 first\nhttp://server/2 second\n");
  EXPECT_EQ(count, 2U);
  EXPECT_TRUE(sqm_queue_is_idle());
  EXPECT_EQ(sqm_queue_current_data(), nullptr);
  EXPECT_EQ(sqm_queue_upload(), SQM_OK);
  EXPECT_FALSE(sqm_queue_is_idle());
  EXPECT_TRUE(sqm_queue_upload_in_progress());
  EXPECT_EQ(take(sqm_queue_current_url()), "http://server/1");
  EXPECT_EQ(take(sqm_queue_current_data()), "first");
  http.complete(200);
  for (std::size_t ran = 1; ran > 0;) sqm_host_run_pending(host.get(), &ran);
  ASSERT_EQ(http.posts.size(), 2U);
  http.end(SQM_HTTP_FAILED, "gone");
  for (std::size_t ran = 1; ran > 0;) sqm_host_run_pending(host.get(), &ran);
  EXPECT_EQ(sqm_queue_requests(nullptr, nullptr, &count), SQM_OK);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(sqm_queue_set_upload_in_progress(false), SQM_OK);
  EXPECT_FALSE(sqm_queue_upload_in_progress());

  EXPECT_NE(Target(sqm_target_of_queue()), nullptr) << sqm_last_error();

  const sqm_queue_request other = {nullptr, "alone"};
  EXPECT_EQ(sqm_queue_set_requests(&other, 1), SQM_OK);
  EXPECT_EQ(sqm_queue_set_requests(nullptr, 1), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_queue_set_current(&other), SQM_OK);
  EXPECT_EQ(sqm_queue_current_url(), nullptr);
  EXPECT_EQ(take(sqm_queue_current_data()), "alone");
  EXPECT_EQ(sqm_queue_set_current(nullptr), SQM_OK);
  EXPECT_EQ(sqm_queue_set_log(nullptr), SQM_OK);
  EXPECT_EQ(sqm_queue_set_log("a/b"), SQM_FAILED);
  host.reset();
  EXPECT_EQ(sqm_queue_add("third", "http://server/3"), SQM_OK) << "the queue keeps its host";
}

TEST_IN_FRESH_PROCESS(CQueue, SendsWithTheInstalledHostWhichItKeeps) { sendAQueue(); }

TEST_F(CFace, ADiagnosticsReportHasTextsAndArrays) {
  makeHost();
  const Diagnostics diagnostics(sqm_diagnostics_create(host.get()));
  sqm_diagnostics* const d = diagnostics.get();
  for (int property = SQM_DIAGNOSTICS_SSID; property <= SQM_DIAGNOSTICS_ERROR_DETAILS; ++property) {
    EXPECT_EQ(sqm_diagnostics_get(d, property), nullptr);
    EXPECT_EQ(sqm_diagnostics_set(d, property, std::to_string(property).c_str()), SQM_OK);
  }
  for (int property = SQM_DIAGNOSTICS_SSID; property <= SQM_DIAGNOSTICS_ERROR_DETAILS; ++property) {
    EXPECT_EQ(take(sqm_diagnostics_get(d, property)), std::to_string(property)) << "each is a value of its own";
  }
  EXPECT_EQ(sqm_diagnostics_set(d, 15, "x"), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(take(sqm_diagnostics_array_json(d, SQM_DIAGNOSTICS_DISCOVERY)), "");
  EXPECT_EQ(sqm_diagnostics_add_text(d, SQM_DIAGNOSTICS_DISCOVERY, "Portal \"found\""), SQM_OK);
  const char* const keys[] = {"Try", "Answer"};
  const char* const values[] = {"1", "pending"};
  EXPECT_EQ(sqm_diagnostics_add_object(d, SQM_DIAGNOSTICS_DISCOVERY, keys, values, 2), SQM_OK);
  EXPECT_EQ(sqm_diagnostics_add_json(d, SQM_DIAGNOSTICS_DISCOVERY, "17"), SQM_OK);
  EXPECT_EQ(take(sqm_diagnostics_array_json(d, SQM_DIAGNOSTICS_DISCOVERY)),
            R"(["Portal \"found\"",{"Try":"1","Answer":"pending"},17])");
  EXPECT_EQ(sqm_diagnostics_add_text(d, SQM_DIAGNOSTICS_LOGIN_POLL, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_diagnostics_add_json(d, SQM_DIAGNOSTICS_LOGIN_POLL, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_diagnostics_add_json(d, SQM_DIAGNOSTICS_LOGIN_POLL, ""), SQM_OK);
  EXPECT_EQ(sqm_diagnostics_array_json(d, SQM_DIAGNOSTICS_LOGIN_POLL), nullptr);
  EXPECT_EQ(sqm_diagnostics_add_object(d, 1, nullptr, nullptr, 1), SQM_INVALID_ARGUMENT);
  const char* const absent[] = {nullptr};
  EXPECT_EQ(sqm_diagnostics_add_object(d, 1, keys, absent, 1), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_diagnostics_add_text(d, 2, "x"), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_diagnostics_clear_array(d, SQM_DIAGNOSTICS_LOGIN_POLL, true), SQM_OK);
  EXPECT_EQ(sqm_diagnostics_add_text(d, SQM_DIAGNOSTICS_LOGIN_POLL, "made anew"), SQM_OK);
  EXPECT_EQ(sqm_diagnostics_clear_array(d, SQM_DIAGNOSTICS_LOGIN_POLL, false), SQM_OK);
  EXPECT_FALSE(take(sqm_diagnostics_report(d)).empty());
  EXPECT_EQ(sqm_diagnostics_reset_probe(d), SQM_OK);
  EXPECT_EQ(take(sqm_diagnostics_get(d, SQM_DIAGNOSTICS_PROBE_URL)), "");
  EXPECT_EQ(sqm_diagnostics_reset(d), SQM_OK);
  EXPECT_EQ(take(sqm_diagnostics_get(d, SQM_DIAGNOSTICS_SSID)), "");
  EXPECT_EQ(sqm_diagnostics_set(d, SQM_DIAGNOSTICS_NIC, nullptr), SQM_OK);
  EXPECT_EQ(sqm_diagnostics_validate(d), SQM_OK);
  EXPECT_EQ(take(sqm_diagnostics_get(d, SQM_DIAGNOSTICS_NIC)), "");
}

TEST_IN_FRESH_PROCESS(CDiagnostics, TheSharedRecordIsNeverDestroyed) {
  const TemporaryFolder home;
  const Options options = optionsFor(home);
  Host host(sqm_host_create(options.get()));
  sqm_host_install(host.get());
  sqm_diagnostics* const shared = sqm_diagnostics_shared();
  ASSERT_NE(shared, nullptr);
  sqm_diagnostics_set(shared, SQM_DIAGNOSTICS_SSID, "Net");
  sqm_diagnostics_destroy(shared);
  host.reset();
  EXPECT_EQ(sqm_diagnostics_shared(), shared);
  EXPECT_EQ(take(sqm_diagnostics_get(shared, SQM_DIAGNOSTICS_SSID)), "Net");
  EXPECT_FALSE(take(sqm_diagnostics_report(shared)).empty());
}

}  // namespace
}  // namespace face
