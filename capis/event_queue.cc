// The event queue between the application threads that send audit events
// and the queue threads that hand them to the send path in batches.
#include "capis/event_queue.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "capis/cache_info.h"
#include "capis/cache_limits.h"
#include "capis/client.h"
#include "capis/context.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/zo_memory.h"
#include "cbe/server_session.h"

#define ZO_SRC "capis/event_queue"

namespace {

constexpr const char *kQueueWords = "audit event queue";
constexpr int kDestroyAttempts = 5;  // EBUSY on destroy: the first try and four more

std::atomic<int> gLiveThreads{0};  // see ZOliveQueueThreads

// The text of a pthread error number for messages: strerror's, or the
// number itself when there is none.
struct ErrText {
  explicit ErrText(int rc) {
    const char *s = strerror(rc);
    if (s != nullptr) {
      text = s;
    } else {
      snprintf(number, sizeof number, "%d", rc);
      text = number;
    }
  }
  char number[16] = {};
  const char *text = nullptr;
};

uint32_t hint(const char *a, const char *b = "") { return static_cast<uint32_t>(strlen(a) + strlen(b)); }

void reportLockFailure(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, int rc, const char *tag) {
  ErrText e(rc);
  ZOreport(ctx, result, 31, hint(kQueueWords, e.text), 2, kQueueWords, e.text);
  ZO_ERROR(ctx, tag, "ERROR on lockQ when locking %s: %s, code: %d", kQueueWords, e.text, rc);
}

void reportUnlockFailure(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, int rc,
                         const char *tag) {
  ErrText e(rc);
  ZOreport(ctx, result, 32, hint(kQueueWords, e.text), 2, kQueueWords, e.text);
  ZO_ERROR(ctx, tag, "ERROR on unlockQ when unlocking %s: %s, code: %d", kQueueWords, e.text, rc);
}

void reportBroadcastFailure(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, int rc,
                            const char *tag) {
  ErrText e(rc);
  ZOreport(ctx, result, 33, hint(e.text), 1, e.text);
  ZO_ERROR(ctx, tag, "ERROR on pthread_cond_broadcast: %s, code: %d", e.text, rc);
}

// The current calendar second, read from the clock the timed waits use:
// time() may lag it by a tick, which would make deadlines that have just
// passed (waits that end at once) and ages one second short.
time_t calendarSecond() {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec;
}

// An absolute deadline `seconds` after the current calendar second.
struct timespec wholeSecondsFromNow(int seconds) {
  struct timespec deadline = {calendarSecond() + seconds, 0};
  return deadline;
}

void sleepOneSecond() {
  struct timespec left = {1, 0};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

// Unlinks every entry; the caller holds `lock` (or is the queue's last user)
// and frees them with freeEntries once it can.
ZOqueueEntry *takeAllEntries(ZOeventQueue *queue) {
  ZOqueueEntry *first = nullptr, **tail = &first;
  while (ZOqueueEntry *entry = eqPop(queue)) {
    *tail = entry;
    tail = reinterpret_cast<ZOqueueEntry **>(&entry->link.next);
  }
  *tail = nullptr;
  return first;
}

void freeEntries(ZOqueueEntry *entry, bool deleteEvents) {
  while (entry != nullptr) {
    ZOqueueEntry *next = reinterpret_cast<ZOqueueEntry *>(entry->link.next);
    if (deleteEvents) ZOdeleteEvent(entry->event);
    free(entry);
    entry = next;
  }
}

// Destroys a condition variable or the mutex, retrying after a second while
// a thread that left late still holds it. `trace` is false when the context
// may already be gone.
template <typename T>
void destroyPatiently(const ZOVEXA_AuditClientContext *ctx, bool trace, T *object, int (*destroy)(T *),
                      const char *what) {
  for (int attempt = 1;; ++attempt) {
    int rc = destroy(object);
    if (rc != EBUSY) return;
    if (trace) ZO_ERROR(ctx, "[eventQueue_Delete]", "ERROR received on %s: %d", what, rc);
    if (attempt == kDestroyAttempts) return;
    sleepOneSecond();
  }
}

void destroySyncObjects(const ZOVEXA_AuditClientContext *ctx, bool trace, ZOeventQueue *queue) {
  destroyPatiently(ctx, trace, &queue->eventsAvailable, pthread_cond_destroy, "pthread_cond_destroy");
  destroyPatiently(ctx, trace, &queue->spaceAvailable, pthread_cond_destroy, "pthread_cond_destroy");
  destroyPatiently(ctx, trace, &queue->lock, pthread_mutex_destroy, "pthread_mutex_destroy");
}

// A queue thread leaves its loop; the caller holds `lock`. The last thread
// to leave an orphaned queue frees it: nobody else knows it any more, and
// the context may be gone, so nothing here touches the context.
void leaveQueue(ZOeventQueue *queue) {
  --queue->numThreads;
  const bool last = queue->orphaned != 0 && queue->numThreads == 0;
  unlockQ(queue);
  if (!last) return;
  // The queue is empty: the deleting thread took what was left.
  destroySyncObjects(nullptr, false, queue);
  free(queue->client);
  free(queue);
}

// Wakes producers waiting for room after a processing pass.
void broadcastSpace(ZOeventQueue *queue, ZOVEXA_result *result) {
  int rc = pthread_cond_broadcast(&queue->spaceAvailable);
  if (rc != 0) {
    reportBroadcastFailure(queue->context, result, rc, "[eventQueueHandler]");
    ZOVEXA_Result_Clean(result);
  }
}

}  // namespace

void ZOdeleteEvent(ZOVEXA_AuditEvent *event) {
  ZOVEXA_result scratch{};
  ZOVEXA_AuditEvent_Delete(event, &scratch);
  ZOVEXA_Result_Clean(&scratch);
}

int ZOliveQueueThreads() { return gLiveThreads.load(std::memory_order_acquire); }

int lockQ(ZOeventQueue *queue) { return pthread_mutex_lock(&queue->lock); }
int unlockQ(ZOeventQueue *queue) { return pthread_mutex_unlock(&queue->lock); }

int eqPush(ZOeventQueue *queue, ZOqueueEntry *entry) {
  ZOqueueLink *tail = queue->head.prev;
  entry->link.next = &queue->head;
  entry->link.prev = tail;
  tail->next = &entry->link;
  queue->head.prev = &entry->link;
  ++queue->size;
  return 0;
}

ZOqueueEntry *eqPop(ZOeventQueue *queue) {
  if (queue->size < 1 || queue->head.next == &queue->head) return nullptr;
  ZOqueueLink *first = queue->head.next;
  queue->head.next = first->next;
  first->next->prev = &queue->head;
  --queue->size;
  return reinterpret_cast<ZOqueueEntry *>(first);
}

int setupEventQueue(ZOVEXA_AuditClient *client, ZOVEXA_result *result) {
  constexpr const char *tag = "[setupEventQueue]";
  ZOVEXA_AuditClientContext *ctx = client->context;
  ZO_ENTRY(ctx, tag);
  auto *queue = static_cast<ZOeventQueue *>(ZOcalloc(1, sizeof(ZOeventQueue)));
  if (queue == nullptr) {
    ZOreport(ctx, result, 1, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
    return -1;
  }
  queue->head.next = queue->head.prev = &queue->head;
  queue->queueSize = ctx->Int(ZOP_queueSize);
  queue->hiWater = ctx->Int(ZOP_hiWater);
  queue->flushInterval = ctx->Int(ZOP_flushInterval);
  queue->transferSize = ctx->Int(ZOP_transferSize);
  queue->context = ctx;
  queue->client = client;
  queue->serverURL = ctx->Str(ZOP_serverURL);

  int rc = pthread_mutex_init(&queue->lock, nullptr);
  if (rc != 0) {
    ErrText e(rc);
    ZOreport(ctx, result, 34, hint(e.text), 1, e.text);
    ZO_ERROR(ctx, tag, "ERROR - pthread_mutex_init returned msg: %s, code: %d", e.text, rc);
    free(queue);
    client->eventQueue = nullptr;
    return -1;
  }
  pthread_cond_t *conds[] = {&queue->eventsAvailable, &queue->spaceAvailable};
  for (int made = 0; made < 2; ++made) {
    rc = pthread_cond_init(conds[made], nullptr);
    if (rc == 0) continue;
    ErrText e(rc);
    ZOreport(ctx, result, 35, hint(e.text), 1, e.text);
    ZO_ERROR(ctx, tag, "ERROR - pthread_cond_init returned msg: %s, code: %d", e.text, rc);
    for (int i = 0; i < made; ++i) pthread_cond_destroy(conds[i]);
    pthread_mutex_destroy(&queue->lock);
    free(queue);
    client->eventQueue = nullptr;
    return -1;
  }
  // The mutex was never taken, so it is already released: nothing to undo.
  ctx->eventQueue = queue;
  client->eventQueue = queue;
  ZO_EXIT(ctx, tag);
  return 0;
}

int ZOstartEQThread(ZOVEXA_AuditClientContext *ctx, ZOVEXA_AuditClient *client, ZOVEXA_result *result) {
  constexpr const char *tag = "[startEQThread]";
  ZO_ENTRY(ctx, tag);
  if (ctx->actualEQThreads >= ctx->Int(ZOP_numberEQThreads)) return 0;
  ZOeventQueue *queue = client->eventQueue;
  lockQ(queue);
  ++queue->numThreads;
  unlockQ(queue);
  gLiveThreads.fetch_add(1, std::memory_order_relaxed);
  // Nobody ever joins a queue thread, so it is detached: its resources go
  // when it ends.
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  int rc = pthread_create(&thread, &attr, ZOeventQueueHandler, client);
  pthread_attr_destroy(&attr);
  if (rc != 0) {
    lockQ(queue);
    --queue->numThreads;
    unlockQ(queue);
    gLiveThreads.fetch_sub(1, std::memory_order_release);
    ErrText e(rc);
    ZOreport(ctx, result, 11, hint(e.text), 1, e.text);
    ZO_ERROR(ctx, tag, "ERROR - pthread_create returned msg: %s, code: %d", e.text, rc);
    return -1;
  }
  ++ctx->actualEQThreads;
  ZO_EXIT(ctx, tag);
  return 0;
}

int ZOenqueueEvent(ZOeventQueue *queue, ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  constexpr const char *tag = "[enqueueEvent]";
  ZOVEXA_AuditClientContext *ctx = queue->context;
  ZO_ENTRY(ctx, tag);
  // The entry is made before the lock is taken, to keep the lock short; it is
  // thrown away when the event does not go onto the list.
  auto *entry = static_cast<ZOqueueEntry *>(ZOmalloc(sizeof(ZOqueueEntry)));
  if (entry != nullptr) {
    entry->event = event;
    entry->enqueueTime = calendarSecond();
  }
  int rc = lockQ(queue);
  if (rc != 0) {
    free(entry);
    reportLockFailure(ctx, result, rc, tag);
    return -1;
  }
  if (queue->size >= queue->queueSize) {
    if (ctx->Int(ZOP_useDiskCache) == ZO_DISKCACHE_AUTO) {
      // The queue overflows into the disk cache: this thread writes the
      // event itself, and batches go to the cache until the queue is down
      // to lowWater again.
      unlockQ(queue);
      free(entry);
      ZOcacheInfo *cache = ctx->diskCache;
      if (cache != nullptr && cache->serverSlow.load(std::memory_order_relaxed) == 0) {
        cache->serverSlow.store(1, std::memory_order_relaxed);
        ZO_FLOW(ctx, tag, "FLOW: cacheInfo->serverSlow has been set");
      }
      rc = ZOwriteEvent(queue->client, event, result);
      if (rc == -1) ZO_ERROR(ctx, tag, "ERROR returned by writeEvent");
      return rc;
    }
    // Waits for room in one-second steps; -1 (as unsigned) is practically
    // without end, 0 does not wait.
    const uint32_t attempts = static_cast<uint32_t>(ctx->Int(ZOP_tempStorageFullTimeout));
    bool room = false;
    for (uint32_t i = 0; i < attempts && !room; ++i) {
      struct timespec deadline = wholeSecondsFromNow(1);
      int waited = pthread_cond_timedwait(&queue->spaceAvailable, &queue->lock, &deadline);
      if (waited != 0 && waited != ETIMEDOUT) {
        rc = lockQ(queue);
        if (rc != 0) {
          free(entry);
          reportLockFailure(ctx, result, rc, tag);
          return -1;
        }
      }
      room = queue->size < queue->queueSize;
    }
    if (!room) {
      unlockQ(queue);
      free(entry);
      // The event is lost but the call succeeds; the loss is counted and
      // reported once contact is back or at shut-down.
      ZOdiscardEvents(ctx, 1, result);
      if (ctx->freeEventsAfterSend) ZOdeleteEvent(event);
      ZO_EXIT(ctx, tag);
      return 0;
    }
  }
  if (entry == nullptr) {
    unlockQ(queue);
    ZOreport(ctx, result, 1, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
    return -1;
  }
  eqPush(queue, entry);
  // Below hiWater nobody is woken: the threads find the events by their
  // periodic look at the oldest one.
  if (queue->size >= queue->hiWater) {
    rc = pthread_cond_broadcast(&queue->eventsAvailable);
    if (rc != 0) {
      reportBroadcastFailure(ctx, result, rc, tag);
      unlockQ(queue);
      return -1;
    }
  }
  rc = unlockQ(queue);
  if (rc != 0) {
    reportUnlockFailure(ctx, result, rc, tag);
    return -1;
  }
  ZO_EXIT(ctx, tag);
  return 0;
}

int ZOprocessQueue(ZOVEXA_AuditClient *client, ZOVEXA_AuditEvent **events, int flush, ZOVEXA_result *result) {
  constexpr const char *tag = "[processQueue]";
  // The client record is read only here: a thread that outlives its client
  // keeps using the queue, which outlives the thread.
  ZOeventQueue *queue = client->eventQueue;
  ZOVEXA_AuditClientContext *ctx = client->context;
  ZO_ENTRY(ctx, tag);
  if (queue->size < 1) {
    ZO_ERROR(ctx, tag, "ERROR: queue->size = %d", queue->size);
    return -1;
  }
  ZO_FLOW(ctx, tag, "FLOW: queue->size = %d", queue->size);
  ZOcacheInfo *cache = ctx->diskCache;
  while (queue->size >= queue->transferSize || (flush != 0 && queue->size >= 1)) {
    int n = 0;
    while (n < queue->transferSize) {
      ZOqueueEntry *entry = eqPop(queue);
      if (entry == nullptr) break;
      events[n++] = entry->event;
      free(entry);
      ZO_FLOW(ctx, tag, "FLOW: event added to event array");
    }
    events[n] = nullptr;
    unlockQ(queue);

    ZO_FLOW(ctx, tag, "FLOW: calling buildAndProcEvent");
    buildAndProcEvent(ctx, events, result);
    if (result->count > 0) {
      // With a disk cache the send path has cached or reported the batch.
      if (cache == nullptr) {
        const int errors = result->count;
        ZOreport(ctx, result, 28, 0, 1, errors);
        ZO_ERROR(ctx, tag, "ERROR: %d errors returned from buildAndProcEvent.", errors);
      }
      ZOVEXA_Result_Clean(result);
    }
    if (ctx->freeEventsAfterSend) {
      for (int i = 0; i < n; ++i) {
        ZOdeleteEvent(events[i]);
        events[i] = nullptr;
      }
    }

    lockQ(queue);
    if (queue->size > ctx->Int(ZOP_lowWater)) continue;
    if (cache == nullptr) {
      if (queue->discardedEvents != 0) {
        unlockQ(queue);
        ZOreportDiscardedEvents(ctx, 0, result);
        lockQ(queue);
        ZOVEXA_Result_Clean(result);
      }
    } else if (cache->serverSlow.load(std::memory_order_relaxed) != 0) {
      cache->serverSlow.store(0, std::memory_order_relaxed);
      ZO_FLOW(ctx, tag, "FLOW: cacheInfo->serverSlow has been reset");
      ZOreportDiscardedEvents(ctx, 0, result);
      ZOVEXA_Result_Clean(result);
    }
  }
  ZO_EXIT(ctx, tag);
  return 0;
}

namespace {

// The loop of a queue thread, between its start and its last act.
void serveQueue(ZOVEXA_AuditClient *client) {
  constexpr const char *tag = "[eventQueueHandler]";
  ZOeventQueue *queue = client->eventQueue;
  ZOVEXA_result result{};
  lockQ(queue);
  if (queue->shutDown != 0) {  // deleted before this thread got going
    leaveQueue(queue);
    return;
  }
  ZOVEXA_AuditClientContext *ctx = queue->context;
  ZO_ENTRY(ctx, tag);
  auto **events =
      static_cast<ZOVEXA_AuditEvent **>(ZOcalloc(queue->transferSize + 1, sizeof(ZOVEXA_AuditEvent *)));
  if (events == nullptr) {
    ZOreport(ctx, &result, 1, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
    ZOVEXA_Result_Clean(&result);
    leaveQueue(queue);
    return;
  }
  while (queue->shutDown == 0) {
    if (queue->size >= queue->hiWater) {
      ZOprocessQueue(queue->client, events, 0, &result);
      broadcastSpace(queue, &result);
    } else if (queue->size > 0) {
      auto *oldest = reinterpret_cast<ZOqueueEntry *>(queue->head.next);
      const int age = static_cast<int>(difftime(calendarSecond(), oldest->enqueueTime));
      if (age >= queue->flushInterval) {
        ZOprocessQueue(queue->client, events, 1, &result);
        broadcastSpace(queue, &result);
      }
    }
    struct timespec deadline = wholeSecondsFromNow(2);
    int waited = pthread_cond_timedwait(&queue->eventsAvailable, &queue->lock, &deadline);
    if (waited != 0 && waited != ETIMEDOUT) {
      lockQ(queue);
      if (queue->shutDown != 0) break;
    }
  }
  // Still under the lock, before this thread stops counting: the deleting
  // thread has not given up on the queue, so the context is still there.
  if (queue->orphaned == 0) ZO_EXIT(ctx, tag);
  leaveQueue(queue);
  free(events);
  ZOVEXA_Result_Clean(&result);
}

}  // namespace

void *ZOeventQueueHandler(void *client) {
  serveQueue(static_cast<ZOVEXA_AuditClient *>(client));
  gLiveThreads.fetch_sub(1, std::memory_order_release);
  return nullptr;
}

int ZOeventQueue_Delete(ZOVEXA_AuditClient *client, ZOVEXA_result *result) {
  constexpr const char *tag = "[eventQueue_Delete]";
  (void)result;
  ZOVEXA_AuditClientContext *ctx = client->context;
  ZOeventQueue *queue = client->eventQueue;
  ZO_ENTRY(ctx, tag);
  if (queue == nullptr) return 0;
  lockQ(queue);
  // Left over when the flush ran out of time (message 18 counted them).
  ZOqueueEntry *leftovers = takeAllEntries(queue);
  const int32_t running = queue->numThreads;
  if (running > 0) queue->orphaned = 1;
  unlockQ(queue);
  freeEntries(leftovers, ctx->freeEventsAfterSend);
  if (ctx->eventQueue == queue) ctx->eventQueue = nullptr;
  if (running > 0) {
    ZO_FLOW(ctx, tag, "FLOW: %d event queue threads are still running and free the queue when they leave",
            running);
    return 1;
  }
  destroySyncObjects(ctx, true, queue);
  free(queue);
  client->eventQueue = nullptr;
  ZO_EXIT(ctx, tag);
  return 0;
}
