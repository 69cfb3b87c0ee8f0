// Events lost to a limit, and the resource warnings of the disk cache.
//
// When the queue or the cache cannot keep an event, the event is counted
// instead of failing the application's call, and the total is reported
// later in one message: 66 when contact with the server returns, 67 at
// shut-down, nothing at all when nothing was lost. The count lives in the
// disk cache (under its mutex) when the context has one, else in the event
// queue (under its lock); taking and resetting it is one critical section.
//
// The warnings 58, 59 and 60 are issued once per episode: the caller tests
// and sets the episode's flag under the cache mutex.
#ifndef ZOVEXA_CAPIS_CACHE_LIMITS_H_
#define ZOVEXA_CAPIS_CACHE_LIMITS_H_

#include "zovexa.h"

// Adds `numEvents` to the discarded count. 0, or -1 when the context has
// neither a disk cache nor an event queue.
int ZOdiscardEvents(const ZOVEXA_AuditClientContext *context, int numEvents, ZOVEXA_result *result);

// Takes the discarded count and, when it is not 0, reports it: message 67
// with `shuttingDown`, else 66. 0, or -1 as above.
int ZOreportDiscardedEvents(const ZOVEXA_AuditClientContext *context, int shuttingDown,
                            ZOVEXA_result *result);

// The three warnings (message 58 with maxCacheFiles and diskCachePath, 59
// with diskCachePath, 60 with diskCachePath and the text of `errnum`), each
// with its WARNING trace line.
void ZOreportMaxCacheFiles(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);
void ZOreportNoDiskSpace(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);
void ZOreportNoFileHandles(const ZOVEXA_AuditClientContext *context, int errnum, ZOVEXA_result *result);

#endif  // ZOVEXA_CAPIS_CACHE_LIMITS_H_
