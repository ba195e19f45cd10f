/* What is uploaded: by a schedule, and at the end of a host. */
#ifndef SQM_C_TARGETS_H
#define SQM_C_TARGETS_H

#include "manager.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Something to upload. Owned by the caller, who may destroy it as soon as a call that takes it has returned. */
typedef struct sqm_target sqm_target;

/* The records of a manager; nothing once the manager is destroyed. */
SQM_API sqm_target* sqm_target_of_manager(sqm_manager* manager);

/* The upload queue; NULL while no host is installed. */
SQM_API sqm_target* sqm_target_of_queue(void);

/* Something else. The callbacks are called on the host's thread, in tasks of its loop. They must not destroy the host
 * or add targets; what they use must outlive the host. */
typedef struct sqm_target_table {
  size_t size; /* sizeof(sqm_target_table) */
  void* context;
  void (*start)(void* context);
  /* True when the upload has ended. NULL: no request of the host is under way. */
  bool (*is_idle)(void* context);
  /* Writes to disk what waits. May be NULL. */
  void (*save)(void* context);
  /* How much waits. NULL: not known. */
  size_t (*waiting)(void* context);
} sqm_target_table;
SQM_API sqm_target* sqm_target_create(const sqm_target_table* table);

SQM_API void sqm_target_destroy(sqm_target* target);

/* --- The schedule, with SQM_OPTION_SCHEDULE; else SQM_UNAVAILABLE --------------------------------------------- */

/* Adds something that each upload posts. Before `sqm_schedule_start`. */
SQM_API sqm_status sqm_schedule_add_target(sqm_host* host, const sqm_target* target);

/* Begins. Call it once. */
SQM_API sqm_status sqm_schedule_start(sqm_host* host);

/* Starts an upload as soon as the smallest pause, and the one that a server has asked for, allow it. */
SQM_API sqm_status sqm_schedule_upload_now(sqm_host* host);

/* Call it when the machine is connected to a network. */
SQM_API sqm_status sqm_schedule_network_changed(sqm_host* host);

/* For the end of the process, which `sqm_host_shut_down` does whole: the last upload, and the end of the schedule. */
SQM_API sqm_status sqm_schedule_upload_last(sqm_host* host);
SQM_API sqm_status sqm_schedule_stop(sqm_host* host);

/* Whether an upload runs, and how many the schedule has started; false and 0 without a schedule. */
SQM_API bool sqm_schedule_is_uploading(const sqm_host* host);
SQM_API uint64_t sqm_schedule_uploads(const sqm_host* host);

/* --- The end -------------------------------------------------------------------------------------------------- */

/* Waits for the upload that runs, uploads once more what then waits, ends what the time cuts off, and saves. The
 * targets are those of the schedule and then those given here; `targets` may be NULL when `count` is 0. `*is_cut_off`
 * (which may be NULL) tells whether an upload was cut off or not started; `waiting` (which may be NULL) gets what the
 * first `waiting_count` targets still have. Afterwards the standard HTTP service sends nothing more. Not from a
 * callback of a target. */
SQM_API sqm_status sqm_host_shut_down(sqm_host* host, int64_t timeout_ms, sqm_target* const* targets, size_t count,
                                      bool* is_cut_off, size_t* waiting, size_t waiting_count);

#ifdef __cplusplus
}
#endif

#endif
