/* One record by itself: what the manager makes of an event. Clients that use the manager do not need it. */
#ifndef SQM_C_RECORDS_H
#define SQM_C_RECORDS_H

#include "manager.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sqm_record sqm_record;

enum {
  SQM_KIND_WIFI_CONNECTION = 0,
  SQM_KIND_MOBILE_CONNECTION = 1,
  SQM_KIND_ETHERNET_CONNECTION = 2,
  SQM_KIND_CLIENT = 3,
  SQM_KIND_DEVICE = 4,
  SQM_KIND_APPLICATION = 5,
  SQM_KIND_USER_ACCEPTANCE = 6
};

/* How the formatting of a record ends. */
enum {
  SQM_FORMAT_OK = 0,
  SQM_FORMAT_REJECTED = 3,     /* a required field is missing */
  SQM_FORMAT_FIELD_MISSING = 4 /* the same, in a connection or application record */
};

/* An empty record, which reads the field-name table. Owned by the caller. */
SQM_API sqm_record* sqm_record_create(sqm_host* host, int32_t kind);
SQM_API void sqm_record_destroy(sqm_record* record);

/* Stores a value in a field, unchanged or made safe as XML content. SQM_OUT_OF_RANGE for a field that the table lacks;
 * SQM_INVALID_ARGUMENT for NULL, which removes a field of a client record, and for a field that it does not have. */
SQM_API sqm_status sqm_record_set(sqm_record* record, int64_t field, const char* value);
SQM_API sqm_status sqm_record_set_xml_safe(sqm_record* record, int64_t field, const char* value);

/* The value under a name of the field-name table or another key; NULL when there is none. Setting NULL removes it. */
SQM_API char* sqm_record_value(const sqm_record* record, const char* key);
SQM_API sqm_status sqm_record_set_value(sqm_record* record, const char* key, const char* value);

/* Removes the values; a client record keeps its own. */
SQM_API sqm_status sqm_record_clear(sqm_record* record);

/* The record as an XML element; "" when it does not validate. `*status` (which may be NULL) says why: SQM_FORMAT_OK ...
 */
SQM_API char* sqm_record_format(sqm_record* record, int64_t* status);
/* The status that formatting gives. */
SQM_API int64_t sqm_record_validate(const sqm_record* record);

/* What a filter gets; NULL when there is none. */
SQM_API char* sqm_record_name(const sqm_record* record);
SQM_API char* sqm_record_sub_type(const sqm_record* record);

/* The record of the VPN session that was started last, as a new handle of the same record; NULL before the first. And
 * its replacement, an application record or NULL. */
SQM_API sqm_record* sqm_manager_application_record(const sqm_manager* manager);
SQM_API sqm_status sqm_manager_set_application_record(sqm_manager* manager, const sqm_record* record);

#ifdef __cplusplus
}
#endif

#endif
