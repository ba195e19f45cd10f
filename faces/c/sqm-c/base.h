/* What all calls share: results, errors, texts. */
#ifndef SQM_C_BASE_H
#define SQM_C_BASE_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define SQM_API __attribute__((visibility("default")))
#else
#define SQM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The result of a call. New numbers may be added: treat one that you do not know as SQM_FAILED. */
typedef int32_t sqm_status;
enum {
  SQM_OK = 0,
  SQM_INVALID_ARGUMENT = 1, /* an argument that is absent, unknown or not allowed */
  SQM_OUT_OF_RANGE = 2,     /* a record needs a field beyond the end of a short field-name table */
  SQM_NO_MEMORY = 3,
  SQM_UNAVAILABLE = 4, /* the host was made without this, or there is no installed host */
  SQM_FAILED = 5       /* anything else: a file that cannot be written, a transaction that cannot be made */
};

/* What was wrong with the last call of this thread; "" when it succeeded. `sqm_..._destroy` and `sqm_string_free` leave
 * it as it is. At most 255 bytes. Never NULL; valid until the thread's next call. Any thread. */
SQM_API const char* sqm_last_error(void);

/* "ok", "invalid argument", ...; "failed" for a number that is not known. Valid forever. Any thread. */
SQM_API const char* sqm_status_name(sqm_status status);

/* The version of the library, "0.1.0". Valid forever. Any thread. */
SQM_API const char* sqm_version(void);

/* Frees a text that a call has returned as `char*`. NULL does nothing. Any thread. */
SQM_API void sqm_string_free(char* text);

/* The kinds of record, each with a list of its own. */
enum {
  SQM_RECORD_CLIENT = 0,
  SQM_RECORD_CONNECTION = 1,
  SQM_RECORD_DEVICE = 2,
  SQM_RECORD_APPLICATION = 3,
  SQM_RECORD_USER_ACCEPTANCE = 4,
  SQM_RECORD_TYPES = 5 /* how many there are */
};

/* Where a limit or a count is asked for, beside the kinds of record. */
enum {
  SQM_LIST_QUEUE = 5,   /* the upload queue */
  SQM_LIST_REFUSED = 6, /* the folder of refused bodies: only what was dropped is counted */
  SQM_LIST_EACH = -1    /* each list and the queue */
};

#ifdef __cplusplus
}
#endif

#endif
