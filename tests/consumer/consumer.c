/* A minimal client in C, built with what is installed alone: records one event, uploads it, and reads the outcome. */

#include <sqm.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int posts = 0;
static int delivered = 0;

static void expect(bool holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "consumer: %s: %s\n", what, sqm_last_error());
  exit(1);
}

/* The application's own HTTP: answers each request with 200. */
static void send_request(void* context, sqm_http_request* request, const char* url, const char* body, size_t size) {
  sqm_http_response response = {0};
  (void)context;
  expect(strcmp(url, "https://collector.example/connections") == 0, "the address is another one");
  expect(size == strlen(body) && strstr(body, "session-1") != NULL, "the body lacks the record");
  ++posts;
  response.size = sizeof response;
  response.outcome = SQM_HTTP_COMPLETED;
  response.status = 200;
  expect(sqm_http_request_end(request, &response) == SQM_OK, "the request was not ended");
}

static void on_delivery(void* context, const sqm_delivery* delivery) {
  (void)context;
  if (delivery->outcome == SQM_DELIVERY_DELIVERED) ++delivered;
}

int main(int argc, char** argv) {
  sqm_http_service http = {0};
  sqm_options* options = sqm_options_create();
  sqm_host* host;
  sqm_manager* manager;
  sqm_params* params = sqm_params_create();
  expect(argc == 2, "the argument is the home directory");
  http.size = sizeof http;
  http.send = send_request;
  expect(sqm_options_set_text(options, SQM_TEXT_HOME_DIRECTORY, argv[1]) == SQM_OK, "no home");
  expect(sqm_options_set_http(options, &http) == SQM_OK, "no HTTP");
  expect(sqm_options_on_delivery(options, on_delivery, NULL) == SQM_OK, "no callback");
  host = sqm_host_create(options);
  expect(host != NULL, "no host");
  expect(sqm_host_make_folders(host) == SQM_OK, "no folders");
  manager = sqm_manager_create(host);
  expect(manager != NULL, "no manager");
  sqm_manager_set_url(manager, SQM_RECORD_CONNECTION, "https://collector.example/connections");
  sqm_manager_set_device_type(manager, 1);

  expect(sqm_params_set_text(params, 6, "session-1") == SQM_OK, "a parameter was not taken");
  expect(sqm_manager_create_start_record(manager, params, NULL) == SQM_OK, "nothing was recorded");
  expect(sqm_manager_upload(manager) == SQM_OK, "the upload was not started");
  expect(sqm_host_run_until_idle(host, 10000, NULL) == SQM_OK, "the loop failed");
  expect(posts == 1 && delivered == 1, "the connection record was not posted");

  sqm_params_destroy(params);
  sqm_manager_destroy(manager);
  sqm_host_destroy(host);
  sqm_options_destroy(options);
  puts("consumer: the connection record was posted from C");
  return 0;
}
