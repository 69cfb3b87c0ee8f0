#include "capis/cache_manager.h"

#include <pthread.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "capis/cache_io.h"
#include "capis/cache_limits.h"
#include "capis/context.h"
#include "capis/disk_cache.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/utilities.h"
#include "capis/zo_memory.h"
#include "cbe/server_session.h"

#define ZO_SRC "capis/disk_cache"

namespace {

constexpr int kPathSize = 512;
constexpr int kIdleWaitSeconds = 2;  // a thread without a file looks again this often
constexpr int kEdgeChars = 10;       // characters traced of each end of a joined buffer

// Reads one field of the cache under its mutex.
int32_t readFlag(ZOcacheInfo *cache, int32_t ZOcacheInfo::*field) {
  pthread_mutex_lock(&cache->mutex);
  int32_t v = cache->*field;
  pthread_mutex_unlock(&cache->mutex);
  return v;
}

void setServerDown(ZOcacheInfo *cache) {
  pthread_mutex_lock(&cache->mutex);
  cache->serverDown = 1;
  pthread_mutex_unlock(&cache->mutex);
}

// Unlinks `file`; the caller holds the cache mutex. Returns false when it is
// not on the queue.
bool unlinkFile(ZOcacheFileQ *q, ZOcacheFileInfo *file) {
  ZOcacheFileInfo *f = q->head;
  while (f != nullptr && f != file) f = f->next;
  if (f == nullptr) return false;
  if (file->prev != nullptr)
    file->prev->next = file->next;
  else
    q->head = file->next;
  if (file->next != nullptr)
    file->next->prev = file->prev;
  else
    q->tail = file->prev;
  file->next = file->prev = nullptr;
  --q->size;
  return true;
}

// After a file left the queue: a writer waiting for room under maxCacheFiles
// may go on. The caller holds the cache mutex. True when it was reset.
bool resetMaxFilesLocked(const ZOVEXA_AuditClientContext *ctx, ZOcacheInfo *cache) {
  if (cache->maxFiles == 0 || cache->fileQ.size >= ctx->Int(ZOP_maxCacheFiles)) return false;
  cache->maxFiles = 0;
  pthread_cond_broadcast(&cache->cond);
  return true;
}

// Waits on the cache's cond for `seconds`. Any broadcast ends the wait
// early unless `whole`; shut-down always does.
void pause(ZOcacheInfo *cache, int seconds, bool whole) {
  pthread_mutex_lock(&cache->mutex);
  timespec deadline = ZOdeadlineIn(seconds);
  int rc = 0;
  while (cache->shutDown == 0 && rc == 0) {
    rc = pthread_cond_timedwait(&cache->cond, &cache->mutex, &deadline);
    if (!whole) break;
  }
  pthread_mutex_unlock(&cache->mutex);
}

// The record buffers of one drain: the record read in blocking mode, then
// those collected to top up a single-event record.
struct RecordSet {
  ZOeventRec *recs = nullptr;
  int capacity = 0;
  char *joined = nullptr;
  int64_t joinedCap = 0;

