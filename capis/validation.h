// Checks an event against the predefined element tables before it is sent:
// required elements, value types, non-null values, value checks and the
// special rules (one of which adds a missing time stamp).
#ifndef ZOVEXA_CAPIS_VALIDATION_H_
#define ZOVEXA_CAPIS_VALIDATION_H_

#include "zovexa.h"

// Builds the hash indexes of the tables once per process; later calls return
// 0 at once. Called by context creation under the common block's mutex.
// 0, or -1 with message 1.
int ZOinitEventTable(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// 0 when the event may be sent; -1 with one message (14, 15, 16, 47 or 1).
// C linkage so that programs written in C can check events in tests; the
// shared library does not export it.
extern "C" int ZOcheckEvent(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditEvent *event,
                            ZOVEXA_result *result);

#endif  // ZOVEXA_CAPIS_VALIDATION_H_
