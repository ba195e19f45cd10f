/* The process's queue of upload requests, which survives restarts. It uses the installed host (`sqm_host_install`);
 * without one, every call is SQM_UNAVAILABLE. docs/upload-queue.md describes it. */
#ifndef SQM_C_QUEUE_H
#define SQM_C_QUEUE_H

#include "host.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sqm_queue_request {
  const char* url;  /* NULL: absent */
  const char* data; /* NULL: absent */
} sqm_queue_request;

/* Appends a request and writes the archive; sends nothing. SQM_FAILED when nothing was queued. Any thread. */
SQM_API sqm_status sqm_queue_add(const char* data, const char* url);

/* Sends the oldest request, and after an answer 200 the next. Call it only while the queue is idle: it does not check,
 * and a request that is sent twice can remove another. The host's thread. */
SQM_API sqm_status sqm_queue_upload(void);

/* No request is under way and none will be sent by itself. The host's thread. */
SQM_API bool sqm_queue_is_idle(void);

/* Whether a request was sent and has not been answered with 200, also after a failure. Any thread. */
SQM_API bool sqm_queue_upload_in_progress(void);
SQM_API sqm_status sqm_queue_set_upload_in_progress(bool in_progress);

/* Calls `visit` for a copy of each request, the oldest first. `*count` (which may be NULL) is their number. `visit` may
 * be NULL. SQM_FAILED when the archive exists and cannot be read. Any thread. */
SQM_API sqm_status sqm_queue_requests(void (*visit)(void* context, const sqm_queue_request* request), void* context,
                                      size_t* count);
/* Replaces the queue; the archive is written with the next change. Any thread. */
SQM_API sqm_status sqm_queue_set_requests(const sqm_queue_request* requests, size_t count);

/* The address and the body of the request that was sent last; NULL when there is none. Any thread. */
SQM_API char* sqm_queue_current_url(void);
SQM_API char* sqm_queue_current_data(void);
/* Replaces it; NULL: none. */
SQM_API sqm_status sqm_queue_set_current(const sqm_queue_request* request);

/* Opens a log of the host with this name for the queue's lines; NULL: none are written. The host's
 * thread. */
SQM_API sqm_status sqm_queue_set_log(const char* file);

#ifdef __cplusplus
}
#endif

#endif
