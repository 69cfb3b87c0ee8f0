// The audit client: creation, sending one event, and deletion with its
// flush and the stop of the queue and cache-manager threads.
#include "capis/client.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "capis/audit_element.h"
#include "capis/audit_event.h"
#include "capis/cache_info.h"
#include "capis/cache_limits.h"
#include "capis/cache_manager.h"
#include "capis/context.h"
#include "capis/disk_cache.h"
#include "capis/event_queue.h"
#include "capis/giid.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/validation.h"
#include "capis/zo_memory.h"
#include "cbe/server_session.h"

#define ZO_SRC "capis/client"

namespace {

constexpr const char *kGiidName = "globalInstanceId";
constexpr int kBroadcastAttempts = 6;  // the first and five more at once
constexpr uint32_t kSlowFlushSeconds = 60;
// Each wait for threads to stop gets at least this much of shutDownTimeout.
constexpr uint32_t kThreadWaitSeconds = 20;

void sleepOneSecond() {
  struct timespec left = {1, 0};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

// Settings that delete lowers while it runs (queue threads and cache-manager
// threads read them concurrently, hence the atomic stores).
void setInt(ZOVEXA_AuditClientContext *ctx, ZOpropIndex p, int32_t value) {
  __atomic_store_n(&ctx->props[p].i, value, __ATOMIC_RELAXED);
}

struct SavedSettings {
  int32_t lowWater, rebindInterval, retryInterval, numberRetries;
};

// Shut-down must not wait on retries: the cache takes what cannot be sent.
SavedSettings hurrySettings(ZOVEXA_AuditClientContext *ctx) {
  SavedSettings saved{ctx->Int(ZOP_lowWater), ctx->Int(ZOP_rebindInterval), ctx->Int(ZOP_retryInterval),
                      ctx->Int(ZOP_numberRetries)};
  setInt(ctx, ZOP_lowWater, 0);
  setInt(ctx, ZOP_rebindInterval, std::min(saved.rebindInterval, 1));
  setInt(ctx, ZOP_retryInterval, std::min(saved.retryInterval, 1));
  setInt(ctx, ZOP_numberRetries, ctx->diskCache != nullptr ? 0 : std::min(saved.numberRetries, 1));
  return saved;
}

void restoreSettings(ZOVEXA_AuditClientContext *ctx, const SavedSettings &saved) {
  setInt(ctx, ZOP_lowWater, saved.lowWater);
  setInt(ctx, ZOP_rebindInterval, saved.rebindInterval);
  setInt(ctx, ZOP_retryInterval, saved.retryInterval);
  setInt(ctx, ZOP_numberRetries, saved.numberRetries);
}

int32_t queueSize(ZOeventQueue *queue) {
  lockQ(queue);
  int32_t size = queue->size;
  unlockQ(queue);
  return size;
}

int32_t queueThreads(ZOeventQueue *queue) {
  if (queue == nullptr) return 0;
  lockQ(queue);
  int32_t n = queue->numThreads;
  unlockQ(queue);
  return n;
}

int32_t cacheThreads(ZOcacheInfo *cache) {
  if (cache == nullptr) return 0;
  pthread_mutex_lock(&cache->mutex);
  int32_t n = cache->numCMThreads;
  pthread_mutex_unlock(&cache->mutex);
  return n;
}

// Sends what is queued within shutDownTimeout seconds. Returns the seconds
// spent.
uint32_t flushQueue(ZOVEXA_AuditClientContext *ctx, ZOeventQueue *queue, uint32_t timeout,
                    ZOVEXA_result *result) {
  constexpr const char *tag = "[auditClient_Delete]";
  lockQ(queue);
  if (queue->size < 1) {
    unlockQ(queue);
    return 0;
  }
  queue->flushInterval = 0;
  int rc = pthread_cond_broadcast(&queue->eventsAvailable);
  if (rc != 0) ZO_ERROR(ctx, tag, "ERROR received on pthread_cond_broadcast: %d", rc);
  unlockQ(queue);

  ZOcacheInfo *cache = ctx->diskCache;
  const bool overflowToCache = cache != nullptr && ctx->Int(ZOP_useDiskCache) == ZO_DISKCACHE_AUTO;
  uint32_t elapsed = 0;
  int32_t left = 1;
  while (elapsed < timeout) {
    sleepOneSecond();
    ++elapsed;
    left = queueSize(queue);
    if (left == 0) break;
    // A flush this slow means the server is slow: batches go to the cache.
    if (overflowToCache && elapsed > kSlowFlushSeconds && cache->serverSlow.load() == 0)
      cache->serverSlow.store(1);
  }
  if (left > 0) left = queueSize(queue);
  if (left > 0) {
    ZOreport(ctx, result, 18, 0, 1, left);
    ZO_ERROR(ctx, tag, "ERROR: cannot flush event queue. %d events still present", left);
  }
  return elapsed;
}

void stopQueueThreads(ZOVEXA_AuditClientContext *ctx, ZOeventQueue *queue) {
  constexpr const char *tag = "[auditClient_Delete]";
  lockQ(queue);
  queue->shutDown = 1;
  for (int attempt = 0; attempt < kBroadcastAttempts; ++attempt) {
    int rc = pthread_cond_broadcast(&queue->eventsAvailable);
    if (rc == 0) break;
    ZO_ERROR(ctx, tag, "ERROR received on pthread_cond_broadcast: %d", rc);
  }
  unlockQ(queue);
}

// At least kThreadWaitSeconds remain for the next wait; with a time limit
// below that (0 included) the arithmetic wraps and the wait is skipped.
uint32_t leaveTimeForWait(uint32_t elapsed, uint32_t timeout) {
  if (elapsed + kThreadWaitSeconds > timeout) elapsed = timeout - kThreadWaitSeconds;
  return elapsed;
}

void stopCacheManagers(ZOVEXA_AuditClientContext *ctx, ZOcacheInfo *cache) {
  constexpr const char *tag = "[auditClient_Delete]";
  pthread_mutex_lock(&cache->mutex);
  const bool alreadyDown = cache->shutDown != 0;
  pthread_mutex_unlock(&cache->mutex);
  if (!alreadyDown) {
    ZO_FLOW(ctx, tag, "FLOW: about to set cacheInfo->shutDown");
    pthread_mutex_lock(&cache->mutex);
    ZO_FLOW(ctx, tag, "FLOW: cacheInfo->mutex LOCKED");
    cache->shutDown = 1;
    ZO_FLOW(ctx, tag, "FLOW: cacheInfo->shutDown has been set");
    pthread_cond_broadcast(&cache->cond);
    pthread_mutex_unlock(&cache->mutex);
    ZO_FLOW(ctx, tag, "FLOW: cacheInfo->mutex UNLOCKED");
  }
  // The writer slots are read under the cache mutex; each file's waiters are
  // then woken under that file's own mutex, one lock at a time.
  std::vector<std::pair<int, ZOcacheFileInfo *>> files;
  pthread_mutex_lock(&cache->mutex);
  if (cache->cacheFiles != nullptr) {
    for (int32_t i = 0; i < cache->cacheFilesSize; ++i)
      if (cache->cacheFiles[i] != nullptr) files.emplace_back(i, cache->cacheFiles[i]);
  }
  pthread_mutex_unlock(&cache->mutex);
  if (files.empty()) return;
  ZO_FLOW(ctx, tag, "FLOW: awakening waiters for cacheInfo->cacheFiles");
  for (const auto &[slot, file] : files) {
    ZO_FLOW(ctx, tag, "FLOW: awakening waiters for cacheFiles[%d]: %x", slot,
            static_cast<unsigned>(reinterpret_cast<uintptr_t>(file)));
    pthread_mutex_lock(&file->mutex);
    ZO_FLOW(ctx, tag, "FLOW: broadcasting cacheFileInfo->cond for file %s", file->fileName);
    pthread_cond_broadcast(&file->cond);
    pthread_mutex_unlock(&file->mutex);
  }
}

// Gives the event its global instance id unless it has one: a string
// element named "globalInstanceId" (the name is taken as UTF-8 as it is).
int ZOcreateGIIdElement(ZOVEXA_AuditClientContext *ctx, ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  if (ZOfindInList(&event->elements, kGiidName) != nullptr) return 0;
  char *value = ZOcreateGIIdValue(ctx, result);
  if (value == nullptr) return -1;
  ZOVEXA_AuditElement *element = ZOauditElement_Create(ctx, kGiidName, VEXA_VT_STRING, value, 0, 0, result);
  if (element == nullptr) {
    free(value);
    return -1;
  }
  if (ZOattachElement(ctx, &event->elements, nullptr, true, element, result) != 0) {
    ZOauditElement_Delete(ctx, element, result);
    return -1;
  }
  return 0;
}

}  // namespace

int ZOwriteEvent(ZOVEXA_AuditClient *client, ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  constexpr const char *tag = "[writeEvent]";
  ZOVEXA_AuditClientContext *ctx = client->context;
  ZO_ENTRY(ctx, tag);
  ZOVEXA_AuditEvent *events[2] = {event, nullptr};
  int rc = buildAndProcEvent(ctx, events, result);
  if (rc != 0) {
    const int errors = result->count;
    ZOreport(ctx, result, 28, 0, 1, errors);
    ZO_ERROR(ctx, tag, "ERROR: %d errors returned from buildAndProcEvent. See error log", errors);
    return rc;
  }
  if (ctx->freeEventsAfterSend) {
    ZOdeleteEvent(event);
    ZO_FLOW(ctx, tag, "FLOW: Deleted audit event");
  }
  ZOVEXA_Result_Clean(result);
  ZO_EXIT(ctx, tag);
  return 0;
}

int auditClient_Delete(ZOVEXA_AuditClientContext *ctx, ZOVEXA_AuditClient *client, ZOVEXA_result *result) {
  constexpr const char *tag = "[auditClient_Delete]";
  ZO_ENTRY(ctx, tag);
  ZOeventQueue *queue = client->eventQueue;
  ZOcacheInfo *cache = ctx->diskCache;
  const uint32_t timeout = static_cast<uint32_t>(ctx->Int(ZOP_shutDownTimeout));  // -1: no limit

  // Queue threads read lowWater under the queue lock (the other settings with
  // atomic loads), so the change reaches them between two batches.
  if (queue != nullptr) lockQ(queue);
  const SavedSettings saved = hurrySettings(ctx);
  if (queue != nullptr) unlockQ(queue);

  uint32_t elapsed = 0;
  if (queue != nullptr) {
    elapsed = flushQueue(ctx, queue, timeout, result);
    stopQueueThreads(ctx, queue);
    for (elapsed = leaveTimeForWait(elapsed, timeout); elapsed < timeout; ++elapsed) {
      if (queueThreads(queue) == 0) break;
      sleepOneSecond();
    }
  }
  if (cache != nullptr) {
    stopCacheManagers(ctx, cache);
    for (elapsed = leaveTimeForWait(elapsed, timeout); elapsed < timeout; ++elapsed) {
      if (queueThreads(queue) == 0 && cacheThreads(cache) == 0) break;
      sleepOneSecond();
    }
  }
  ZOreportDiscardedEvents(ctx, 1, result);

  restoreSettings(ctx, saved);
  // Threads that outlived the waits belong to the old queue; a new client
  // starts its own.
  ctx->actualEQThreads = 0;
  ctx->actualCMThreads = 0;
  const bool handedToThreads = queue != nullptr && ZOeventQueue_Delete(client, result) == 1;
  if (cache != nullptr) ZOreleaseCacheFiles(ctx);
  ctx->client = nullptr;
  if (!handedToThreads) free(client);
  ZO_EXIT(ctx, tag);
  return 0;
}

extern "C" ZOVEXA_API ZOVEXA_AuditClient *ZOVEXA_AuditClient_Create(ZOVEXA_AuditClientContext *ctx,
                                                                    ZOVEXA_result *result) {
  constexpr const char *tag = "[VEXA_AuditClient_Create]";
  ZOresetResult(result);
  if (ctx == nullptr || result == nullptr) {
    ZOnullParmHandler1(ctx, result, ZO_SRC, __LINE__, tag);
    return nullptr;
  }
  ZO_ENTRY(ctx, tag);
  if (ctx->client != nullptr) {
    ZOreport(ctx, result, 61, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: tried to create a 2nd client for this context");
    return nullptr;
  }
  auto *client = static_cast<ZOVEXA_AuditClient *>(ZOcalloc(1, sizeof(ZOVEXA_AuditClient)));
  if (client == nullptr) {
    ZOreport(ctx, result, 1, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
    return nullptr;
  }
  client->context = ctx;
  const int mode = ctx->Int(ZOP_useDiskCache);

  if (ctx->checkServerAtCreate) {
    int rc = checkService(ctx, result);
    if (rc == kZOnotAuthorized) {
      free(client);
      ZO_ERROR(ctx, tag,
               "ERROR: The client doesn't have the required security roles to send events to the server, so "
               "VEXA_AuditClient_Create is being aborted");
      return nullptr;
    }
    if (rc == -1) {
      if (mode == ZO_DISKCACHE_NEVER) {
        free(client);
        ZO_ERROR(ctx, tag,
                 "ERROR: unable to contact VEXA Web Service at URL: %s. No disk cache enabled, so "
                 "VEXA_AuditClient_Create is being aborted",
                 ctx->Str(ZOP_serverURL));
        return nullptr;
      }
      ZO_ERROR(ctx, tag,
               "WARNING: unable to contact VEXA Web Service at URL: %s, but continuing with "
               "VEXA_AuditClient_Create because disk cache is enabled",
               ctx->Str(ZOP_serverURL));
    }
  }
  if (mode != ZO_DISKCACHE_ALWAYS && setupEventQueue(client, result) != 0) {
    free(client);
    ZO_ERROR(ctx, tag, "ERROR: setupEventQueue returned an error");
    return nullptr;
  }
  if (mode != ZO_DISKCACHE_NEVER && ZOsetupCacheFiles(ctx, result) != 0) {
    auditClient_Delete(ctx, client, result);
    return nullptr;
  }

  const int32_t eqAsked = ctx->Int(ZOP_numberEQThreads);
  const int32_t cmAsked = ctx->Int(ZOP_numberCMThreads);
  for (int32_t round = 0; round < std::max(eqAsked, cmAsked); ++round) {
    if (mode != ZO_DISKCACHE_ALWAYS && ctx->actualEQThreads < eqAsked) ZOstartEQThread(ctx, client, result);
    if (mode != ZO_DISKCACHE_NEVER && ctx->actualCMThreads < cmAsked) ZOstartCMThread(ctx, result);
  }
  if (mode != ZO_DISKCACHE_ALWAYS) {
    const int32_t started = ctx->actualEQThreads;
    if (started == 0) {
      auditClient_Delete(ctx, client, result);
      ZOreport(ctx, result, 52, 0, 0);
      ZO_ERROR(ctx, tag, "ERROR: could not spawn any event queue threads");
      return nullptr;
    }
    if (started < eqAsked) {
      // The number asked comes first in the message, deliberately.
      ZOreport(ctx, result, 54, 0, 2, eqAsked, started);
      ZO_ERROR(ctx, tag,
               "WARNING: only %d of the %d specified event queue threads could be spawned. Processing will "
               "continue, but performance may be degraded",
               started, eqAsked);
    }
  }
  if (mode != ZO_DISKCACHE_NEVER) {
    const int32_t started = ctx->actualCMThreads;
    if (started == 0) {
      auditClient_Delete(ctx, client, result);
      ZOreport(ctx, result, 53, 0, 0);
      ZO_ERROR(ctx, tag, "ERROR: could not spawn any disk cache manager threads");
      return nullptr;
    }
    if (started < cmAsked) {
      ZOreport(ctx, result, 55, 0, 2, cmAsked, started);
      ZO_ERROR(ctx, tag,
               "WARNING: only %d of the %d specified disk cache managerthreads could be spawned. Processing "
               "will continue, but performance may be degraded",
               started, cmAsked);
    }
  }
  ZO_FLOW(ctx, tag, "FLOW: actualEQThreads = %d, actualCMThreads = %d", ctx->actualEQThreads,
          ctx->actualCMThreads);
  ctx->client = client;
  ZO_EXIT(ctx, tag);
  return client;
}

extern "C" ZOVEXA_API int32_t ZOVEXA_AuditClient_SendEvent(ZOVEXA_AuditClient *client,
                                                           ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  constexpr const char *tag = "[VEXA_AuditClient_SendEvent]";
  ZOresetResult(result);
  if (event == nullptr || result == nullptr) {
    ZOnullParmHandler2(event, client != nullptr ? client->context : nullptr, result, ZO_SRC, __LINE__, tag);
    return -1;
  }
  if (client == nullptr) {
    ZOreport(event->context, result, 13, 0, 0);
    ZO_ERROR(event->context, tag, "ERROR: client parameter is NULL");
    return -1;
  }
  ZOVEXA_AuditClientContext *ctx = client->context;
  ZO_ENTRY(ctx, tag);
  if (ctx->validateEvents) {
    int rc = ZOcheckEvent(ctx, event, result);
    if (rc < 0) return rc;
  }
  if (ZOcreateGIIdElement(ctx, event, result) != 0) {
    ZO_ERROR(ctx, tag, "ERROR returned by createGIIdElement");
    return -1;
  }
  if (ctx->Int(ZOP_useDiskCache) == ZO_DISKCACHE_ALWAYS) {
    int rc = ZOwriteEvent(client, event, result);
    if (rc < 0) {
      ZO_ERROR(ctx, tag, "ERROR returned by writeEvent");
      return rc;
    }
  } else {
    int rc = ZOenqueueEvent(client->eventQueue, event, result);
    if (rc != 0) {
      if (rc == -1) ZO_ERROR(ctx, tag, "ERROR returned by enqueueEvent");
      return rc;
    }
  }
  ZO_EXIT(ctx, tag);
  return 0;
}

extern "C" ZOVEXA_API int32_t ZOVEXA_AuditClient_Delete(ZOVEXA_AuditClient *client, ZOVEXA_result *result) {
  constexpr const char *tag = "[VEXA_AuditClient_Delete]";
  ZOVEXA_AuditClientContext *ctx = client != nullptr ? client->context : nullptr;
  if (result == nullptr) {
    ZOnullParmHandler1(ctx, result, ZO_SRC, __LINE__, tag);
    return -1;
  }
  ZOresetResult(result);
  if (client == nullptr) {
    ZOreport(nullptr, result, 13, 0, 0);
    return -1;
  }
  ZO_ENTRY(ctx, tag);
  auditClient_Delete(ctx, client, result);
  ZO_EXIT(ctx, tag);
  return 0;
}
