#include <sqm.h>
#include <stdio.h>

int main(int argc, char** argv) {
  const char* server = argc > 1 ? argv[1] : "http://127.0.0.1:8080";
  /* HTTP, files, logs, locale: the services the library needs. With these options a crash loses no record. */
  sqm_options* options = sqm_options_create_recommended();
  sqm_host* host = sqm_host_create(options);
  if (sqm_host_make_folders(host) != SQM_OK) {
    fprintf(stderr, "%s\n", sqm_last_error());
    return 1;
  }

  sqm_manager* manager = sqm_manager_create(host); /* holds what earlier runs saved */
  char url[256];
  snprintf(url, sizeof url, "%s/connection", server);
  sqm_manager_set_url(manager, SQM_RECORD_CONNECTION, url);
  sqm_manager_set_device_type(manager, 1); /* Wi-Fi */

  sqm_params* attempt = sqm_params_create(); /* value N feeds the field that entry N of SQMFieldNames.plist names */
  sqm_params_set_text(attempt, 6, "2026-11-21T09:30:00Z");
  sqm_params_set_text(attempt, 26, "Caf\xc3\xa9 & Bar");
  sqm_params_set_int(attempt, 23, -61);
  sqm_manager_create_start_record(manager, attempt, NULL);
  sqm_manager_create_stop_record(manager, attempt, NULL);
  sqm_manager_save(manager);

  sqm_target* records = sqm_target_of_manager(manager);
  bool is_cut_off = true;
  sqm_host_shut_down(host, 10000, &records, 1, &is_cut_off, NULL, 0); /* sends and saves */

  sqm_target_destroy(records);
  sqm_params_destroy(attempt);
  sqm_manager_destroy(manager);
  sqm_host_destroy(host);
  sqm_options_destroy(options);
  return is_cut_off ? 1 : 0;
}
