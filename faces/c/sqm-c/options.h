/* The options of a host. docs/hosting.md and docs/delivery.md describe what each does. */
#ifndef SQM_C_OPTIONS_H
#define SQM_C_OPTIONS_H

#include "base.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sqm_options sqm_options;

/* Options that are numbers; the units are in the names. A switch is 0 or 1. Numbers below 0 are not allowed. */
enum {
  SQM_OPTION_ATOMIC_SAVES = 0,   /* a list is written to a new file that is synced and renamed */
  SQM_OPTION_RECORDING = 1,      /* SQM_RECORDING_... */
  SQM_OPTION_SYNC_WITHIN_MS = 2, /* with SQM_RECORDING_SURVIVES_POWER_LOSS; 0: at each call */
  SQM_OPTION_LOG_TEXT_BYTES = 3, /* of one text in a log; 0: texts are logged whole */
  SQM_OPTION_HTTP_CONNECT_LIMIT_MS = 4,
  SQM_OPTION_HTTP_STALL_LIMIT_S = 5,
  SQM_OPTION_HTTP_IDLE_LIMIT_S = 6,
  SQM_OPTION_HTTP_TOTAL_LIMIT_MS = 7,
  SQM_OPTION_HTTP_BODY_BYTES = 8, /* of a response body that are kept */
  SQM_OPTION_HTTP_CONNECTIONS = 9,
  SQM_OPTION_ACCEPT = 10, /* SQM_ACCEPT_... */
  SQM_OPTION_REFUSED_FILES = 11,
  SQM_OPTION_REFUSED_BYTES = 12,
  SQM_OPTION_REFUSED_AGE_S = 13,
  SQM_OPTION_SCHEDULE = 14, /* 1: the host has a schedule; each of the six below turns it on, too */
  SQM_OPTION_SCHEDULE_FIRST_UPLOAD_S = 15,
  SQM_OPTION_SCHEDULE_PERIOD_S = 16,
  SQM_OPTION_SCHEDULE_SMALLEST_PAUSE_S = 17,
  SQM_OPTION_SCHEDULE_FIRST_BACK_OFF_S = 18,
  SQM_OPTION_SCHEDULE_LONGEST_BACK_OFF_S = 19,
  SQM_OPTION_SCHEDULE_LONGEST_RETRY_AFTER_S = 20,
  SQM_OPTION_COUNTING = 21,            /* SQM_COUNTING_... */
  SQM_OPTION_CONSENT = 22,             /* SQM_CONSENT_..., while the user has not chosen; setting it turns consent on */
  SQM_OPTION_LOCK_WITHIN_MS = 23,      /* the SQM folder is locked; how long the host waits for another's lock */
  SQM_OPTION_HTTP_GZIP_FROM_BYTES = 24 /* bodies from this size on are compressed; 0: none */
};

enum { SQM_RECORDING_AS_REQUIRED = 0, SQM_RECORDING_SURVIVES_CRASH = 1, SQM_RECORDING_SURVIVES_POWER_LOSS = 2 };
enum { SQM_ACCEPT_ANY_STATUS = 0, SQM_ACCEPT_ONLY_2XX = 1 };
enum { SQM_COUNTING_OFF = 0, SQM_COUNTING_IN_MEMORY = 1, SQM_COUNTING_KEPT = 2 };
enum { SQM_CONSENT_GRANTED = 0, SQM_CONSENT_WITHHELD = 1, SQM_CONSENT_REVOKED = 2 };

/* Options that are texts. */
enum {
  SQM_TEXT_HOME_DIRECTORY = 0,     /* "": that of the process's user */
  SQM_TEXT_RESOURCE_DIRECTORY = 1, /* of SQMFieldNames.plist; "": that of the executable */
  SQM_TEXT_PROOF_HEADER = 2,       /* what a response must show; "": nothing */
  SQM_TEXT_PROOF_VALUE = 3,
  SQM_TEXT_PROOF_TEXT = 4,
  SQM_TEXT_HTTP_KEPT_HEADER = 5, /* each call adds one */
  SQM_TEXT_SESSION_FOLDER = 6,   /* of .sqm files, removed when the consent is revoked; each call adds one */
  SQM_TEXT_TLS_CA_FILE = 7,      /* the authorities that are trusted; "": those of the system */
  SQM_TEXT_TLS_CA_FOLDER = 8,
  SQM_TEXT_TLS_PINNED_KEYS = 9,       /* "sha256//" and Base64, separated by ";" */
  SQM_TEXT_TLS_CERTIFICATE_FILE = 10, /* of the client */
  SQM_TEXT_TLS_KEY_FILE = 11,
  SQM_TEXT_TLS_KEY_PASSWORD = 12,
  SQM_TEXT_PROXY_ADDRESS = 13, /* "http://HOST:PORT"; "": the environment's settings */
  SQM_TEXT_PROXY_USER = 14,
  SQM_TEXT_PROXY_PASSWORD = 15,
  SQM_TEXT_HTTP_USER_AGENT = 16
};

/* New options with the default behaviour, or with what a new application should begin with: a journal, atomic saves,
 * only 2xx delivers, limits, and a schedule. Owned by the caller, who destroys them, at the earliest after
 * `sqm_host_create`. NULL without memory. One thread at a time. */
