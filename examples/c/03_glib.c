/* The library on GLib's main loop, as in a GTK program: no thread is needed for it.
 * Usage: 03_glib HOME SERVER, where HOME replaces the user's home directory, and SERVER is an address such as
 * http://127.0.0.1:8080. Records a connection, uploads it, and ends when the outcome is known. */

#include <glib-unix.h>
#include <glib.h>
#include <sqm.h>
#include <stdio.h>

static GMainLoop* loop = NULL;
static int outcome = SQM_DELIVERY_RETRY;

static void on_delivery(void* context, const sqm_delivery* delivery) {
  (void)context;
  outcome = delivery->outcome;
  g_main_loop_quit(loop);
}

/* The host has something to do. */
static gboolean on_wake(gint descriptor, GIOCondition condition, gpointer host) {
  (void)descriptor;
  (void)condition;
  return sqm_host_run_pending(host, NULL) == SQM_OK ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

static gboolean on_start(gpointer manager) {
  sqm_params* attempt = sqm_params_create();
  sqm_params_set_text(attempt, 6, "2026-11-21T09:30:00Z");
  sqm_params_set_text(attempt, 26, "GLib");
  sqm_manager_create_start_record(manager, attempt, NULL);
  sqm_params_destroy(attempt);
  sqm_manager_upload(manager);
  return G_SOURCE_REMOVE;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: %s HOME SERVER\n", argv[0]);
    return 2;
  }
  sqm_options* options = sqm_options_create_recommended();
  sqm_options_set_text(options, SQM_TEXT_HOME_DIRECTORY, argv[1]);
  sqm_options_on_delivery(options, on_delivery, NULL);
  sqm_host* host = sqm_host_create(options);
  sqm_options_destroy(options);
  if (sqm_host_make_folders(host) != SQM_OK) {
    fprintf(stderr, "%s\n", sqm_last_error());
    return 1;
  }
  sqm_manager* manager = sqm_manager_create(host);
  char* url = g_strconcat(argv[2], "/connection", NULL);
  sqm_manager_set_url(manager, SQM_RECORD_CONNECTION, url);
  g_free(url);
  sqm_manager_set_device_type(manager, 1); /* Wi-Fi */

  loop = g_main_loop_new(NULL, FALSE);
  guint wake = g_unix_fd_add(sqm_host_wake_fd(host), G_IO_IN, on_wake, host);
  g_idle_add(on_start, manager);
  g_main_loop_run(loop);
  g_source_remove(wake);
  g_main_loop_unref(loop);

  puts(outcome == SQM_DELIVERY_DELIVERED ? "  delivered" : "  kept");
  sqm_manager_destroy(manager); /* saves */
  sqm_host_destroy(host);
  return outcome == SQM_DELIVERY_DELIVERED ? 0 : 1;
}
