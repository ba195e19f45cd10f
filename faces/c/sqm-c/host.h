/* The host: all services that the library needs, and the loop on which it works. */
#ifndef SQM_C_HOST_H
#define SQM_C_HOST_H

#include "options.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sqm_host sqm_host;
typedef struct sqm_observer sqm_observer;

/* A host with the standard services, and the default options when `options` is NULL. The thread that creates it is the
 * host's thread. Owned by the caller. */
SQM_API sqm_host* sqm_host_create(const sqm_options* options);

/* Ends the caller's ownership. The services are destroyed when the last object that was made with the host is
 * destroyed, too. */
SQM_API void sqm_host_destroy(sqm_host* host);

/* Makes the folders of the application and of the records, where they are missing. */
SQM_API sqm_status sqm_host_make_folders(sqm_host* host);

/* Whether this host has the lock on the SQM folder: SQM_LOCK_...; -1 without SQM_OPTION_LOCK_WITHIN_MS. A host that
 * does not have it works in memory. */
enum { SQM_LOCK_OWNED = 0, SQM_LOCK_ELSEWHERE = 1, SQM_LOCK_FAILED = 2 };
SQM_API int32_t sqm_host_folder_lock(const sqm_host* host);

/* Sets the host of the process-wide queue and the shared diagnostics. They keep the host that was installed when they
 * were used, with its lock, until the process ends, also when it is destroyed. */
SQM_API sqm_status sqm_host_install(sqm_host* host);

/* The folder of the application below the home directory; NULL without memory. */
SQM_API char* sqm_host_application_folder(const sqm_host* host);

/* The time stamp of the client that new records carry, with its quotes; NULL removes it. SQM_FAILED when it cannot be
 * kept: it then holds until the process ends. */
SQM_API sqm_status sqm_host_set_client_time_stamp(sqm_host* host, const char* time_stamp);
SQM_API char* sqm_host_client_time_stamp(const sqm_host* host);

/* Rules of the standard filter. In a rule, `name` NULL matches records without a name; `sub_type` NULL matches any, and
 * "" those without one. A record that matches a disabling rule is not recorded; the values of all matching replacing
 * rules replace the record's own, in the order of the rules. */
typedef struct sqm_filter_rule {
  const char* name;
  const char* sub_type;
  const char* key; /* NULL: the rule disables. Else the value `key` becomes `value`. */
  const char* value;
} sqm_filter_rule;
/* Replaces all rules. `rules` may be NULL when `count` is 0. */
SQM_API sqm_status sqm_host_set_filter_rules(sqm_host* host, const sqm_filter_rule* rules, size_t count);

/* --- The loop ------------------------------------------------------------------------------------------------- */

typedef void (*sqm_task)(void* context);

/* Runs tasks on the host's thread until no request is under way and no task waits that could start one, or until the
 * time is over. `*is_idle` (which may be NULL) tells which. Negative times are 0. */
SQM_API sqm_status sqm_host_run_until_idle(sqm_host* host, int64_t timeout_ms, bool* is_idle);

/* Runs tasks until `done` returns true, or until the time is over; `*is_done` (which may be NULL) is its last result.
 */
SQM_API sqm_status sqm_host_run_until(sqm_host* host, bool (*done)(void* context), void* context, int64_t timeout_ms,
                                      bool* is_done);

/* Runs tasks until `sqm_host_stop` is called, which any thread may do. */
SQM_API sqm_status sqm_host_run(sqm_host* host);
SQM_API sqm_status sqm_host_stop(sqm_host* host);

/* For an application with an event loop of its own: a descriptor that is readable while `sqm_host_run_pending` has
 * something to do, timers included. Wait for it with poll, epoll (level-triggered), GLib, Qt, libuv or Asio, and then
 * call `sqm_host_run_pending`; do not read it. The host owns it. -1 when there is none. */
SQM_API int sqm_host_wake_fd(sqm_host* host);

/* Runs the tasks that are due now, without waiting. `*ran` (which may be NULL) is their number. */
SQM_API sqm_status sqm_host_run_pending(sqm_host* host, size_t* ran);

/* Runs `task` on the host's thread, now or `delay_ms` later. It is not run when the host is destroyed before. Any
 * thread. */
SQM_API sqm_status sqm_host_post(sqm_host* host, sqm_task task, void* context);
SQM_API sqm_status sqm_host_post_after(sqm_host* host, int64_t delay_ms, sqm_task task, void* context);

/* Requests that were started and whose outcome was not reported yet. */
SQM_API size_t sqm_host_requests_under_way(const sqm_host* host);

/* --- Outcomes of uploads -------------------------------------------------------------------------------------- */

#define SQM_UPLOAD_SUCCESS "TrelkSQMUploadSuccess"   /* of a manager: a document was posted */
#define SQM_UPLOAD_FAILURE "TrelkSQMUploadFailure"   /* of a manager: a post failed or timed out */
#define SQM_UPLOAD_COMPLETE "TrelkSQMUploadComplete" /* of an uploader: the folder was sent */
#define SQM_UPLOAD_ERROR "TrelkSQMUploadError"       /* of an uploader */

/* Calls `callback` on the host's thread for each notification `name`, until the observer is destroyed, which the
 * callback may do. Owned by the caller. */
typedef void (*sqm_notification_callback)(void* context, const char* name);
SQM_API sqm_observer* sqm_host_observe(sqm_host* host, const char* name, sqm_notification_callback callback,
                                       void* context);
SQM_API void sqm_observer_destroy(sqm_observer* observer);

#ifdef __cplusplus
}
#endif

#endif
