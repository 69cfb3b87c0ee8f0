// The cache-manager threads: they drain the disk cache to the audit server
// once it can be reached, oldest file first, moving each file's checkpoint
// only after a successful send (so every cached event is sent at least once),
// and delete files that are fully sent. While the server is down exactly one
// of them polls it every rebindInterval seconds; the others wait.
#ifndef ZOVEXA_CAPIS_CACHE_MANAGER_H_
#define ZOVEXA_CAPIS_CACHE_MANAGER_H_

#include "capis/cache_info.h"
#include "zovexa.h"

// Starts one cache-manager thread when fewer than numberCMThreads were
// started (and counts it in the context's actualCMThreads). The thread is
// counted in the cache's numCMThreads before it runs, so a shut-down right
// after the start still waits for it. 0, or -1 with message 11.
int ZOstartCMThread(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// Thread body; the argument is the context. A drained file leaves fileQ
// (and is removed when everything in it was sent), except at shut-down and
// when its drain stopped early while a writer still holds it: it then stays
// queued, to be drained again with what the writer adds, so nothing it holds
// is left behind off the queue.
void *cacheManager(void *context);

// The oldest queued file nobody drains, now marked beingDrained; or NULL.
// Corrupt files are skipped, and dropped from fileQ once nobody writes them.
ZOcacheFileInfo *ZOgetNextCacheFile(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// Sends everything in `file` from its checkpoint on, waiting at its end while
// a writer holds it, and sets deleteFile at the end of a file nobody writes.
// The checkpoint moves only past records the server took. Records collected
// to top up a single-event record are sent before a stop in reading (read
// error, corrupt data) is acted on. 0 / -1.
int drainCacheFile(const ZOVEXA_AuditClientContext *context, ZOcacheFileInfo *file, ZOVEXA_result *result);

// Unlinks `file` from `fileQ` (caller holds the cache mutex). 0, or -1 when
// the queue is empty or the file is not on it.
int ZOdequeueFileInfo(const ZOVEXA_AuditClientContext *context, ZOcacheFileQ *fileQ, ZOcacheFileInfo *file,
                      ZOVEXA_result *result);

// Waits until the server can be reached again: the first caller polls it
// every rebindInterval seconds, later callers sleep until its broadcast (and
// one of them polls next should the server be marked down again at once).
// On success reports the events discarded meanwhile (66) and cleans
// `result`. 0, or -1 at shut-down.
int ZOwaitForServerAvail(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// checkService with a scratch result record: 0 (or any result but -1) when
// the server is available.
int bindToServer(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

#endif  // ZOVEXA_CAPIS_CACHE_MANAGER_H_
