/* An event loop of the application's own, with poll: the library runs on it, without a thread for it.
 * Usage: 02_own_loop HOME SERVER, where HOME replaces the user's home directory, and SERVER is an address such as
 * http://127.0.0.1:8080. Each line of standard input is the name of a network to which a connection is attempted. */

#define _POSIX_C_SOURCE 200809L
#include <poll.h>
#include <sqm.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static int delivered = 0;
static int kept = 0;

/* Called with the outcome of each post. */
static void on_delivery(void* context, const sqm_delivery* delivery) {
  (void)context;
  if (delivery->outcome == SQM_DELIVERY_DELIVERED) {
    ++delivered;
  } else {
    ++kept;
    printf("  kept: %s\n", delivery->reason);
  }
}

static void record(sqm_manager* manager, const char* network) {
  sqm_params* attempt = sqm_params_create();
  sqm_params_set_text(attempt, 6, "2026-11-21T09:30:00Z");
  sqm_params_set_text(attempt, 26, network);
  if (sqm_manager_create_start_record(manager, attempt, NULL) == SQM_OK) printf("  recorded: %s\n", network);
  sqm_params_destroy(attempt);
}

/* Waits for lines of standard input and for the library. Ends when there are no more lines and all is uploaded. */
static int run(sqm_host* host, sqm_manager* manager) {
  char line[256];
  bool is_reading = true;
  struct pollfd waits[2];
  waits[0].fd = sqm_host_wake_fd(host);
  waits[0].events = POLLIN;
  waits[1].fd = STDIN_FILENO;
  waits[1].events = POLLIN;
  while (is_reading || sqm_host_requests_under_way(host) > 0) {
    if (poll(waits, is_reading ? 2 : 1, -1) < 0) return 1;
    if (waits[0].revents != 0) sqm_host_run_pending(host, NULL);
    if (is_reading && waits[1].revents != 0) {
      if (fgets(line, sizeof line, stdin) != NULL) {
        line[strcspn(line, "\n")] = '\0';
        record(manager, line);
      } else {
        is_reading = false;
        sqm_manager_upload(manager);
      }
    }
  }
  return 0;
}

int main(int argc, char** argv) {
  char url[256];
  int failed;
  sqm_options* options;
  sqm_host* host;
  sqm_manager* manager;
  if (argc != 3) {
    fprintf(stderr, "usage: %s HOME SERVER\n", argv[0]);
    return 2;
  }
  setvbuf(stdin, NULL, _IONBF, 0); /* so that poll sees what was not read */
  options = sqm_options_create_recommended();
  sqm_options_set_text(options, SQM_TEXT_HOME_DIRECTORY, argv[1]);
  sqm_options_on_delivery(options, on_delivery, NULL);
  host = sqm_host_create(options);
  sqm_options_destroy(options);
  if (sqm_host_make_folders(host) != SQM_OK) {
    fprintf(stderr, "%s\n", sqm_last_error());
    return 1;
  }
  manager = sqm_manager_create(host);
  snprintf(url, sizeof url, "%s/connection", argv[2]);
  sqm_manager_set_url(manager, SQM_RECORD_CONNECTION, url);
  sqm_manager_set_device_type(manager, 1); /* Wi-Fi */

  failed = run(host, manager);
  printf("  delivered: %d, kept: %d\n", delivered, kept);

  sqm_manager_destroy(manager);
  sqm_host_destroy(host);
  return failed || kept > 0 ? 1 : 0;
}
