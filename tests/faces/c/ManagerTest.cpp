#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/faces/c/Face.h"

namespace face {
namespace {

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(CParams, KeepValuesByKey) {
  const Params params(sqm_params_create());
  EXPECT_EQ(sqm_params_set_text(params.get(), 26, "Caf\xc3\xa9"), SQM_OK);
  EXPECT_EQ(sqm_params_set_int(params.get(), 23, -61), SQM_OK);
  EXPECT_EQ(take(sqm_params_value(params.get(), 26)), "Caf\xc3\xa9");
  EXPECT_EQ(take(sqm_params_value(params.get(), 23)), "-61");
  EXPECT_EQ(take(sqm_params_value(params.get(), 24)), "");
  EXPECT_EQ(sqm_params_set_text(params.get(), 26, nullptr), SQM_OK);
  EXPECT_EQ(take(sqm_params_value(params.get(), 26)), "");
  for (const std::int64_t key : {std::int64_t{0}, std::int64_t{92}, std::int64_t{-1}}) {
    EXPECT_EQ(sqm_params_set_text(params.get(), key, "x"), SQM_INVALID_ARGUMENT);
    EXPECT_STREQ(sqm_last_error(), "the key is outside 1 to 91");
    EXPECT_EQ(sqm_params_set_int(params.get(), key, 1), SQM_INVALID_ARGUMENT);
  }
  EXPECT_EQ(sqm_params_clear(params.get()), SQM_OK);
  EXPECT_STREQ(sqm_last_error(), "") << "it is of the last call";
  EXPECT_EQ(take(sqm_params_value(params.get(), 23)), "");
}

TEST_F(CFace, RecordsAreSavedAndLoadedByTheNextManager) {
  makeHost();
  {
    const Manager manager = makeManager();
    recordConnection(manager.get(), "A & B");
    EXPECT_EQ(sqm_manager_save(manager.get()), SQM_OK);
  }
  EXPECT_TRUE(holds(contentOf(folder() + "/SQMConnection.plist"), "A &amp;amp; B"));
  const Manager manager = makeManager();
  EXPECT_EQ(sqm_manager_upload(manager.get()), SQM_OK);
  ASSERT_EQ(http.posts.size(), 1U);
  EXPECT_EQ(http.posts[0].url, "http://server/connection");
  EXPECT_TRUE(holds(http.posts[0].body, "<ssid>A &amp; B</ssid>"));
  http.complete(200);
  runPending();
}

TEST_F(CFace, ResultsAreThoseThatClientsRelyOn) {
  makeHost();
  const Manager manager = makeManager();
  const Params params = event("Net");
  using Call = sqm_status (*)(sqm_manager*, const sqm_params*, bool*);
  const auto resultOf = [&](Call call, const sqm_params* of) {
    bool result = call == &sqm_manager_create_start_record;
    EXPECT_EQ(call(manager.get(), of, &result), SQM_OK) << sqm_last_error();
    return result;
  };
  EXPECT_FALSE(resultOf(sqm_manager_create_start_record, params.get()));
  EXPECT_FALSE(resultOf(sqm_manager_create_stop_record, params.get()));
  EXPECT_FALSE(resultOf(sqm_manager_create_start_record, nullptr));
  EXPECT_TRUE(resultOf(sqm_manager_create_device_record, params.get()));
  EXPECT_TRUE(resultOf(sqm_manager_create_client_record, params.get()));
  EXPECT_TRUE(resultOf(sqm_manager_create_user_acceptance_record, params.get()));
  EXPECT_EQ(sqm_manager_application_record(manager.get()), nullptr);
  EXPECT_TRUE(resultOf(sqm_manager_create_application_start_record, params.get()));
  EXPECT_TRUE(resultOf(sqm_manager_create_application_stop_record, params.get()));
}

TEST_F(CFace, ErrorsOfTheCallerAreStatuses) {
  makeHost();
  const Manager manager = makeManager();
  EXPECT_EQ(sqm_manager_create_device_record(manager.get(), nullptr, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_STRNE(sqm_last_error(), "");
  EXPECT_EQ(sqm_manager_set_url(manager.get(), 5, "http://server/"), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_manager_set_url(manager.get(), -1, nullptr), SQM_INVALID_ARGUMENT);

  const TemporaryFolder shortTable;
  putContent(shortTable.path() + "/SQMFieldNames.plist",
             "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>a</string></array></plist>");
  sqm_options_set_text(options.get(), SQM_TEXT_RESOURCE_DIRECTORY, shortTable.path().c_str());
  makeHost();
  const Manager second = makeManager();
  EXPECT_EQ(sqm_manager_create_start_record(second.get(), event("Net").get(), nullptr), SQM_OUT_OF_RANGE);
  EXPECT_STRNE(sqm_last_error(), "");
}

TEST_F(CFace, AMissingFolderIsReportedByTheCallback) {
  const sqm_http_service service = http.service();
  sqm_options_set_http(options.get(), &service);
  std::vector<std::string> problems;
  sqm_options_on_file_problem(
      options.get(),
      [](void* context, const sqm_file_problem* problem) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(problem->path);
      },
      &problems);
  host.reset(sqm_host_create(options.get()));
  {
    const Manager manager = makeManager();
    recordConnection(manager.get(), "Net");
    EXPECT_EQ(sqm_manager_save(manager.get()), SQM_OK) << "the log and the callback report it";
  }
  EXPECT_FALSE(problems.empty());
}

TEST_F(CFace, FoldersThatCannotBeMadeAreAFailure) {
  putContent(home / "Library", "no folder");
  host.reset(sqm_host_create(options.get()));
  EXPECT_EQ(sqm_host_make_folders(host.get()), SQM_FAILED);
  EXPECT_STREQ(sqm_last_error(), "a folder cannot be made; see SQMFiles.log");
  EXPECT_EQ(sqm_host_set_client_time_stamp(host.get(), "\"x\""), SQM_FAILED);
  EXPECT_EQ(take(sqm_host_client_time_stamp(host.get())), "\"x\"") << "it holds until the process ends";
}

TEST_F(CFace, AnUploadPostsListByList) {
  makeHost();
  const Manager manager = makeManager();
  EXPECT_EQ(sqm_manager_device_type(manager.get()), 1);
  recordConnection(manager.get(), "Net");
  sqm_manager_create_client_record(manager.get(), event("Net").get(), nullptr);
  EXPECT_EQ(sqm_manager_upload_state(manager.get()), -1);
  sqm_manager_upload(manager.get());
  EXPECT_EQ(sqm_manager_upload_state(manager.get()), SQM_RECORD_CLIENT);
  EXPECT_EQ(sqm_host_requests_under_way(host.get()), 1U);
  http.complete(200);
  runPending();
  EXPECT_EQ(sqm_manager_upload_state(manager.get()), SQM_RECORD_CONNECTION);
  http.end(SQM_HTTP_TIMED_OUT, "no answer");
  runPending();
  EXPECT_EQ(sqm_host_requests_under_way(host.get()), 0U);
  EXPECT_EQ(http.posts.size(), 2U);
}

TEST_F(CFace, TimeStampAndRulesChangeTheRecords) {
  makeHost();
  EXPECT_EQ(sqm_host_set_client_time_stamp(host.get(), "\"2026\""), SQM_OK);
  EXPECT_EQ(take(sqm_host_client_time_stamp(host.get())), "\"2026\"");
  EXPECT_TRUE(holds(take(sqm_host_application_folder(host.get())), home.path()));
  const sqm_filter_rule rules[] = {{"useracceptance", nullptr, "6", "complete"},
                                   {"application", "vpn", nullptr, nullptr}};
  EXPECT_EQ(sqm_host_set_filter_rules(host.get(), rules, 2), SQM_OK);
  const Manager manager = makeManager();
  const Params params = event("Net");
  sqm_params_set_text(params.get(), 88, "roaming");
  bool isStored = true;
  sqm_manager_create_application_start_record(manager.get(), params.get(), nullptr);
  sqm_manager_create_application_stop_record(manager.get(), params.get(), &isStored);
  EXPECT_FALSE(isStored);
  sqm_manager_create_user_acceptance_record(manager.get(), params.get(), nullptr);
  sqm_manager_save(manager.get());
  EXPECT_TRUE(holds(contentOf(folder() + "/SQMUserAcceptance.plist"), "roaming"));

  const sqm_filter_rule noValue = {"connection", nullptr, "6", nullptr};
  EXPECT_EQ(sqm_host_set_filter_rules(host.get(), &noValue, 1), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_host_set_filter_rules(host.get(), nullptr, 1), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_host_set_filter_rules(host.get(), nullptr, 0), SQM_OK);
}

TEST_F(CFace, ARecordIsFormattedByItself) {
  makeHost();
  const Record record(sqm_record_create(host.get(), SQM_KIND_WIFI_CONNECTION));
  std::int64_t status = -1;
  EXPECT_EQ(take(sqm_record_format(record.get(), &status)), "");
  EXPECT_EQ(status, SQM_FORMAT_FIELD_MISSING);
  EXPECT_EQ(sqm_record_validate(record.get()), SQM_FORMAT_FIELD_MISSING);
  EXPECT_EQ(sqm_record_set(record.get(), 6, "now"), SQM_OK);
  EXPECT_EQ(sqm_record_set_xml_safe(record.get(), 26, "<Net>"), SQM_OK);
  EXPECT_EQ(take(sqm_record_value(record.get(), "ssid")), "&lt;Net&gt;");
  EXPECT_EQ(sqm_record_set_value(record.get(), "ssid", "Other"), SQM_OK);
  EXPECT_TRUE(holds(take(sqm_record_format(record.get(), nullptr)), "<ssid>Other</ssid>"));
  EXPECT_EQ(sqm_record_validate(record.get()), SQM_FORMAT_OK);
  EXPECT_EQ(sqm_record_set_value(record.get(), "ssid", nullptr), SQM_OK);
  EXPECT_EQ(take(sqm_record_value(record.get(), "ssid")), "(absent)");
  EXPECT_EQ(take(sqm_record_name(record.get())), "connection");
  take(sqm_record_sub_type(record.get()));
  EXPECT_EQ(sqm_record_set(record.get(), -1, "x"), SQM_OUT_OF_RANGE);
  EXPECT_EQ(sqm_record_set(record.get(), 6, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_record_value(record.get(), nullptr), nullptr);
  EXPECT_EQ(sqm_record_clear(record.get()), SQM_OK);
  EXPECT_EQ(sqm_record_validate(record.get()), SQM_FORMAT_FIELD_MISSING);
  EXPECT_EQ(sqm_record_create(host.get(), 7), nullptr);
  EXPECT_STREQ(sqm_last_error(), "there is no such kind");
  const Record client(sqm_record_create(host.get(), SQM_KIND_CLIENT));
  EXPECT_EQ(sqm_record_set(client.get(), 8, "x"), SQM_INVALID_ARGUMENT);
}

TEST_F(CFace, TheApplicationRecordIsThatOfTheLastSession) {
  makeHost();
  const Manager manager = makeManager();
  const Params params = event("Net");
  sqm_params_set_text(params.get(), 76, "Head office");
  sqm_manager_create_application_start_record(manager.get(), params.get(), nullptr);
  const Record record(sqm_manager_application_record(manager.get()));
  ASSERT_NE(record, nullptr);
  EXPECT_TRUE(holds(take(sqm_record_format(record.get(), nullptr)), "Head office"));
  EXPECT_EQ(sqm_manager_set_application_record(manager.get(), nullptr), SQM_OK);
  EXPECT_EQ(sqm_manager_application_record(manager.get()), nullptr);
  EXPECT_STREQ(sqm_last_error(), "") << "there is none, and that is no error";
  EXPECT_EQ(sqm_manager_set_application_record(manager.get(), record.get()), SQM_OK);
  const Record device(sqm_record_create(host.get(), SQM_KIND_DEVICE));
  EXPECT_EQ(sqm_manager_set_application_record(manager.get(), device.get()), SQM_INVALID_ARGUMENT);
}

TEST_F(CFace, CodesAndEnvironmentAreThoseOfTheLibrary) {
  EXPECT_EQ(take(sqm_record_type_name(SQM_RECORD_USER_ACCEPTANCE)), "user-acceptance");
  EXPECT_EQ(take(sqm_record_type_file(SQM_RECORD_CLIENT)), "SQMClient.plist");
  EXPECT_EQ(take(sqm_record_type_element(SQM_RECORD_APPLICATION)), "sqmList");
  EXPECT_EQ(sqm_record_type_name(SQM_RECORD_TYPES), nullptr);
  EXPECT_EQ(take(sqm_media_type_name(3)), "Ethernet");
  for (char* (*text)(int32_t) : {sqm_launch_type, sqm_connection_status, sqm_connection_result,
                                 sqm_vpn_disconnect_reason, sqm_alert_message_type}) {
    EXPECT_NE(take(text(1)), "");
  }
  makeHost();
  EXPECT_FALSE(take(sqm_host_os_name(host.get())).empty());
  EXPECT_FALSE(take(sqm_host_os_version(host.get())).empty());
  EXPECT_NE(take(sqm_host_locale_name(host.get())), "(absent)");
  EXPECT_TRUE(holds(take(sqm_host_environment_xml(host.get())), "<"));
  EXPECT_NE(take(sqm_product_xml()), "(absent)");
}

}  // namespace
}  // namespace face