  ~RecordSet() {
    for (int i = 0; i < capacity; ++i) ZOfreeEventRec(&recs[i]);
    free(recs);
    free(joined);
  }
  bool init(int n) {
    recs = static_cast<ZOeventRec *>(ZOcalloc(static_cast<size_t>(n), sizeof(ZOeventRec)));
    capacity = recs != nullptr ? n : 0;
    return recs != nullptr;
  }
};

// The first and last kEdgeChars characters of a text, for the trace.
void edges(const char *text, int64_t len, char *start, char *end) {
  int64_t n = len < kEdgeChars ? len : kEdgeChars;
  memcpy(start, text, static_cast<size_t>(n));
  start[n] = '\0';
  memcpy(end, text + len - n, static_cast<size_t>(n));
  end[n] = '\0';
}

// Joins the batch texts of recs[0..n) in order into set->joined. A batch text
// is CBE texts back to back, so the joined text is again one batch.
bool joinRecords(const ZOVEXA_AuditClientContext *ctx, RecordSet *set, int n, int64_t *length,
                 ZOVEXA_result *result) {
  constexpr const char *tag = "[drainCacheFile]";
  int64_t total = 0;
  for (int i = 0; i < n; ++i) total += set->recs[i].uncompSize;
  if (total + 1 > set->joinedCap) {
    char *grown = static_cast<char *>(ZOrealloc(set->joined, static_cast<size_t>(total + 1)));
    if (grown == nullptr) {
      ZOreport(ctx, result, 1, 0, 0);
      ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
      return false;
    }
    set->joined = grown;
    set->joinedCap = total + 1;
  }
  int64_t at = 0;
  for (int i = 0; i < n; ++i) {
    const ZOeventRec &r = set->recs[i];
    memcpy(set->joined + at, r.text, static_cast<size_t>(r.uncompSize));
    if (ZOtraceEnabled(ctx, ZO_TL_FLOW)) {
      char start[kEdgeChars + 1], end[kEdgeChars + 1];
      edges(r.text, r.uncompSize, start, end);
      ZO_FLOW(ctx, tag, "FLOW: buffer %d: start = %s, end = %s", i, start, end);
    }
    at += r.uncompSize;
  }
  set->joined[at] = '\0';
  *length = at;
  ZO_FLOW(ctx, tag, "FLOW: successfully collected %d event records", n);
  return true;
}

// Sends one batch text until it goes through. False at shut-down (nothing
// was confirmed, so the checkpoint must stay).
bool sendUntilDone(const ZOVEXA_AuditClientContext *ctx, const char *text, int64_t length,
                   ZOVEXA_result *result) {
  constexpr const char *tag = "[drainCacheFile]";
  ZO_FLOW(ctx, tag, "dataSize is %d", static_cast<int>(length));
  while (sendMsg(ctx, static_cast<int>(length), text, result) != 0) {
    ZO_FLOW(ctx, tag, "FLOW: sendMsg failed while draining cache");
    setServerDown(ctx->diskCache);
    if (ZOwaitForServerAvail(ctx, result) != 0) {
      ZO_FLOW(ctx, tag, "FLOW: error on waitForServerAvail; aborting");
      return false;
    }
  }
  return true;
}

// Moves the checkpoint of the file open on `fd` (at `path`) to `offset`.
int writeCheckpoint(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileInfo *file, const char *path, int fd,
                    int64_t offset, ZOVEXA_result *result) {
  if (ZOcacheIoGet().seek(fd, offset, SEEK_SET) != offset) {
    const char *why = strerror(errno);
    ZOreport(ctx, result, 45, static_cast<uint32_t>(strlen(path) + strlen(why)), 2, path, why);
    ZO_ERROR(ctx, "[drainCacheFile]", "ERROR on seek on disk cache file %s: %s", path, why);
    return -1;
  }
  return ZOupdateReadPos(ctx, file, fd, result);
}

}  // namespace

int ZOstartCMThread(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[startCMThread]";
  ZO_ENTRY(ctx, tag);
  if (ctx->actualCMThreads >= ctx->Int(ZOP_numberCMThreads)) {
    ZO_EXIT_RC(ctx, tag, 0);
    return 0;
  }
  ZOcacheInfo *cache = ctx->diskCache;
  int rc = cache == nullptr ? EINVAL : 0;
  if (rc == 0) {
    // Counted before it runs, so that a shut-down that follows at once still
    // waits for it.
    pthread_mutex_lock(&cache->mutex);
    ++cache->numCMThreads;
    pthread_mutex_unlock(&cache->mutex);
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_JOINABLE);
    pthread_t tid;
    rc = pthread_create(&tid, &attr, cacheManager, ctx);
    pthread_attr_destroy(&attr);
    if (rc == 0) {
      // Nothing ever joins the thread: its resources go when it ends.
      pthread_detach(tid);
    } else {
      pthread_mutex_lock(&cache->mutex);
      --cache->numCMThreads;
      pthread_mutex_unlock(&cache->mutex);
    }
  }
  if (rc != 0) {
    const char *msg = strerror(rc);
    ZOreport(ctx, result, 11, static_cast<uint32_t>(strlen(msg)), 1, msg);
    ZO_ERROR(ctx, tag, "ERROR - pthread_create returned msg: %s, code: %d", msg, rc);
    ZO_EXIT_RC(ctx, tag, -1);
    return -1;
  }
  ++ctx->actualCMThreads;
  ZO_EXIT_RC(ctx, tag, 0);
  return 0;
}

