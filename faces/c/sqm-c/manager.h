/* The manager: events become records, which are kept and uploaded. */
#ifndef SQM_C_MANAGER_H
#define SQM_C_MANAGER_H

#include "host.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sqm_params sqm_params;
typedef struct sqm_manager sqm_manager;

/* --- The values of one event ---------------------------------------------------------------------------------- */

/* Empty parameters, owned by the caller; one thread at a time. */
SQM_API sqm_params* sqm_params_create(void);
SQM_API void sqm_params_destroy(sqm_params* params);

/* Stores a value, which becomes field `key` of the event's record; NULL removes it. SQM_INVALID_ARGUMENT, and no
 * change, for a key outside 1 to 91. */
SQM_API sqm_status sqm_params_set_text(sqm_params* params, int64_t key, const char* value);
SQM_API sqm_status sqm_params_set_int(sqm_params* params, int64_t key, int64_t value);

/* The value; "" where nothing is stored. NULL without memory. */
SQM_API char* sqm_params_value(const sqm_params* params, int64_t key);

/* Removes every value. */
SQM_API sqm_status sqm_params_clear(sqm_params* params);

/* --- Recording ------------------------------------------------------------------------------------------------ */

/* A manager with the records that earlier runs saved. Owned by the caller. Destroying it saves the records. */
SQM_API sqm_manager* sqm_manager_create(sqm_host* host);
SQM_API void sqm_manager_destroy(sqm_manager* manager);

/* The address of a kind of record (SQM_RECORD_...); NULL: its uploads fail. It is checked when it is used. */
SQM_API sqm_status sqm_manager_set_url(sqm_manager* manager, int32_t record_type, const char* url);

/* The medium of the following connections: 1 Wi-Fi, 2 mobile broadband, 3 Ethernet. With any other number connections
 * are not recorded. */
SQM_API sqm_status sqm_manager_set_device_type(sqm_manager* manager, int64_t device_type);
SQM_API int64_t sqm_manager_device_type(const sqm_manager* manager);

/* "WiFi", "mobile" or "Ethernet"; "" for any other number. Any thread. */
SQM_API char* sqm_media_type_name(int32_t device_type);

/* Record an event. `*result` (which may be NULL) is what clients of the library rely on, and not whether a record was
 * stored: false for the two of a connection; true for the others, but for the end of a VPN session, where it is true
 * only when a record was stored. SQM_OUT_OF_RANGE when the field-name table is too short, SQM_INVALID_ARGUMENT for a
 * device or user-acceptance event without parameters; without parameters (NULL), a connection event does nothing. An
 * error leaves the stored records unchanged. */
SQM_API sqm_status sqm_manager_create_start_record(sqm_manager* manager, const sqm_params* params, bool* result);
SQM_API sqm_status sqm_manager_create_stop_record(sqm_manager* manager, const sqm_params* params, bool* result);
SQM_API sqm_status sqm_manager_create_device_record(sqm_manager* manager, const sqm_params* params, bool* result);
SQM_API sqm_status sqm_manager_create_client_record(sqm_manager* manager, const sqm_params* params, bool* result);
SQM_API sqm_status sqm_manager_create_user_acceptance_record(sqm_manager* manager, const sqm_params* params,
                                                             bool* result);
SQM_API sqm_status sqm_manager_create_application_start_record(sqm_manager* manager, const sqm_params* params,
                                                               bool* result);
SQM_API sqm_status sqm_manager_create_application_stop_record(sqm_manager* manager, const sqm_params* params,
                                                              bool* result);

/* --- Saving and uploading ------------------------------------------------------------------------------------- */

/* Writes the records to disk. A file that cannot be written is reported by the log and the callback for file problems.
 */
SQM_API sqm_status sqm_manager_save(sqm_manager* manager);

/* Starts to post the records, list by list; the loop then does the rest. Outcomes: `sqm_host_observe`, and the
 * callbacks of the options. */
SQM_API sqm_status sqm_manager_upload(sqm_manager* manager);

/* The kind of record (SQM_RECORD_...) whose document is in flight, or was last; -1 before the first upload. */
SQM_API int32_t sqm_manager_upload_state(const sqm_manager* manager);

#ifdef __cplusplus
}
#endif

#endif
