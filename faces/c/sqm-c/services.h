/* Services of the application that take the place of the standard ones: tables of callbacks, which are copied. A table
 * begins with its own size, so that another version of the library knows which members it has. Inside a callback what
 * has called it is in use: no handle but an observer's may be destroyed there. `sqm_host_post` posts a task that may.
 */
#ifndef SQM_C_SERVICES_H
#define SQM_C_SERVICES_H

#include "options.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A request that the application's HTTP service carries out. The service ends each that it was given exactly once,
 * aborted ones included, by `sqm_http_request_end`. */
typedef struct sqm_http_request sqm_http_request;

typedef struct sqm_http_service {
  size_t size; /* sizeof(sqm_http_service) */
  void* context;
  /* Posts `body` to `url` and returns at once. Called on the host's thread. All but `request` is valid until it
   * returns. */
  void (*send)(void* context, sqm_http_request* request, const char* url, const char* body, size_t body_size);
  /* Nobody waits for this request any more; it is still to be ended. May be NULL. */
  void (*abort)(void* context, sqm_http_request* request);
} sqm_http_service;

typedef struct sqm_http_response {
  size_t size;     /* sizeof(sqm_http_response) */
  int32_t outcome; /* SQM_HTTP_COMPLETED, SQM_HTTP_FAILED or SQM_HTTP_TIMED_OUT */
  int32_t status;
  const char* body; /* may be NULL when `body_size` is 0 */
  size_t body_size;
  int64_t retry_after_seconds; /* the pause that the server asks for; 0: none */
  const char* reason;          /* why it failed or timed out; may be NULL */
  const sqm_http_header* headers;
  size_t header_count;
} sqm_http_response;

SQM_API sqm_status sqm_options_set_http(sqm_options* options, const sqm_http_service* service);

/* Ends a request, which is then freed. Its outcome is reported by a later task of the host's loop, so that it may be
 * called inside `send`, too. The host's thread; also after the host was destroyed. */
SQM_API sqm_status sqm_http_request_end(sqm_http_request* request, const sqm_http_response* response);

/* The values of a record, by field name, for a filter. Valid until its callback returns. */
typedef struct sqm_values sqm_values;

/* The value; NULL when there is none. */
SQM_API char* sqm_values_get(const sqm_values* values, const char* key);
/* Stores a value; NULL removes it. Only inside `apply`. */
SQM_API sqm_status sqm_values_set(sqm_values* values, const char* key, const char* value);
/* Calls `visit` for each value; it must not change them. */
SQM_API sqm_status sqm_values_for_each(const sqm_values* values,
                                       void (*visit)(void* context, const char* key, const char* value), void* context);

/* Decides which records are recorded, and with which values. Called on the host's thread inside the creating calls,
 * which it must not call. `name` and `sub_type` may be NULL. */
typedef struct sqm_filter_service {
  size_t size; /* sizeof(sqm_filter_service) */
  void* context;
  /* True: the record is not recorded. NULL: every record is. */
  bool (*is_disabled)(void* context, const char* name, const char* sub_type, const sqm_values* values);
  /* May change the values that are recorded. NULL: none change. */
  void (*apply)(void* context, const char* name, const char* sub_type, sqm_values* values);
} sqm_filter_service;

SQM_API sqm_status sqm_options_set_filter(sqm_options* options, const sqm_filter_service* service);

typedef struct sqm_log_service {
  size_t size; /* sizeof(sqm_log_service) */
  void* context;
  /* Writes a line of the log `file`, such as "SQMManager.log"; `category` is "USER" or "DEBUG". Any thread. */
  void (*write)(void* context, const char* file, const char* category, int32_t level, const char* text);
} sqm_log_service;

SQM_API sqm_status sqm_options_set_log(sqm_options* options, const sqm_log_service* service);

typedef struct sqm_clock_service {
  size_t size; /* sizeof(sqm_clock_service) */
  void* context;
  /* Microseconds since 1970-01-01 00:00:00 GMT. Any thread. */
  int64_t (*now)(void* context);
} sqm_clock_service;

SQM_API sqm_status sqm_options_set_clock(sqm_options* options, const sqm_clock_service* service);

#ifdef __cplusplus
}
#endif

#endif
