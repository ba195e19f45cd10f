/* What became of the records, and what the user allows. */
#ifndef SQM_C_DELIVERY_H
#define SQM_C_DELIVERY_H

#include "host.h"

#ifdef __cplusplus
extern "C" {
#endif

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

/* Writes the first `count` counts of a list (SQM_RECORD_..., SQM_LIST_QUEUE, SQM_LIST_REFUSED) to `counts`, all taken
 * at one time. Any thread. */
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