SQM_API sqm_options* sqm_options_create(void);
SQM_API sqm_options* sqm_options_create_recommended(void);
SQM_API void sqm_options_destroy(sqm_options* options);

/* Sets an option. SQM_INVALID_ARGUMENT, and no change, for an option that is not known and a value that it cannot
 * have. `option` is SQM_OPTION_... or SQM_TEXT_... . */
SQM_API sqm_status sqm_options_set_number(sqm_options* options, int32_t option, int64_t value);
SQM_API sqm_status sqm_options_set_text(sqm_options* options, int32_t option, const char* value);

/* Bounds a list (SQM_RECORD_..., SQM_LIST_QUEUE or SQM_LIST_EACH). A number below 0 is no limit. */
SQM_API sqm_status sqm_options_set_limit(sqm_options* options, int32_t list, int64_t records, int64_t bytes,
                                         int64_t age_seconds);

/* Callbacks on the host's thread, unless the remark says otherwise; they must not use the library. `callback` NULL: no
 * call. New members of the structures are added at their end. */

typedef struct sqm_file_problem {
  bool is_write; /* else it is a read */
  const char* path;
  const char* reason;
} sqm_file_problem;
/* For each file that cannot be read or written; on the thread that met it. */
typedef void (*sqm_file_problem_callback)(void* context, const sqm_file_problem* problem);
SQM_API sqm_status sqm_options_on_file_problem(sqm_options* options, sqm_file_problem_callback callback, void* context);

enum { SQM_HTTP_COMPLETED = 0, SQM_HTTP_FAILED = 1, SQM_HTTP_TIMED_OUT = 2, SQM_HTTP_ABORTED = 3 };
typedef struct sqm_http_header {
  const char* name;
  const char* value;
} sqm_http_header;
typedef struct sqm_http_exchange {
  int32_t outcome;     /* SQM_HTTP_... */
  int32_t status;      /* of the response; 0: there is none */
  const char* address; /* without user name and password */
  const char* reason;  /* why it failed or timed out */
  int64_t elapsed_ms;
  uint64_t bytes_sent;
  uint64_t bytes_received;
  const char* content_type;
  int64_t retry_after_seconds;
  const sqm_http_header* headers; /* those of SQM_TEXT_HTTP_KEPT_HEADER */
  size_t header_count;
} sqm_http_exchange;
/* For each exchange of the standard HTTP service. */
typedef void (*sqm_http_exchange_callback)(void* context, const sqm_http_exchange* exchange);
SQM_API sqm_status sqm_options_on_http_exchange(sqm_options* options, sqm_http_exchange_callback callback,
                                                void* context);

/* Further headers of a request to `address`, such as a token that changes: called for each request of the standard HTTP
 * service. `sqm_http_headers_add` adds one; when one cannot be added, for lack of memory, the request is an error. */
typedef struct sqm_http_headers sqm_http_headers;
typedef void (*sqm_http_headers_callback)(void* context, const char* address, sqm_http_headers* headers);
SQM_API sqm_status sqm_options_on_http_headers(sqm_options* options, sqm_http_headers_callback callback, void* context);
SQM_API sqm_status sqm_http_headers_add(sqm_http_headers* headers, const char* name, const char* value);

enum { SQM_DELIVERY_DELIVERED = 0, SQM_DELIVERY_RETRY = 1, SQM_DELIVERY_REFUSED = 2 };
typedef struct sqm_delivery {
  int32_t outcome;      /* SQM_DELIVERY_... */
  int32_t status;       /* of the response; 0: there is none */
  int32_t shown_status; /* that the library's classes get */
  int64_t retry_after_seconds;
  const char* address; /* without user name and password */
  uint64_t bytes;
  const char* reason; /* why it was not delivered */
} sqm_delivery;
/* With the outcome of each exchange. */
typedef void (*sqm_delivery_callback)(void* context, const sqm_delivery* delivery);
SQM_API sqm_status sqm_options_on_delivery(sqm_options* options, sqm_delivery_callback callback, void* context);

typedef struct sqm_drop {
  int32_t list; /* SQM_RECORD_... or SQM_LIST_QUEUE */
  uint64_t count;
  int32_t reason; /* SQM_DROP_... */
} sqm_drop;
/* After something was dropped: for the queue on the thread of the caller. Only with counts. */
typedef void (*sqm_drop_callback)(void* context, const sqm_drop* drop);
SQM_API sqm_status sqm_options_on_drop(sqm_options* options, sqm_drop_callback callback, void* context);

typedef struct sqm_refused_drop {
  const char* path;
  uint64_t bytes;
  int32_t reason; /* the limit: SQM_DROP_RECORDS (of the files), SQM_DROP_BYTES or SQM_DROP_AGE */
  uint64_t count; /* of the files that were dropped so far */
} sqm_refused_drop;
/* After a refused body was dropped. */
typedef void (*sqm_refused_drop_callback)(void* context, const sqm_refused_drop* drop);
SQM_API sqm_status sqm_options_on_refused_drop(sqm_options* options, sqm_refused_drop_callback callback, void* context);

#ifdef __cplusplus
}
#endif

#endif
