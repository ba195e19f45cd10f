/* Calls of every header of the library, from C: compiled without sanitizers, also where the library has them.
 * Usage: every_group HOME RESOURCES, where HOME is an empty folder, and RESOURCES has SQMFieldNames.plist. */

#include <sqm.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int faults = 0;

#define CHECK(condition)                                                   \
  do {                                                                     \
    if (!(condition)) {                                                    \
      printf("line %d: %s: %s\n", __LINE__, #condition, sqm_last_error()); \
      ++faults;                                                            \
    }                                                                      \
  } while (0)

/* What the application saw, by callback. */
static struct { int sent, aborted, logged, asked, changed, deliveries, drops, notified, tasks, started, saved; } seen;

/* --- Services and observers --- */

static void send_request(void* context, sqm_http_request* request, const char* url, const char* body, size_t size) {
  static const sqm_http_header headers[] = {{"X-Server", "yes"}};
  sqm_http_response response = {0};
  (void)context;
  CHECK(url != NULL && strncmp(url, "http://server/", 14) == 0 && (body != NULL || size == 0));
  ++seen.sent;
  response.size = sizeof response;
  response.outcome = SQM_HTTP_COMPLETED;
  response.status = 200;
  response.body = "thanks";
  response.body_size = 6;
  response.headers = headers;
  response.header_count = 1;
  CHECK(sqm_http_request_end(request, &response) == SQM_OK);
}

static void abort_request(void* context, sqm_http_request* request) {
  (void)context;
  (void)request;
  ++seen.aborted;
}

static void write_log(void* context, const char* file, const char* category, int32_t level, const char* text) {
  (void)context;
  (void)level;
  seen.logged += file != NULL && category != NULL && text != NULL;
}

static bool is_disabled(void* context, const char* name, const char* sub_type, const sqm_values* values) {
  char* value = sqm_values_get(values, "ssid");
  (void)context;
  (void)name;
  (void)sub_type;
  sqm_string_free(value);
  ++seen.asked;
  return false;
}

static void count_value(void* context, const char* key, const char* value) {
  *(int*)context += key != NULL && value != NULL;
}

static void apply(void* context, const char* name, const char* sub_type, sqm_values* values) {
  int count = 0;
  (void)context;
  (void)name;
  (void)sub_type;
  CHECK(sqm_values_for_each(values, count_value, &count) == SQM_OK);
  if (count > 0 && sqm_values_set(values, "ssid", "hidden") == SQM_OK) ++seen.changed;
}

static int64_t now(void* context) { return *(const int64_t*)context; }

static void on_delivery(void* context, const sqm_delivery* delivery) {
  (void)context;
  seen.deliveries += delivery->outcome == SQM_DELIVERY_DELIVERED;
}

static void on_drop(void* context, const sqm_drop* drop) {
  (void)context;
  seen.drops += (int)drop->count;
}

static void on_notification(void* context, const char* name) {
  (void)context;
  seen.notified += name != NULL;
}

static void on_task(void* context) {
  ++seen.tasks;
  if (context != NULL) CHECK(sqm_host_stop(context) == SQM_OK);
}

static bool task_has_run(void* context) {
  (void)context;
  return seen.tasks > 0;
}

static void start_upload(void* context) {
  (void)context;
  ++seen.started;
}

static bool upload_is_idle(void* context) {
  (void)context;
  return true;
}

static void save_upload(void* context) {
  (void)context;
  ++seen.saved;
}

static size_t upload_waiting(void* context) {
  (void)context;
  return 3;
}

static void visit_request(void* context, const sqm_queue_request* request) {
  *(int*)context += request->url != NULL && request->data != NULL;
}

/* A text of the library, which is freed. */
static bool is_text(char* text) {
  const bool is_present = text != NULL;
  sqm_string_free(text);
  return is_present;
}

/* --- The groups --- */

static sqm_host* make_host(const char* home, const char* resources, int64_t* time) {
  const sqm_http_service http = {sizeof http, NULL, send_request, abort_request};
  const sqm_filter_service filter = {sizeof filter, NULL, is_disabled, apply};
  const sqm_log_service log = {sizeof log, NULL, write_log};
  const sqm_clock_service clock = {sizeof clock, time, now};
  sqm_host* host;
  sqm_options* options = sqm_options_create_recommended();
  CHECK(sqm_options_set_text(options, SQM_TEXT_HOME_DIRECTORY, home) == SQM_OK);
  CHECK(sqm_options_set_text(options, SQM_TEXT_RESOURCE_DIRECTORY, resources) == SQM_OK);
  CHECK(sqm_options_set_number(options, SQM_OPTION_COUNTING, SQM_COUNTING_IN_MEMORY) == SQM_OK);
  CHECK(sqm_options_set_number(options, SQM_OPTION_CONSENT, SQM_CONSENT_GRANTED) == SQM_OK);
  CHECK(sqm_options_set_number(options, SQM_OPTION_LOCK_WITHIN_MS, 0) == SQM_OK);
  CHECK(sqm_options_set_number(options, -1, 0) == SQM_INVALID_ARGUMENT);
  CHECK(sqm_options_set_limit(options, SQM_RECORD_DEVICE, 1, -1, -1) == SQM_OK);
  CHECK(sqm_options_set_http(options, &http) == SQM_OK);
  CHECK(sqm_options_set_filter(options, &filter) == SQM_OK);
  CHECK(sqm_options_set_log(options, &log) == SQM_OK);
  CHECK(sqm_options_set_clock(options, &clock) == SQM_OK);
  CHECK(sqm_options_on_delivery(options, on_delivery, NULL) == SQM_OK);
  CHECK(sqm_options_on_drop(options, on_drop, NULL) == SQM_OK);
  host = sqm_host_create(options);
  sqm_options_destroy(options);
  CHECK(host != NULL);
  CHECK(sqm_host_make_folders(host) == SQM_OK);
  CHECK(sqm_host_install(host) == SQM_OK);
  return host;
}

static void use_host_and_tables(sqm_host* host) {
  size_t ran = 0;
  bool is_done = false;
  CHECK(sqm_host_folder_lock(host) == SQM_LOCK_OWNED);
  CHECK(is_text(sqm_host_application_folder(host)));
  CHECK(sqm_host_set_client_time_stamp(host, "\"stamp\"") == SQM_OK);
  CHECK(is_text(sqm_host_client_time_stamp(host)));
  CHECK(sqm_host_set_filter_rules(host, NULL, 0) == SQM_OK);
  CHECK(sqm_host_post(host, on_task, NULL) == SQM_OK);
  CHECK(sqm_host_run_until(host, task_has_run, NULL, 60000, &is_done) == SQM_OK && is_done);
  CHECK(sqm_host_post_after(host, 0, on_task, host) == SQM_OK);
  CHECK(sqm_host_run(host) == SQM_OK && seen.tasks == 2);
  CHECK(sqm_host_wake_fd(host) >= 0);
  CHECK(sqm_host_run_pending(host, &ran) == SQM_OK);
  CHECK(is_text(sqm_record_type_name(SQM_RECORD_DEVICE)) && !is_text(sqm_record_type_file(99)));
  CHECK(is_text(sqm_launch_type(1)) && is_text(sqm_connection_result(0)) && is_text(sqm_alert_message_type(0)));
  CHECK(is_text(sqm_host_environment_xml(host)) && is_text(sqm_product_xml()));
}

static sqm_manager* use_manager(sqm_host* host) {
  bool is_idle = false;
  int type;
  sqm_manager* manager = sqm_manager_create(host);
  sqm_params* params = sqm_params_create();
  sqm_observer* observer = sqm_host_observe(host, SQM_UPLOAD_SUCCESS, on_notification, NULL);
  for (type = 0; type < SQM_RECORD_TYPES; ++type) {
    CHECK(sqm_manager_set_url(manager, type, "http://server/records") == SQM_OK);
  }
  CHECK(sqm_manager_set_device_type(manager, 1) == SQM_OK && sqm_manager_device_type(manager) == 1);
  CHECK(sqm_params_set_text(params, 6, "2026-11-21T09:30:00Z") == SQM_OK);
  CHECK(sqm_params_set_text(params, 26, "Net") == SQM_OK);
  CHECK(sqm_params_set_int(params, 23, -61) == SQM_OK);
  CHECK(sqm_params_set_int(params, 92, 0) == SQM_INVALID_ARGUMENT);
  CHECK(is_text(sqm_params_value(params, 23)));
  CHECK(sqm_manager_create_start_record(manager, params, NULL) == SQM_OK);
  CHECK(sqm_manager_create_stop_record(manager, params, NULL) == SQM_OK);
  CHECK(sqm_manager_create_device_record(manager, params, NULL) == SQM_OK);
  CHECK(sqm_manager_create_device_record(manager, params, NULL) == SQM_OK);
  CHECK(sqm_manager_create_client_record(manager, params, NULL) == SQM_OK);
  CHECK(sqm_manager_create_user_acceptance_record(manager, params, NULL) == SQM_OK);
  CHECK(sqm_manager_create_application_start_record(manager, params, NULL) == SQM_OK);
  CHECK(sqm_manager_create_application_stop_record(manager, params, NULL) == SQM_OK);
  CHECK(sqm_manager_save(manager) == SQM_OK);
  CHECK(sqm_manager_upload(manager) == SQM_OK);
  CHECK(sqm_host_run_until_idle(host, 60000, &is_idle) == SQM_OK && is_idle);
  CHECK(sqm_manager_upload_state(manager) >= 0 && seen.notified > 0);
  sqm_observer_destroy(observer);
  sqm_params_destroy(params);
  return manager;
}

static void use_records(sqm_host* host, sqm_manager* manager) {
  int64_t status = -1;
  sqm_record* device = sqm_record_create(host, SQM_KIND_DEVICE);
  sqm_record* session = sqm_manager_application_record(manager);
  CHECK(sqm_record_set_xml_safe(device, 6, "a < b") == SQM_OK);
  CHECK(sqm_record_set(device, -1, "text") == SQM_OUT_OF_RANGE);
  CHECK(sqm_record_set_value(device, "key", "value") == SQM_OK && is_text(sqm_record_value(device, "key")));
  CHECK(is_text(sqm_record_format(device, &status)) && status == sqm_record_validate(device));
  CHECK(is_text(sqm_record_name(device)));
  CHECK(sqm_record_clear(device) == SQM_OK);
  CHECK(session != NULL && sqm_manager_set_application_record(manager, session) == SQM_OK);
  sqm_record_destroy(session);
  sqm_record_destroy(device);
}

static void use_session_files(sqm_host* host, const char* folder) {
  bool is_idle = false;
  sqm_collector* collector = sqm_collector_create(host);
  sqm_uploader* uploader = sqm_uploader_create(host);
  sqm_observer* observer = sqm_uploader_observe(uploader, SQM_UPLOAD_COMPLETE, on_notification, NULL);
  const int notified = seen.notified;
  CHECK(sqm_collector_on_creation(collector, "a", "b", "c", "d", "e", "f", "g") == SQM_OK);
  CHECK(sqm_collector_set_text(collector, 40, "Net") == SQM_OK && is_text(sqm_collector_value(collector, 40)));
  CHECK(sqm_collector_set_text(collector, 40, NULL) == SQM_INVALID_ARGUMENT);
  CHECK(sqm_collector_set_folder(collector, folder) == SQM_OK && is_text(sqm_collector_file_name(collector)));
  CHECK(sqm_collector_save(collector) == SQM_OK);
  CHECK(sqm_uploader_set_url(uploader, "http://server/sqm") == SQM_OK && is_text(sqm_uploader_url(uploader)));
  CHECK(sqm_uploader_set_folder(uploader, folder) == SQM_OK && is_text(sqm_uploader_folder(uploader)));
  CHECK(sqm_uploader_start(uploader) == SQM_OK && sqm_uploader_status(uploader) == SQM_UPLOADER_SENDING);
  CHECK(sqm_host_run_until_idle(host, 60000, &is_idle) == SQM_OK && is_idle);
  CHECK(sqm_uploader_status(uploader) == SQM_UPLOADER_COMPLETED && seen.notified > notified);
  CHECK(sqm_uploader_start(uploader) == SQM_OK && sqm_uploader_abort(uploader) == SQM_OK);
  sqm_observer_destroy(observer);
  sqm_uploader_destroy(uploader);
  sqm_collector_destroy(collector);
}

static void use_queue(sqm_host* host) {
  bool is_idle = false;
  int visited = 0;
  size_t count = 0;
  CHECK(sqm_queue_set_log("Queue.log") == SQM_OK);
  CHECK(sqm_queue_add("one", "http://server/queue") == SQM_OK);
  CHECK(sqm_queue_add("two", "http://server/queue") == SQM_OK);
  CHECK(sqm_queue_requests(visit_request, &visited, &count) == SQM_OK && visited == 2 && count == 2);
  CHECK(sqm_queue_upload() == SQM_OK && sqm_queue_upload_in_progress() && is_text(sqm_queue_current_url()));
  CHECK(sqm_host_run_until_idle(host, 60000, &is_idle) == SQM_OK && is_idle && sqm_queue_is_idle());
  CHECK(sqm_queue_set_requests(NULL, 0) == SQM_OK && sqm_queue_set_current(NULL) == SQM_OK);
}

static void use_diagnostics(sqm_host* host) {
  static const char* const keys[] = {"a", "b"};
  static const char* const values[] = {"1", "2"};
  sqm_diagnostics* own = sqm_diagnostics_create(host);
  sqm_diagnostics* shared = sqm_diagnostics_shared();
  CHECK(sqm_diagnostics_set(own, SQM_DIAGNOSTICS_SSID, "Net") == SQM_OK);
  CHECK(is_text(sqm_diagnostics_get(own, SQM_DIAGNOSTICS_SSID)));
  CHECK(sqm_diagnostics_add_text(own, SQM_DIAGNOSTICS_DISCOVERY, "found") == SQM_OK);
  CHECK(sqm_diagnostics_add_object(own, SQM_DIAGNOSTICS_DISCOVERY, keys, values, 2) == SQM_OK);
  CHECK(sqm_diagnostics_add_json(own, SQM_DIAGNOSTICS_LOGIN_POLL, "[1]") == SQM_OK);
  CHECK(is_text(sqm_diagnostics_array_json(own, SQM_DIAGNOSTICS_DISCOVERY)));
  CHECK(is_text(sqm_diagnostics_report(own)) && sqm_diagnostics_validate(own) == SQM_OK);
  CHECK(sqm_diagnostics_reset_probe(own) == SQM_OK && sqm_diagnostics_reset(own) == SQM_OK);
  CHECK(shared != NULL && sqm_diagnostics_clear_array(shared, SQM_DIAGNOSTICS_DISCOVERY, true) == SQM_OK);
  sqm_diagnostics_destroy(shared);
  sqm_diagnostics_destroy(own);
}

static void use_targets(sqm_host* host, sqm_manager* manager) {
  const sqm_target_table table = {sizeof table, NULL, start_upload, upload_is_idle, save_upload, upload_waiting};
  sqm_target* targets[3];
  uint64_t counts[SQM_COUNTS];
  size_t waiting[3] = {9, 9, 9};
  bool is_cut_off = true;
  size_t at;
  targets[0] = sqm_target_of_manager(manager);
  targets[1] = sqm_target_of_queue();
  targets[2] = sqm_target_create(&table);
  CHECK(sqm_schedule_add_target(host, targets[2]) == SQM_OK && sqm_schedule_start(host) == SQM_OK);
  CHECK(sqm_schedule_upload_now(host) == SQM_OK && sqm_schedule_network_changed(host) == SQM_OK);
  CHECK(sqm_host_statistics(host, SQM_RECORD_DEVICE, counts, SQM_COUNTS) == SQM_OK);
  CHECK(counts[SQM_COUNT_ACCEPTED] == 2 && counts[SQM_COUNT_DROPPED + SQM_DROP_RECORDS] == 1 && seen.drops == 1);
  CHECK(is_text(sqm_drop_reason_name(SQM_DROP_RECORDS)));
  CHECK(sqm_host_shut_down(host, 60000, targets, 2, &is_cut_off, waiting, 3) == SQM_OK);
  CHECK(!is_cut_off && waiting[0] == 3 && waiting[1] == 0 && waiting[2] == 0);
  CHECK(sqm_schedule_stop(host) == SQM_OK && !sqm_schedule_is_uploading(host));
  for (at = 0; at < 3; ++at) sqm_target_destroy(targets[at]);
  CHECK(sqm_consent_add_session_folder(host, "/nonexistent") == SQM_OK);
  CHECK(sqm_consent_set(host, SQM_CONSENT_REVOKED) == SQM_OK && sqm_consent_get(host) == SQM_CONSENT_REVOKED);
}

int main(int argc, char** argv) {
  int64_t time = INT64_C(1795255207000000);
  sqm_host* host;
  sqm_manager* manager;
  if (argc != 3) return 2;
  host = make_host(argv[1], argv[2], &time);
  use_host_and_tables(host);
  manager = use_manager(host);
  use_records(host, manager);
  use_session_files(host, argv[1]);
  use_queue(host);
  use_diagnostics(host);
  use_targets(host, manager);
  CHECK(seen.sent > 5 && seen.logged > 0 && seen.asked > 0 && seen.changed > 0);
  CHECK(seen.deliveries > 5 && seen.started > 0 && seen.saved > 0 && seen.aborted == 0);
  sqm_manager_destroy(manager);
  sqm_host_destroy(host);
  printf("faults: %d\n", faults);
  return faults == 0 ? 0 : 1;
}