void *cacheManager(void *arg) {
  constexpr const char *tag = "[cacheManager]";
  const auto *ctx = static_cast<const ZOVEXA_AuditClientContext *>(arg);
  ZOcacheInfo *cache = ctx->diskCache;
  ZO_ENTRY(ctx, tag);
  ZOVEXA_result result{};
  while (readFlag(cache, &ZOcacheInfo::shutDown) == 0) {
    ZOVEXA_Result_Clean(&result);
    ZOcacheFileInfo *file = ZOgetNextCacheFile(ctx, &result);
    if (file == nullptr) {
      pause(cache, kIdleWaitSeconds, false);  // a new file wakes it
      continue;
    }
    if (drainCacheFile(ctx, file, &result) != 0)
      ZO_FLOW(ctx, tag, "FLOW: error returned from drainCacheFile on file %s", file->fileName);

    pthread_mutex_lock(&cache->mutex);
    pthread_mutex_lock(&file->mutex);
    // At shut-down the file stays queued for the next client or process. A
    // file whose drain stopped early while a writer still holds it stays
    // queued too, so that what is written to it later is drained as well.
    bool stays = cache->shutDown != 0 || (file->beingWritten != 0 && file->deleteFile == 0);
    bool remove = file->deleteFile != 0, release = file->beingWritten == 0;
    if (stays) file->beingDrained = 0;
    pthread_mutex_unlock(&file->mutex);
    if (!stays) ZOdequeueFileInfo(ctx, &cache->fileQ, file, &result);
    pthread_mutex_unlock(&cache->mutex);
    if (stays) {
      // The same file would be taken again straight away: the next try
      // comes after a pause that writers' broadcasts do not cut short.
      pause(cache, kIdleWaitSeconds, true);
      continue;
    }
    if (remove) ZOdeleteCacheFile(ctx, file, &result);
    if (release) ZOfreeCacheFileInfo(file);
    if (readFlag(cache, &ZOcacheInfo::shutDown) != 0) break;
    pthread_mutex_lock(&cache->mutex);
    bool reset = resetMaxFilesLocked(ctx, cache);
    pthread_mutex_unlock(&cache->mutex);
    if (reset) ZO_FLOW(ctx, tag, "FLOW: broadcasting cacheInfo->cond - just reset maxFiles");
  }
  ZO_EXIT(ctx, tag);
  ZOVEXA_Result_Clean(&result);
  // The last touch of the context: client deletion may free it once the
  // count is 0.
  pthread_mutex_lock(&cache->mutex);
  --cache->numCMThreads;
  pthread_mutex_unlock(&cache->mutex);
  return nullptr;
}

ZOcacheFileInfo *ZOgetNextCacheFile(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[getNextCacheFile]";
  (void)result;
  ZO_ENTRY(ctx, tag);
  ZOcacheInfo *cache = ctx->diskCache;
  ZOcacheFileInfo *found = nullptr;
  bool reset = false;
  pthread_mutex_lock(&cache->mutex);
  for (ZOcacheFileInfo *f = cache->fileQ.head; f != nullptr && found == nullptr;) {
    ZOcacheFileInfo *next = f->next;
    pthread_mutex_lock(&f->mutex);
    bool corrupt = f->corrupt != 0, idle = f->beingDrained == 0, written = f->beingWritten != 0;
    if (idle && !corrupt) {
      f->beingDrained = 1;
      found = f;
    }
    pthread_mutex_unlock(&f->mutex);
    // A corrupt file has been renamed and is never read again: once its
    // writer has let go it leaves the queue.
    if (corrupt && idle && !written) {
      unlinkFile(&cache->fileQ, f);
      ZOfreeCacheFileInfo(f);
      reset = resetMaxFilesLocked(ctx, cache) || reset;
    }
    f = next;
  }
  pthread_mutex_unlock(&cache->mutex);
  if (reset) ZO_FLOW(ctx, tag, "FLOW: broadcasting cacheInfo->cond - just reset maxFiles");
  if (found == nullptr) {
    ZO_FLOW(ctx, tag, "FLOW: no files on file Q that need draining, returning NULL");
  } else {
    ZO_FLOW(ctx, tag, "FLOW: next file to drain is %s", found->fileName);
  }
  return found;
}

