/* Tables: the kinds of record, the texts for the client's codes, and facts about the environment. */
#ifndef SQM_C_CODES_H
#define SQM_C_CODES_H

#include "host.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The name of a kind of record, "connection"; the file of its list, "SQMConnection.plist"; the element around the
 * records of its document. NULL for a number that is none. Any thread. */
SQM_API char* sqm_record_type_name(int32_t record_type);
SQM_API char* sqm_record_type_file(int32_t record_type);
SQM_API char* sqm_record_type_element(int32_t record_type);

/* The texts that application and user-acceptance records carry for the client's codes; "" for an unknown code. Any
 * thread. */
SQM_API char* sqm_launch_type(int32_t code);
SQM_API char* sqm_connection_status(int32_t code);
SQM_API char* sqm_connection_result(int32_t code);
SQM_API char* sqm_vpn_disconnect_reason(int32_t code);
SQM_API char* sqm_alert_message_type(int32_t code);

/* The environment that the client runs in, as the client record has it. NULL when it is not known. The host's thread.
 */
SQM_API char* sqm_host_locale_name(sqm_host* host);
SQM_API char* sqm_host_os_name(sqm_host* host);
SQM_API char* sqm_host_os_version(sqm_host* host);
SQM_API char* sqm_host_environment_xml(sqm_host* host);
SQM_API char* sqm_product_xml(void);

#ifdef __cplusplus
}
#endif

#endif
