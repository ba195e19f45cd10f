/* The file-based path: each session is a .sqm file, and the files of a folder are posted as one body. */
#ifndef SQM_C_SESSIONFILES_H
#define SQM_C_SESSIONFILES_H

#include "host.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sqm_collector sqm_collector;
typedef struct sqm_uploader sqm_uploader;

/* --- One session ---------------------------------------------------------------------------------------------- */

/* A collector with an empty row. Owned by the caller; one thread at a time. An absent text is SQM_INVALID_ARGUMENT: the
 * positions before it are changed, those after it are not; docs/sqm-files.md names the exceptions. */
SQM_API sqm_collector* sqm_collector_create(sqm_host* host);
SQM_API void sqm_collector_destroy(sqm_collector* collector);

SQM_API sqm_status sqm_collector_on_creation(sqm_collector* collector, const char* creation, const char* language,
                                             const char* user_name, const char* full_user_name, const char* profile_id,
                                             const char* install_id, const char* counter);
SQM_API sqm_status sqm_collector_on_pre_connect(sqm_collector* collector, const char* pre_connect, const char* ssid,
                                                const char* access_procedure, const char* pop_type,
                                                const char* wifi_security, const char* phone_version,
                                                const char* phonebook_date);
SQM_API sqm_status sqm_collector_post_connect(sqm_collector* collector, const char* post_connect,
                                              const char* device_type, const char* client_mac, const char* ap_mac,
                                              const char* signal_strength, const char* client_ip,
                                              const char* server_ip);
SQM_API sqm_status sqm_collector_on_disconnect(sqm_collector* collector, uint32_t disconnect,
                                               int64_t final_signal_strength, const char* phone_version,
                                               const char* phonebook_date, int64_t received_bytes, int64_t sent_bytes);
SQM_API sqm_status sqm_collector_set_bytes(sqm_collector* collector, const char* sent, const char* received);
SQM_API sqm_status sqm_collector_set_connect_start_time(sqm_collector* collector);
SQM_API sqm_status sqm_collector_set_login_start_time(sqm_collector* collector);
SQM_API sqm_status sqm_collector_set_login_end_time(sqm_collector* collector);
SQM_API sqm_status sqm_collector_set_error_code(sqm_collector* collector, int64_t code);
SQM_API sqm_status sqm_collector_set_auto_connect(sqm_collector* collector, int64_t auto_connect);

/* The row itself: positions 0 to 85. */
SQM_API sqm_status sqm_collector_set_text(sqm_collector* collector, int64_t position, const char* value);
SQM_API sqm_status sqm_collector_set_int(sqm_collector* collector, int64_t position, int64_t value);
SQM_API char* sqm_collector_value(const sqm_collector* collector, int64_t position);
SQM_API sqm_status sqm_collector_clear(sqm_collector* collector);

SQM_API sqm_status sqm_collector_set_record_type(sqm_collector* collector, uint64_t type);
SQM_API uint64_t sqm_collector_record_type(const sqm_collector* collector);
SQM_API char* sqm_collector_record_name(const sqm_collector* collector);
SQM_API char* sqm_collector_os_version(const sqm_collector* collector);

/* The folder of the files, which the application makes. */
SQM_API sqm_status sqm_collector_set_folder(sqm_collector* collector, const char* folder);
/* The path of a file that is written now: it is named after this second. */
SQM_API char* sqm_collector_file_name(const sqm_collector* collector);
/* Writes the row to a new file. SQM_FAILED when it cannot be opened; a later error is not detected. */
SQM_API sqm_status sqm_collector_save(const sqm_collector* collector);

/* --- Posting a folder ----------------------------------------------------------------------------------------- */

enum {
  SQM_UPLOADER_NEVER_STARTED = 0,
  SQM_UPLOADER_READING = 1,
  SQM_UPLOADER_SENDING = 2,
  SQM_UPLOADER_FAILED = 3,
  SQM_UPLOADER_COMPLETED = 4
};

/* NULL when the host has no transaction or no log. Owned by the caller. */
SQM_API sqm_uploader* sqm_uploader_create(sqm_host* host);
SQM_API void sqm_uploader_destroy(sqm_uploader* uploader);
SQM_API sqm_status sqm_uploader_set_url(sqm_uploader* uploader, const char* url);
SQM_API char* sqm_uploader_url(const sqm_uploader* uploader);
SQM_API sqm_status sqm_uploader_set_folder(sqm_uploader* uploader, const char* folder);
SQM_API char* sqm_uploader_folder(const sqm_uploader* uploader);

/* Posts what the folder holds; the loop does the rest. A second call sends a second body beside the first. */
SQM_API sqm_status sqm_uploader_start(sqm_uploader* uploader);
SQM_API sqm_status sqm_uploader_abort(sqm_uploader* uploader);

/* SQM_UPLOADER_...; -1 for NULL. */
SQM_API int32_t sqm_uploader_status(const sqm_uploader* uploader);

/* As `sqm_host_observe`, for the notifications of this uploader: SQM_UPLOAD_COMPLETE and SQM_UPLOAD_ERROR. */
SQM_API sqm_observer* sqm_uploader_observe(sqm_uploader* uploader, const char* name, sqm_notification_callback callback,
                                           void* context);

#ifdef __cplusplus
}
#endif

#endif
