/* The report on a failed connection attempt. docs/diagnostics.md describes it. */
#ifndef SQM_C_DIAGNOSTICS_H
#define SQM_C_DIAGNOSTICS_H

#include "host.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sqm_diagnostics sqm_diagnostics;

/* The texts of a record. */
enum {
  SQM_DIAGNOSTICS_SSID = 0,
  SQM_DIAGNOSTICS_SIGNAL_STRENGTH = 1,
  SQM_DIAGNOSTICS_SECURITY = 2, /* not reported */
  SQM_DIAGNOSTICS_AP_MAC = 3,
  SQM_DIAGNOSTICS_NIC = 4,
  SQM_DIAGNOSTICS_PROBE_URL = 5,
  SQM_DIAGNOSTICS_PROBE_USER_AGENT = 6,
  SQM_DIAGNOSTICS_PROBE_RESPONSE = 7,
  SQM_DIAGNOSTICS_PROBE_HTTP_STATUS = 8,
  SQM_DIAGNOSTICS_AUTH_PROTOCOL = 9,
  SQM_DIAGNOSTICS_DIRECTORY_ID = 10,
  SQM_DIAGNOSTICS_AUTH_USER_AGENT = 11, /* not reported */
  SQM_DIAGNOSTICS_LOGIN_URL = 12,
  SQM_DIAGNOSTICS_ERROR_CODE = 13,
  SQM_DIAGNOSTICS_ERROR_DETAILS = 14
};

/* The arrays of a record. */
enum { SQM_DIAGNOSTICS_DISCOVERY = 0, SQM_DIAGNOSTICS_LOGIN_POLL = 1 };

/* A record of its own, owned by the caller; one thread at a time. */
SQM_API sqm_diagnostics* sqm_diagnostics_create(sqm_host* host);

/* The process's record, which uses the installed host; NULL without one. Destroying it does nothing. */
SQM_API sqm_diagnostics* sqm_diagnostics_shared(void);
SQM_API void sqm_diagnostics_destroy(sqm_diagnostics* diagnostics);

/* A text (SQM_DIAGNOSTICS_SSID and so on); NULL is absent. */
SQM_API sqm_status sqm_diagnostics_set(sqm_diagnostics* diagnostics, int32_t property, const char* value);
SQM_API char* sqm_diagnostics_get(const sqm_diagnostics* diagnostics, int32_t property);

/* Append an entry to an array: a text, or an object with `count` texts by distinct keys. */
SQM_API sqm_status sqm_diagnostics_add_text(sqm_diagnostics* diagnostics, int32_t array, const char* value);
SQM_API sqm_status sqm_diagnostics_add_object(sqm_diagnostics* diagnostics, int32_t array, const char* const* keys,
                                              const char* const* values, size_t count);
/* Append an entry that is JSON text, which is written unchanged and is not checked. "" stands for a value that JSON
 * does not have: there is no text of an array with it, and `Auth` in the report ends before that array. */
SQM_API sqm_status sqm_diagnostics_add_json(sqm_diagnostics* diagnostics, int32_t array, const char* json);

/* Makes an array empty, or absent. */
SQM_API sqm_status sqm_diagnostics_clear_array(sqm_diagnostics* diagnostics, int32_t array, bool is_absent);
/* The array as JSON text: "" when it is empty or absent. NULL when it cannot be made. */
SQM_API char* sqm_diagnostics_array_json(const sqm_diagnostics* diagnostics, int32_t array);

/* A new attempt begins; a new probe begins. */
SQM_API sqm_status sqm_diagnostics_reset(sqm_diagnostics* diagnostics);
SQM_API sqm_status sqm_diagnostics_reset_probe(sqm_diagnostics* diagnostics);

/* Makes each absent text empty, except SQM_DIAGNOSTICS_SECURITY and SQM_DIAGNOSTICS_AUTH_USER_AGENT. The report does
 * so, too. */
SQM_API sqm_status sqm_diagnostics_validate(sqm_diagnostics* diagnostics);

/* The report: gzip in Base64; "" when it would be longer than 4,000 characters. */
SQM_API char* sqm_diagnostics_report(sqm_diagnostics* diagnostics);

#ifdef __cplusplus
}
#endif

#endif