int drainCacheFile(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileInfo *file, ZOVEXA_result *result) {
  constexpr const char *tag = "[drainCacheFile]";
  ZO_ENTRY(ctx, tag);
  ZOcacheInfo *cache = ctx->diskCache;
  char path[kPathSize];
  snprintf(path, sizeof path, "%s%s%s", cache->directory, "/", file->fileName);
  ZO_FLOW(ctx, tag, "FLOW: file to drain is %s", path);
  int fd = ZOopenCacheFile(ctx, path, 1, result);
  if (fd < 0) {
    ZO_EXIT_RC(ctx, tag, -1);
    return -1;
  }
  ZO_FLOW(ctx, tag, "FLOW: cache file %s has been opened for draining", path);

  if (ZOseekToNextEvent(ctx, file, fd, result) != 0) {
    pthread_mutex_lock(&file->mutex);
    int32_t written = file->beingWritten;
    if (written == 0) file->deleteFile = 1;
    pthread_mutex_unlock(&file->mutex);
    ZO_FLOW(ctx, tag, "FLOW: could not seekToNextEvent on file: %s, beingWritten = %d", file->fileName,
            written);
    if (written == 0) ZO_FLOW(ctx, tag, "FLOW: set deleteFile flag for cache file %s", file->fileName);
    ZOcacheIoGet().close(fd);
    ZO_EXIT_RC(ctx, tag, -1);
    return -1;
  }
  // The offset just after the last record sent: what the checkpoint says.
  int64_t sentEnd = ZOcacheIoGet().seek(fd, 0, SEEK_CUR);

  const int transferSize = ctx->Int(ZOP_transferSize);
  RecordSet set;
  int rc = 0;
  if (!set.init(transferSize + 1)) {
    ZOreport(ctx, result, 1, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
    rc = -1;
  }
  while (rc == 0) {
    if (readFlag(cache, &ZOcacheInfo::serverDown) != 0 && ZOwaitForServerAvail(ctx, result) != 0) {
      ZO_FLOW(ctx, tag, "FLOW: error on waitForServerAvail; aborting");
      rc = -1;
      break;
    }
    if (ZOgetEventRec(ctx, file, fd, 1, &set.recs[0], result) != 0) {
      if (set.recs[0].status == ZO_REC_END) {
        pthread_mutex_lock(&file->mutex);
        file->deleteFile = 1;
        pthread_mutex_unlock(&file->mutex);
        ZO_FLOW(ctx, tag, "FLOW: set deleteFile flag for cache file %s", file->fileName);
      } else {
        rc = -1;
      }
      break;
    }
    ZO_FLOW(ctx, tag, "FLOW: event record contains %d events", set.recs[0].numEvents);
    const char *text = set.recs[0].text;
    int64_t length = set.recs[0].uncompSize;
    int n = 1;
    // Why collecting more stopped early; anything but the end of what is
    // there now ends the drain once the collected records are sent.
    ZOeventRecStatus stop = ZO_REC_OK;
    if (set.recs[0].numEvents == 1 && transferSize > 1) {
      ZO_FLOW(ctx, tag, "FLOW: event rec contained only 1 event, will try to collect more");
      int events = 1;
      while (events < transferSize && n < set.capacity) {
        if (ZOgetEventRec(ctx, file, fd, 0, &set.recs[n], result) != 0) {
          stop = set.recs[n].status;
          break;
        }
        events += set.recs[n].numEvents;
        ++n;
      }
      ZO_FLOW(ctx, tag, "FLOW: successfully collected %d events", events);
      ZO_FLOW(ctx, tag, "FLOW: number of data buffs = %d", n);
      if (n > 1) {
        if (!joinRecords(ctx, &set, n, &length, result)) {
          rc = -1;
          break;
        }
        text = set.joined;
      }
    }
    if (!sendUntilDone(ctx, text, length, result)) {
      rc = -1;
      break;
    }
    sentEnd = set.recs[n - 1].endOffset;
    if (writeCheckpoint(ctx, file, path, fd, sentEnd, result) == 0)
      ZO_FLOW(ctx, tag, "FLOW: sendMsg successful, ckpt on %s = %d", file->fileName,
              static_cast<int>(sentEnd));
    if (stop != ZO_REC_OK && stop != ZO_REC_END) rc = -1;
  }
  // Once more on leaving: the position may be past records read but not sent.
  if (sentEnd >= 0) writeCheckpoint(ctx, file, path, fd, sentEnd, result);
  ZOcacheIoGet().close(fd);
  ZO_EXIT_RC(ctx, tag, rc);
  return rc;
}

int ZOdequeueFileInfo(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileQ *fileQ, ZOcacheFileInfo *file,
                      ZOVEXA_result *result) {
  constexpr const char *tag = "[dequeueFileInfo]";
  (void)result;
  if (fileQ->size < 1 || fileQ->head == nullptr) {
    ZO_FLOW(ctx, tag, "FLOW: fileQ is empty");
    return -1;
  }
  if (!unlinkFile(fileQ, file)) {
    ZO_FLOW(ctx, tag, "FLOW: file %s is not on the fileQ", file->fileName);
    return -1;
  }
  return 0;
}

int ZOwaitForServerAvail(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[waitForServerAvail]";
  ZO_ENTRY(ctx, tag);
  ZOcacheInfo *cache = ctx->diskCache;
  const int interval = ctx->Int(ZOP_rebindInterval);
  bool traced = false;
  pthread_mutex_lock(&cache->mutex);
  // Sleep while another thread polls. Its end wakes everyone; should the
  // server be marked down again at once, one of the sleepers polls next.
  while (cache->shutDown == 0 && cache->serverDown != 0 && cache->serverBeingChecked != 0) {
    if (!traced) {
      traced = true;
      pthread_mutex_unlock(&cache->mutex);
      ZO_FLOW(ctx, tag, "FLOW: another thread is polling server, wait for serverDown = 0");
      pthread_mutex_lock(&cache->mutex);
      continue;
    }
    timespec deadline = ZOdeadlineIn(interval);
    pthread_cond_timedwait(&cache->cond, &cache->mutex, &deadline);
  }
  if (cache->shutDown != 0 || cache->serverDown == 0) {
    int rc = cache->shutDown != 0 ? -1 : 0;
    pthread_mutex_unlock(&cache->mutex);
    if (rc != 0) ZO_FLOW(ctx, tag, "FLOW: cacheInfo->shutDown is set");
    ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT: rc = %d", rc);
    return rc;
  }
  cache->serverBeingChecked = 1;
  pthread_mutex_unlock(&cache->mutex);
  ZO_FLOW(ctx, tag, "FLOW: this thread will poll server, setting serverBeingChecked");
  int rc = 0;
  for (;;) {
    // Other broadcasts on cond (a file created, a slot released) must not
    // shorten the interval: only shut-down ends it early.
    pause(cache, interval, true);
    bool shutDown = readFlag(cache, &ZOcacheInfo::shutDown) != 0;
    if (shutDown) {
      ZO_FLOW(ctx, tag, "FLOW: cacheInfo->shutDown is set");
      rc = -1;
      break;
    }
    if (bindToServer(ctx, result) != -1) break;
  }
  pthread_mutex_lock(&cache->mutex);
  cache->serverBeingChecked = 0;
  if (rc == 0) cache->serverDown = 0;
  // Sleepers wake either way: to go on, or to see the shut-down.
  pthread_cond_broadcast(&cache->cond);
  pthread_mutex_unlock(&cache->mutex);
  if (rc == 0) {
    ZO_FLOW(ctx, tag, "FLOW: broadcasting cacheInfo->cond - just reset serverDown");
    ZOreportDiscardedEvents(ctx, 0, result);
    ZOVEXA_Result_Clean(result);
  }
  ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT: rc = %d", rc);
  return rc;
}

int bindToServer(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[bindToServer]";
  (void)result;
  ZO_ENTRY(ctx, tag);
  ZOVEXA_result scratch{};
  int rc = checkService(ctx, &scratch);
  ZOVEXA_Result_Clean(&scratch);
  if (rc != -1)
    ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT - service is available");
  else
    ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT - service is not available");
  return rc;
}
