#include "capis/cache_limits.h"

#include <pthread.h>

#include <cstring>

#include "capis/cache_info.h"
#include "capis/context.h"
#include "capis/event_queue.h"
#include "capis/results.h"
#include "capis/trace.h"

#define ZO_SRC "capis/disk_cache"

namespace {

// The discarded count of the context and the lock that guards it: the disk
// cache's when there is one, else the event queue's.
struct DiscardCounter {
  pthread_mutex_t *lock = nullptr;
  int32_t *count = nullptr;
  const char *lockedLine = nullptr;
  const char *unlockedLine = nullptr;
};

bool counterOf(const ZOVEXA_AuditClientContext *ctx, DiscardCounter *c) {
  if (ctx->diskCache != nullptr) {
    *c = {&ctx->diskCache->mutex, &ctx->diskCache->discardedEvents, "FLOW: cacheInfo->mutex LOCKED",
          "FLOW: cacheInfo->mutex UNLOCKED"};
    return true;
  }
  if (ctx->eventQueue != nullptr) {
    *c = {&ctx->eventQueue->lock, &ctx->eventQueue->discardedEvents, "FLOW: eventQueue->lock LOCKED",
          "FLOW: eventQueue->lock UNLOCKED"};
    return true;
  }
  return false;
}

// The text of the entry just added to `result`, after its message id
// ("KZTCC0059E "), or "" when the message could not be added.
const char *lastEntryBody(const ZOVEXA_result *result, int countBefore) {
  if (result == nullptr || result->count <= countBefore) return "";
  const char *text = result->entries[result->count - 1].text;
  const char *blank = strchr(text, ' ');
  return blank != nullptr ? blank + 1 : text;
}

}  // namespace

int ZOdiscardEvents(const ZOVEXA_AuditClientContext *ctx, int numEvents, ZOVEXA_result *result) {
  constexpr const char *tag = "[discardEvents]";
  (void)result;
  ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "ENTRY: numEvents = %d", numEvents);
  DiscardCounter c;
  if (!counterOf(ctx, &c)) {
    ZO_ERROR(ctx, tag, "cacheInfo & eventQueue in context are both NULL");
    return -1;
  }
  pthread_mutex_lock(c.lock);
  ZO_FLOW(ctx, tag, "%s", c.lockedLine);
  *c.count += numEvents;
  pthread_mutex_unlock(c.lock);
  ZO_FLOW(ctx, tag, "%s", c.unlockedLine);
  ZO_EXIT(ctx, tag);
  return 0;
}

int ZOreportDiscardedEvents(const ZOVEXA_AuditClientContext *ctx, int shuttingDown, ZOVEXA_result *result) {
  constexpr const char *tag = "[reportDiscardedEvents]";
  ZO_ENTRY(ctx, tag);
  DiscardCounter c;
  if (!counterOf(ctx, &c)) {
    ZO_ERROR(ctx, tag, "cacheInfo & eventQueue in context are both NULL");
    return -1;
  }
  pthread_mutex_lock(c.lock);
  ZO_FLOW(ctx, tag, "%s", c.lockedLine);
  const int32_t discarded = *c.count;
  *c.count = 0;
  pthread_mutex_unlock(c.lock);
  ZO_FLOW(ctx, tag, "%s", c.unlockedLine);
  if (discarded == 0) {
    ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT: no events were discarded");
    return 0;
  }
  if (shuttingDown != 0) {
    ZOreport(ctx, result, 67, 0, 1, discarded);
    ZO_ERROR(ctx, tag,
             "ERROR: The audit client is being shut down. The server has recently been unavailable. During "
             "that time, %d audit events could not be processed or cached and had to be discarded.",
             discarded);
  } else {
    ZOreport(ctx, result, 66, 0, 1, discarded);
    ZO_ERROR(ctx, tag,
             "ERROR: Contact has now been re-established with the audit server, however, while it was "
             "unavailable, %d audit events could not be processed or cached and had to be discarded.",
             discarded);
  }
  ZO_EXIT(ctx, tag);
  return 0;
}

void ZOreportMaxCacheFiles(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[reportMaxCacheFiles]";
  const int before = result != nullptr ? result->count : 0;
  const char *path = ctx->Str(ZOP_diskCachePath);
  ZOreport(ctx, result, 58, path != nullptr ? strlen(path) : 0, 2, ctx->Int(ZOP_maxCacheFiles),
           path != nullptr ? path : "");
  // The message's own "WARNING: The maxCacheFiles ..." sentence follows the
  // short form that starts the trace line.
  ZO_ERROR(ctx, tag, "WARNING: the maxCacheFiles property value of %d has been reached. %s",
           ctx->Int(ZOP_maxCacheFiles), lastEntryBody(result, before));
}

void ZOreportNoDiskSpace(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[reportNoDiskSpace]";
  const int before = result != nullptr ? result->count : 0;
  const char *path = ctx->Str(ZOP_diskCachePath);
  ZOreport(ctx, result, 59, path != nullptr ? strlen(path) : 0, 1, path != nullptr ? path : "");
  ZO_ERROR(ctx, tag, "%s", lastEntryBody(result, before));
}

void ZOreportNoFileHandles(const ZOVEXA_AuditClientContext *ctx, int errnum, ZOVEXA_result *result) {
  constexpr const char *tag = "[reportNoFileHandles]";
  const int before = result != nullptr ? result->count : 0;
  const char *path = ctx->Str(ZOP_diskCachePath);
  const char *reason = strerror(errnum);
  ZOreport(ctx, result, 60, (path != nullptr ? strlen(path) : 0) + strlen(reason), 2,
           path != nullptr ? path : "", reason);
  ZO_ERROR(ctx, tag, "%s", lastEntryBody(result, before));
}
