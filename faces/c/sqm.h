/* SQM from C: one include for everything. C99 or C++; needs the C library alone. Link libsqm.so (pkg-config sqm-c).
 *
 * docs/c.md describes the rules that hold for every call. In short:
 *
 * Handles: a function that creates or starts something returns a handle, or NULL, and `sqm_last_error` says why.
 * `sqm_..._destroy` ends it; destroying NULL does nothing. What was made with a host keeps the host's services alive.
 * Threads: a host, and what is made with it, is used on the thread that created the host, unless a call says otherwise.
 * Session parameters, collectors and diagnostics may be passed between threads, and are used by one at a time.
 * Failure: a call that can fail returns a status. No call throws or ends the process.
 * Texts: UTF-8, ended by NUL; NULL is absent. A text that a call returns as `char*` belongs to the caller, who frees it
 * with `sqm_string_free`. A text that a callback gets as `const char*` is valid until the callback returns.
 * Callbacks: `context` is passed unchanged. They must not let an exception or a longjmp leave them. */
#ifndef SQM_H
#define SQM_H

#include "sqm-c/base.h"
#include "sqm-c/codes.h"
#include "sqm-c/delivery.h"
#include "sqm-c/diagnostics.h"
#include "sqm-c/host.h"
#include "sqm-c/manager.h"
#include "sqm-c/options.h"
#include "sqm-c/queue.h"
#include "sqm-c/records.h"
#include "sqm-c/services.h"
#include "sqm-c/sessionfiles.h"
#include "sqm-c/targets.h"

#endif
