/* What a host may ask for beyond the default rules of an upload, while it runs: schedule, counts, consent. */
#ifndef SQM_C_DELIVERY_H
#define SQM_C_DELIVERY_H

#include "host.h"
#include "manager.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- The schedule, with SQM_OPTION_SCHEDULE; else SQM_UNAVAILABLE --------------------------------------------- */

/* Adds a manager whose records each upload posts, until the manager is destroyed. Before `sqm_schedule_start`. */
SQM_API sqm_status sqm_schedule_add_manager(sqm_host* host, sqm_manager* manager);

/* Adds another target: `start` begins its upload, and `is_idle` tells when it has ended; NULL: when no request is under
 * way. Neither may destroy the host. */
SQM_API sqm_status sqm_schedule_add_target(sqm_host* host, void (*start)(void* context), bool (*is_idle)(void* context),
                                           void* context);

/* Begins. Call it once. */
SQM_API sqm_status sqm_schedule_start(sqm_host* host);

/* Starts an upload as soon as the smallest pause, and the one that a server has asked for, allow it. */
SQM_API sqm_status sqm_schedule_upload_now(sqm_host* host);

/* Call it when the machine is connected to a network. */
SQM_API sqm_status sqm_schedule_network_changed(sqm_host* host);

/* Whether an upload runs, and how many the schedule has started; false and 0 without a schedule. */
SQM_API bool sqm_schedule_is_uploading(const sqm_host* host);
SQM_API uint64_t sqm_schedule_uploads(const sqm_host* host);

/* --- Counts, with SQM_OPTION_COUNTING or limits; else all zero ------------------------------------------------ */

enum {
  SQM_COUNT_ACCEPTED = 0, /* stored: delivered, refused, waiting or dropped */
  SQM_COUNT_DELIVERED = 1,
  SQM_COUNT_REFUSED = 2,
  SQM_COUNT_WAITING = 3,
  SQM_COUNT_DROPPED = 4, /* and the reason: SQM_COUNT_DROPPED + SQM_DROP_AGE */

  SQM_DROP_RECORDS = 0, /* the limit of the number */
  SQM_DROP_BYTES = 1,
  SQM_DROP_AGE = 2,
  SQM_DROP_CONSENT = 3, /* the user has revoked the consent */
  SQM_DROP_UNSENT = 4,  /* stored while the list was posted, and deleted with it */
  SQM_DROP_DELETED = 5, /* by the application */
  SQM_DROP_LOST = 6     /* not there any more when a process began */
};
#define SQM_COUNTS 11 /* how many there are */

/* Writes the first `count` counts of a list (SQM_RECORD_... or SQM_LIST_QUEUE) to `counts`, all taken at one time. Any
 * thread. */
SQM_API sqm_status sqm_host_statistics(const sqm_host* host, int32_t list, uint64_t* counts, size_t count);

/* The name of a reason, "records", "bytes", ...; NULL for a number that is none. */
SQM_API char* sqm_drop_reason_name(int32_t reason);

/* --- The user's consent, with SQM_OPTION_CONSENT; else SQM_UNAVAILABLE ---------------------------------------- */

/* The choice of the user, which applies at once. SQM_FAILED, and the reason, when it cannot be kept or something could
 * not be removed. */
SQM_API sqm_status sqm_consent_set(sqm_host* host, int32_t consent);

/* SQM_CONSENT_...; -1 without SQM_OPTION_CONSENT. */
SQM_API int32_t sqm_consent_get(const sqm_host* host);

/* One more folder of .sqm files that are removed when the consent is revoked. */
SQM_API sqm_status sqm_consent_add_session_folder(sqm_host* host, const char* folder);

#ifdef __cplusplus
}
#endif

#endif
